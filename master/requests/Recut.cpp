#include "master/requests/Recut.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <numeric>

#include "analysis/Expansion.h"
#include "master/run/RenderCommand.h"

namespace master
{

namespace
{

// Packets found by their frames: their numbers go by the order in which they are begun.
class Numbers
{
public:
    explicit Numbers(std::span<const Packet> packets) : m_packets(packets)
    {
        if (std::ranges::is_sorted(packets, {}, &Packet::firstFrame))
            return;
        m_byFrame.resize(packets.size());
        std::iota(m_byFrame.begin(), m_byFrame.end(), 0u);
        std::ranges::sort(m_byFrame, {}, [&](unsigned i) { return m_packets[i].firstFrame; });
    }

    // Nothing where there is no such packet.
    std::optional<unsigned> Find(const Packet &packet) const
    {
        std::size_t place = 0;
        for (std::size_t end = m_packets.size(); place < end;)
        {
            const std::size_t middle = place + (end - place) / 2;
            if (m_packets[NumberAt(middle)].firstFrame < packet.firstFrame)
                place = middle + 1;
            else
                end = middle;
        }
        if (place == m_packets.size() || m_packets[NumberAt(place)] != packet)
            return std::nullopt;
        return NumberAt(place);
    }

private:
    unsigned NumberAt(std::size_t place) const
    {
        return m_byFrame.empty() ? unsigned(place) : m_byFrame[place];
    }

    std::span<const Packet> m_packets;
    std::vector<unsigned> m_byFrame; // Empty where they are in ascending order.
};

void Count(const TaskState &task, Recut &recut)
{
    recut.done += task.status == JobStatus::Done ? 1 : 0;
    recut.failed += task.status == JobStatus::Failed ? 1 : 0;
}

void KeepPackets(const Cuts &cuts, const JobState &state, std::span<const TaskState> tasks,
                 Recut &recut)
{
    const Numbers numbers(cuts.after);
    for (const TaskState &task : tasks)
    {
        if (task.index >= cuts.before.size())
            continue;
        const auto number = numbers.Find(cuts.before[task.index]);
        if (!number)
            continue;
        TaskState kept = task;
        kept.log = LogNumber(state, task);
        kept.index = *number;
        if (task.status == JobStatus::Running)
            recut.running[task.index] = *number;
        recut.tasks.push_back(kept);
    }
    if (!std::ranges::is_sorted(recut.tasks, {}, &TaskState::index))
        std::ranges::sort(recut.tasks, {}, &TaskState::index);
}

// The frames of done packets as runs without gaps, in ascending order.
std::vector<Packet> RenderedRuns(std::span<const Packet> packets, std::span<const TaskState> tasks)
{
    std::vector<Packet> done;
    for (const TaskState &task : tasks)
        if (task.status == JobStatus::Done && task.index < packets.size())
            done.push_back(packets[task.index]);
    if (!std::ranges::is_sorted(done, {}, &Packet::firstFrame))
        std::ranges::sort(done, {}, &Packet::firstFrame);

    std::vector<Packet> runs;
    for (const Packet &packet : done)
    {
        if (!runs.empty() && packet.firstFrame - std::int64_t(runs.back().lastFrame) == 1)
            runs.back().lastFrame = packet.lastFrame;
        else
            runs.push_back(packet);
    }
    return runs;
}

bool IsRendered(const Packet &packet, const std::vector<Packet> &runs)
{
    const auto next = std::ranges::upper_bound(runs, packet.firstFrame, {}, &Packet::firstFrame);
    return next != runs.begin() && packet.lastFrame <= std::prev(next)->lastFrame;
}

// A packet is rendered from its first frame to its last without gaps.
void AddRendered(const Cuts &cuts, const std::vector<Packet> &runs, Recut &recut)
{
    const std::vector<TaskState> kept = std::move(recut.tasks);
    recut.tasks.clear();
    auto next = kept.begin();
    for (unsigned number = 0; number < cuts.after.size(); ++number)
    {
        if (next != kept.end() && next->index == number)
            recut.tasks.push_back(*next++);
        else if (IsRendered(cuts.after[number], runs))
            recut.tasks.push_back({.index = number, .status = JobStatus::Done});
    }
}

bool IsPlain(const analysis::Renumbering &numbers, int firstFrame)
{
    return numbers.renumberStart == firstFrame && numbers.renumberBy == 1 &&
           numbers.sequenceBy == 1.0f;
}

} // namespace

Recut RecutTasks(const Cuts &cuts, const JobState &state, std::span<const TaskState> tasks)
{
    Recut recut;
    if (cuts.keep == Cuts::Keep::Nothing)
        return recut;
    KeepPackets(cuts, state, tasks, recut);
    if (cuts.keep == Cuts::Keep::Frames)
        if (const auto runs = RenderedRuns(cuts.before, tasks); !runs.empty())
            AddRendered(cuts, runs, recut);
    for (const TaskState &task : recut.tasks)
        Count(task, recut);
    return recut;
}

Cuts::Keep FindKeep(const Job &before, const Job &after, const Packet &firstBefore,
                    const Packet &firstAfter)
{
    const auto numbersBefore = RenumberingOf(before, firstBefore.firstFrame);
    const auto numbersAfter = RenumberingOf(after, firstAfter.firstFrame);
    if (IsPlain(numbersBefore, firstBefore.firstFrame) &&
        IsPlain(numbersAfter, firstAfter.firstFrame))
        return Cuts::Keep::Frames;
    // Counted from the first frame, wherever it is.
    const bool isSame = firstBefore.firstFrame == firstAfter.firstFrame &&
                        numbersBefore.renumberStart == numbersAfter.renumberStart &&
                        numbersBefore.renumberBy == numbersAfter.renumberBy &&
                        numbersBefore.sequenceBy == numbersAfter.sequenceBy;
    return isSame ? Cuts::Keep::Packets : Cuts::Keep::Nothing;
}

} // namespace master
