#pragma once

#include <fstream>
#include <memory>

#include <gtest/gtest.h>

#include "corvan/Messages.h"
#include "master/jobs/Followers.h"
#include "master/jobs/JobCache.h"
#include "master/jobs/Outbox.h"
#include "master/run/TaskLogs.h"
#include "master/store/JobStore.h"
#include "tests/master/TestJobs.h"
#include "tests/support/Printing.h"
#include "tests/support/TempFolder.h"

/// A job store in a folder of the test's own, and what the parts of the Master need around it.
class StoreFixture : public ::testing::Test
{
protected:
    /// Keeps a job as the Master does, its tasks counted.
    master::JobState Add(const corvan::Job &job, int priority = 50)
    {
        ostrel::String reason;
        master::JobState state;
        state.id = job.ID();
        state.priority = priority;
        state.tasksTotal = unsigned(master::CutPackets(job, &reason).size());
        InTurn([&](master::Outbox &) { m_store.Add(job, state); });
        return state;
    }

    /// Runs `change` in a turn of its own and gives what is then to be sent.
    template <typename Change> master::Outbox InTurn(Change change)
    {
        master::Outbox outbox;
        master::JobStore::Turn turn(m_store);
        change(outbox);
        turn.Commit();
        return outbox;
    }

    master::JobState State(const ostrel::UID &job)
    {
        return m_store.FindState(job).value();
    }

    /// Leaves what a try of a task has printed.
    void WriteLog(const ostrel::UID &job, std::int64_t log, unsigned attempt, std::string_view text)
    {
        ostrel::String reason;
        ASSERT_TRUE(m_logs.MakeFolder(job, &reason)) << reason;
        std::ofstream(m_logs.FileOf(job, log, attempt).Text()) << text;
    }

    /// The news of an outbox as "Name=value" texts, in order.
    static std::vector<std::string> News(const master::Outbox &outbox)
    {
        std::vector<std::string> news;
        for (const master::Outgoing &message : outbox.Messages())
            if (const auto *change =
                    dynamic_cast<const corvan::JobParameterMsg *>(message.message.get()))
                news.push_back(change->name + "=" + change->value);
        return news;
    }

    TempFolder m_folder;
    TestJobTypes m_types;
    master::JobStore m_store{m_folder / "jobs.db"};
    master::JobCache m_cache{m_store};
    master::TaskLogs m_logs{m_folder / "tasks"};
};
