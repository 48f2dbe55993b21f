#include "master/jobs/Packets.h"

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <cstdlib>

#include "corvan/FrameOrder.h"
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

std::vector<Packet> EndsFirst(const std::vector<Packet> &packets, std::size_t step)
{
    const std::size_t last = packets.size() - 1;
    std::vector<Packet> ordered{packets.front()};
    ordered.reserve(packets.size());
    if (last > 0)
        ordered.push_back(packets.back());
    for (std::size_t i = step; i < last; i += step)
        ordered.push_back(packets[i]);
    for (std::size_t i = 1; i < last; ++i)
        if (i % step != 0)
            ordered.push_back(packets[i]);
    return ordered;
}

std::vector<Packet> MiddleFirst(const std::vector<Packet> &packets)
{
    const std::size_t middle = (packets.size() - 1) / 2;
    std::vector<Packet> ordered{packets[middle]};
    ordered.reserve(packets.size());
    for (std::size_t away = 1; ordered.size() < packets.size(); ++away)
    {
        ordered.push_back(packets[middle + away]);
        if (away <= middle)
            ordered.push_back(packets[middle - away]);
    }
    return ordered;
}

std::vector<Packet> Ordered(std::vector<Packet> packets, const corvan::FrameOrder &order)
{
    switch (order.kind)
    {
    case corvan::FrameOrder::Kind::Given:
        break;
    case corvan::FrameOrder::Kind::Ends:
        return EndsFirst(packets, order.step);
    case corvan::FrameOrder::Kind::Middle:
        return MiddleFirst(packets);
    }
    return packets;
}

} // namespace

std::set<unsigned> TasksOf(const std::vector<Packet> &packets,
                           const SequenceDistributor::Items &frames)
{
    std::set<unsigned> tasks;
    for (unsigned index = 0; index < packets.size(); ++index)
    {
        const auto frame = frames.lower_bound(packets[index].firstFrame);
        if (frame != frames.end() && *frame <= packets[index].lastFrame)
            tasks.insert(index);
    }
    return tasks;
}

const Packet &FirstOf(const std::vector<Packet> &packets)
{
    assert(!packets.empty());
    return *std::ranges::min_element(packets, {}, &Packet::firstFrame);
}

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
    const auto order = corvan::ReadFrameOrder(job.ParameterText(corvan::p_FrameOrder, true));
    return Ordered(Cut(frames, PacketSize(job)), order.value_or(corvan::FrameOrder{}));
}

} // namespace master
