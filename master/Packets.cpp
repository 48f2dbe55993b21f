#include "master/Packets.h"

#include <cstdint>
#include <cstdlib>

#include "corvan/JobType.h"
#include "corvan/Parameters.h"
#include "corvan/SequenceDistributor.h"

namespace master
{

using corvan::SequenceDistributor;

namespace
{

// "PacketSize" was checked when it was set: 1 or more, or not there at all.
std::int64_t PacketSize(const Job &job)
{
    const std::int64_t size =
        std::strtoll(job.ParameterText(corvan::p_PacketSize, true).c_str(), nullptr, 10);
    return size < 1 ? 1 : size;
}

std::vector<Packet> Cut(const SequenceDistributor::Items &frames, std::int64_t packetSize)
{
    std::vector<Packet> packets;
    for (const int frame : frames)
    {
        if (!packets.empty() && frame - std::int64_t(packets.back().firstFrame) < packetSize)
            packets.back().lastFrame = frame;
        else
            packets.push_back({frame, frame});
    }
    packets.shrink_to_fit();
    return packets;
}

} // namespace

std::vector<Packet> CutPackets(const Job &job, String *reason)
{
    if (!job.Type().rendersFrames)
        return {Packet{}};

    SequenceDistributor::Items frames;
    if (!SequenceDistributor::ParseRange(job.ParameterText(corvan::p_Range, true), frames, reason))
        return {};
    if (frames.empty())
    {
        *reason = "the range names no frame";
        return {};
    }
    return Cut(frames, PacketSize(job));
}

} // namespace master
