#pragma once

#include <set>
#include <tuple>

#include "tests/support/FakeRunner.h"

/// The same with batches: its runs outlive the Master.
class FakeBatchRunner : public FakeRunner
{
public:
    std::vector<master::EarlierRun> adopted;
    std::set<int> recorded;
    std::set<int> withdrawn;
    /// What `SetJob` was told: the job, whether it is held, its priority.
    std::vector<std::tuple<ostrel::UID, bool, int>> jobs;

    std::map<ostrel::UID, int> room; ///< Of jobs that have little.

    int RoomFor(const ostrel::UID &job) const override
    {
        const auto found = room.find(job);
        return found == room.end() ? FakeRunner::RoomFor(job) : found->second;
    }
    unsigned BatchSize() const override
    {
        return 2;
    }
    void Adopt(const master::EarlierRun &run, master::RunListener &) override
    {
        adopted.push_back(run);
    }
    void Recorded(int run) override
    {
        recorded.insert(run);
    }
    void Withdraw(int run) override
    {
        withdrawn.insert(run);
    }
    void SetJob(const ostrel::UID &job, bool isHeld, int priority) override
    {
        jobs.emplace_back(job, isHeld, priority);
    }
};
