#pragma once

#include "analysis/Expansion.h"

namespace analysis
{

/// What a new job must be given to write files anew.
struct RequeueRange
{
    SequenceDistributor::Items frames; ///< Its range.
    /// The text of its renumber start; empty where nothing is renumbered. A job counts from the
    /// first frame of its range on, so one that begins later would write lower numbers.
    String renumberStart;
    /// Files asked for that it will not write all the same: no frame of the job does, or the steps
    /// of a packet that begins elsewhere do not meet them.
    SequenceDistributor::Items missed;
};

/// Which frames a copy of a job must render to write the files of these output numbers. Nothing is
/// to be rendered, with the reason in `*reason`, where the job's files cannot be listed.
RequeueRange FindRequeueRange(const ExpansionInput &input,
                              const SequenceDistributor::Items &outputNumbers, String *reason);

} // namespace analysis
