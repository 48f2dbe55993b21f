#include "master/Recut.h"

#include <algorithm>
#include <cstdint>

#include "analysis/Expansion.h"
#include "master/run/RenderCommand.h"

namespace master
{

namespace
{

// The new number of a packet; nothing where the new cut does not have it.
std::optional<unsigned> FindPacket(std::span<const Packet> packets, const Packet &packet)
{
    const auto found =
        std::ranges::lower_bound(packets, packet.firstFrame, {}, &Packet::firstFrame);
    if (found == packets.end() || *found != packet)
        return std::nullopt;
    return unsigned(found - packets.begin());
}

void Count(const TaskState &task, Recut &recut)
{
    recut.done += task.status == JobStatus::Done ? 1 : 0;
    recut.failed += task.status == JobStatus::Failed ? 1 : 0;
}

void KeepPackets(const Cuts &cuts, const JobState &state, std::span<const TaskState> tasks,
                 Recut &recut)
{
    for (const TaskState &task : tasks)
    {
        if (task.index >= cuts.before.size())
            continue;
        const auto number = FindPacket(cuts.after, cuts.before[task.index]);
        if (!number)
            continue;
        TaskState kept = task;
        kept.log = LogNumber(state, task);
        kept.index = *number;
        if (task.status == JobStatus::Running)
            recut.running[task.index] = *number;
        recut.tasks.push_back(kept);
    }
}

// The frames of done packets as runs without gaps, in ascending order.
std::vector<Packet> RenderedRuns(std::span<const Packet> packets, std::span<const TaskState> tasks)
{
    std::vector<Packet> runs;
    for (const TaskState &task : tasks)
    {
        if (task.status != JobStatus::Done || task.index >= packets.size())
            continue;
        const Packet &packet = packets[task.index];
        if (!runs.empty() && packet.firstFrame - std::int64_t(runs.back().lastFrame) == 1)
            runs.back().lastFrame = packet.lastFrame;
        else
            runs.push_back(packet);
    }
    return runs;
}

// A packet is rendered from its first frame to its last without gaps.
void AddRendered(const Cuts &cuts, const std::vector<Packet> &runs, Recut &recut)
{
    const std::vector<TaskState> kept = std::move(recut.tasks);
    recut.tasks.clear();
    auto next = kept.begin();
    auto run = runs.begin();
    for (unsigned number = 0; number < cuts.after.size(); ++number)
    {
        const Packet &packet = cuts.after[number];
        while (run != runs.end() && run->lastFrame < packet.firstFrame)
            ++run;
        if (next != kept.end() && next->index == number)
            recut.tasks.push_back(*next++);
        else if (run != runs.end() && run->firstFrame <= packet.firstFrame &&
                 packet.lastFrame <= run->lastFrame)
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
