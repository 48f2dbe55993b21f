#pragma once

#include <map>
#include <span>
#include <vector>

#include "master/jobs/Packets.h"
#include "master/store/JobStore.h"

namespace master
{

/// How a job's packets were cut, and how they are cut anew.
struct Cuts
{
    std::span<const Packet> before;
    std::span<const Packet> after;
    /// What of the old run is of use: nothing where each frame is another file now, the packets
    /// that are in both cuts, or every frame.
    enum class Keep
    {
        Nothing,
        Packets,
        Frames,
    };
    Keep keep = Keep::Frames;
};

/// What a job's tasks are once it is cut anew.
struct Recut
{
    std::vector<TaskState> tasks; ///< The records, in ascending order.
    unsigned done = 0;
    unsigned failed = 0;
    std::map<unsigned, unsigned> running; ///< Commands that go on: old number and new.
};

/// Takes over what is known of the tasks: a packet that is in both cuts keeps its status, its tries
/// and its log, with its command where it runs. A new packet whose frames are all rendered already
/// is done, without a try; any other new one has no record. `tasks` are the records of the job so
/// far, in ascending order.
Recut RecutTasks(const Cuts &cuts, const JobState &state, std::span<const TaskState> tasks);

/// What the new cut of a changed job may keep of the old one's run: nothing where its files are
/// numbered otherwise. Neither cut is empty.
Cuts::Keep FindKeep(const Job &before, const Job &after, const Packet &firstBefore,
                    const Packet &firstAfter);

} // namespace master
