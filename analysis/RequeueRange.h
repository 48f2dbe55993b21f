#pragma once

#include <boost/shared_ptr.hpp>

#include "analysis/Expansion.h"

namespace analysis
{

/// How the frames of a requeue are cut into packets.
enum class RequeuePackets
{
    AsTheJob,   ///< A packet is rendered whole, so good frames between bad ones may be, too.
    OfOneFrame, ///< No frame but those that must be.
};

/// What a new job must be given to write files anew.
struct RequeueRange
{
    SequenceDistributor::Items frames; ///< Its range.
    /// The text of its renumber start; empty where nothing is renumbered. A job counts from the
    /// first frame of its range on, so one that begins later would write lower numbers.
    String renumberStart;
    String packetSize; ///< The text of its packet size; empty where it stays that of the job.
    /// Files asked for that it will not write all the same: no frame of the job does, or the steps
    /// of a packet that begins elsewhere do not meet them.
    SequenceDistributor::Items missed;
    /// Files that it will write though nobody asked for them.
    SequenceDistributor::Items besides;
};

/// Which frames a copy of a job must render to write the files of these output numbers. Nothing is
/// to be rendered, with the reason in `*reason`, where the job's files cannot be listed.
RequeueRange FindRequeueRange(const ExpansionInput &input,
                              const SequenceDistributor::Items &outputNumbers,
                              RequeuePackets packets, String *reason);

/// A new job that renders this range of a job anew: see `corvan::MakeRequeueJob`. Nothing, with the
/// reason, where there can be none.
boost::shared_ptr<corvan::Job> MakeRequeue(const corvan::Job &job, const RequeueRange &range,
                                           String *reason);

/// The frames that a copy of a job renders whose range is exactly `frames`: these, and those
/// between them that their packets take along.
SequenceDistributor::Items FindRenderedFrames(const ExpansionInput &input,
                                              const SequenceDistributor::Items &frames);

} // namespace analysis
