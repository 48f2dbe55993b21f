#pragma once

#include <set>
#include <vector>

#include "corvan/Job.h"
#include "corvan/SequenceDistributor.h"
#include "master/run/Packet.h"

namespace master
{

using corvan::Job;
using ostrel::String;

/// Cuts a job's "Range" into packets of its "PacketSize", in the order of its "FrameOrder": a
/// packet has its number by when it is to be begun. Takes 8 bytes a packet, and a tenth of a second
/// for ten million frames in ascending order.
///
/// A packet begins at the first frame that none has yet and ends at the last frame of the range
/// that is less than a packet size away. It is rendered as one continuous run, so frames between
/// its ends that are not in the range are rendered too. A job of a type that renders no frames has
/// one packet, 0 to 0.
///
/// No packet at all, with the reason in `*reason`, for a job without frames.
std::vector<Packet> CutPackets(const Job &job, String *reason);

/// The numbers of the packets that have one of these frames.
std::set<unsigned> TasksOf(const std::vector<Packet> &packets,
                           const corvan::SequenceDistributor::Items &frames);

/// The packet with the first frame of all, from which renumbered files are counted. Walks through
/// them; there is one.
const Packet &FirstOf(const std::vector<Packet> &packets);

} // namespace master
