// The job store on a disk that fails or forgets, at each of the operations of a short history.
#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>

#include <gtest/gtest.h>

#include "corvan/Parameters.h"
#include "master/store/JobStore.h"
#include "ostrel/Attempt.h"
#include "tests/master/TestJobs.h"
#include "tests/support/FaultyDisk.h"
#include "tests/support/Printing.h"

namespace master
{
namespace
{

using Fault = FaultyDisk::Fault;
using Restart = FaultyDisk::Restart;

const Path k_file("/disk/jobs.db");
// So small that the log is carried over again and again.
constexpr int k_checkpoint_pages = 12;
const ostrel::Time k_time(1'700'000'000'000'000'000);

UID JobID(int job)
{
    return UID("aaaa1111-0000-4000-8000-00000000000" + std::to_string(job), true);
}

void Submit(JobStore &store, int number, const TestParameters &parameters, unsigned tasks)
{
    const auto job = MakeTestJob(parameters);
    job->SetID(JobID(number));
    JobState state;
    state.id = JobID(number);
    state.created = k_time;
    state.tasksTotal = tasks;
    store.Add(*job, state);
}

JobState State(JobStore &store, int job)
{
    return store.FindState(JobID(job)).value();
}

void SetNote(JobStore &store, int number, const String &note)
{
    String reason;
    const auto job = store.Load(JobID(number), &reason);
    job->SetParameter(corvan::p_Note, note);
    JobState state = State(store, number);
    state.priority += 1;
    store.SaveParameters(*job, state);
    store.SaveState(state, k_time);
}

void BeginTask(JobStore &store, int job, unsigned task)
{
    JobState state = State(store, job);
    store.Tasks().Save(state, {.index = task, .status = JobStatus::Running, .tries = 1});
    state.status = JobStatus::Running;
    state.nextTask = store.Tasks().FindUntouched(state, 0);
    store.SaveState(state, k_time);
}

void EndTask(JobStore &store, int job, unsigned task, int exitCode)
{
    JobState state = State(store, job);
    TaskState record = store.Tasks().Find(state, task).value();
    record.status = exitCode == 0 ? JobStatus::Done : JobStatus::Queued;
    record.failures += exitCode == 0 ? 0 : 1;
    record.exitCode = exitCode;
    store.Tasks().Save(state, record);
    state.tasksDone += exitCode == 0 ? 1 : 0;
    if (state.tasksDone == state.tasksTotal)
        state.status = JobStatus::Done;
    store.SaveState(state, k_time);
}

void CutAnew(JobStore &store, int job)
{
    JobState state = State(store, job);
    const std::vector<TaskState> after{{.index = 0, .status = JobStatus::Done}};
    store.Tasks().Replace(state, store.Tasks().List(state), after);
    state.logBase += state.tasksTotal;
    state.tasksTotal = 2;
    state.tasksDone = 1;
    state.nextTask = 1;
    store.SaveState(state, k_time);
}

void Cancel(JobStore &store, int job)
{
    JobState state = State(store, job);
    state.status = JobStatus::Cancelled;
    store.Tasks().SetRunning(state, JobStatus::Cancelled);
    store.SaveState(state, k_time);
}

// One turn; null closes the store, and the next step opens it.
using Step = void (*)(JobStore &);

const Step k_steps[] = {
    [](JobStore &store) {
        Submit(store, 1, {{"Range", "1-4"}}, 4);
    },
    [](JobStore &store)
    {
        Submit(store, 2, {{"Range", "1-9"}, {"Note", String(9000, 'n')}}, 9);
        Submit(store, 3, {{"Range", "7"}}, 1);
    },
    [](JobStore &store)
    {
        BeginTask(store, 1, 0);
        BeginTask(store, 1, 1);
        BeginTask(store, 2, 0);
    },
    [](JobStore &store) { SetNote(store, 1, String(5000, 'x')); },
    [](JobStore &store)
    {
        EndTask(store, 1, 0, 0);
        EndTask(store, 1, 1, 7);
    },
    nullptr,
    [](JobStore &store) { store.Tasks().RequeueRunning(); },
    [](JobStore &store)
    {
        BeginTask(store, 1, 1);
        BeginTask(store, 3, 0);
    },
    [](JobStore &store) { CutAnew(store, 1); },
    [](JobStore &store)
    {
        BeginTask(store, 1, 1);
        BeginTask(store, 2, 0);
        Cancel(store, 2);
        SetNote(store, 2, "short");
    },
    [](JobStore &store)
    {
        EndTask(store, 1, 1, 0);
        EndTask(store, 3, 0, 0);
    },
    nullptr,
    [](JobStore &store) { store.Remove(State(store, 2)); },
    [](JobStore &store)
    {
        Submit(store, 4, {{"Range", "1-3"}}, 3);
        store.ForgetRemoved(JobID(2));
    },
};

/// Some of the steps, one after the other, on a disk that may fail.
class History
{
public:
    /// From step `first` to before step `end`.
    History(FaultyDisk &disk, std::size_t first, std::size_t end)
        : m_disk(disk), m_done(first), m_end(end)
    {
    }

    /// Takes each step until it succeeds, so often at most; false where one has not.
    bool Run(int tries)
    {
        while (m_done < m_end)
        {
            if (!TakeStep())
            {
                if (--tries == 0)
                    return false;
                continue;
            }
            ++m_done;
        }
        return true;
    }

    /// How many steps were told to be on disk, those before the first included.
    std::size_t Done() const
    {
        return m_done;
    }

private:
    bool TakeStep()
    {
        const auto reason = ostrel::Attempt(
            [&]
            {
                if (!m_store)
                    m_store = std::make_unique<JobStore>(k_file, m_disk.Name());
                if (!k_steps[m_done])
                    return m_store.reset();
                JobStore::Turn turn(*m_store);
                k_steps[m_done](*m_store);
                turn.Commit();
            });
        return !reason;
    }

    FaultyDisk &m_disk;
    std::unique_ptr<JobStore> m_store;
    std::size_t m_done;
    std::size_t m_end;
};

// Each row of each table but the Master's identity, which is a new one each time, a line.
std::string DumpOf(FaultyDisk &disk)
{
    const SQLite::Database database(k_file.Text().c_str(), SQLite::OPEN_READWRITE, 0, disk.Name());
    std::string dump;
    SQLite::Statement tables(database, "SELECT name FROM sqlite_master"
                                       " WHERE type = 'table' AND name <> 'master' ORDER BY name");
    while (tables.executeStep())
    {
        const std::string name = tables.getColumn(0).getString();
        const std::string order = name == "removed" ? "1" : "1, 2";
        SQLite::Statement rows(database, "SELECT * FROM " + name + " ORDER BY " + order);
        while (rows.executeStep())
        {
            dump += name;
            for (int column = 0; column < rows.getColumnCount(); ++column)
                dump += " " + rows.getColumn(column).getString();
            dump += "\n";
        }
    }
    return dump;
}

std::string TroublesOf(FaultyDisk &disk)
{
    const SQLite::Database database(k_file.Text().c_str(), SQLite::OPEN_READWRITE, 0, disk.Name());
    std::string troubles;
    for (const char *check : {"PRAGMA integrity_check", "PRAGMA foreign_key_check"})
        for (SQLite::Statement rows(database, check); rows.executeStep();)
            if (const std::string row = rows.getColumn(0).getString(); row != "ok")
                troubles += row + "\n";
    return troubles;
}

class DiskFaults : public testing::Test
{
protected:
    // The store as it is after so many of the steps.
    std::string After(std::size_t steps) const
    {
        return m_after.at(steps);
    }

    // What is wrong with a store of which so many steps were told to be on disk, and one more may
    // be; empty where nothing is.
    std::string FindWrong(FaultyDisk &disk, std::size_t done) const
    {
        std::string wrong;
        const auto reason = ostrel::Attempt(
            [&]
            {
                // As a Master opens it.
                JobStore store(k_file, disk.Name());
                wrong = TroublesOf(disk);
                const std::string found = DumpOf(disk);
                if (found != After(done) &&
                    (done + 1 == m_after.size() || found != After(done + 1)))
                    wrong += "after " + std::to_string(done) + " steps there is\n" + found +
                             "and not\n" + After(done);
            });
        return reason ? std::string(*reason) : wrong;
    }

    // Opens a store and closes it. Gives its identity; nil, with the reason, where it cannot.
    static UID Open(FaultyDisk &disk, String *why = nullptr)
    {
        UID master;
        const auto reason =
            ostrel::Attempt([&] { master = JobStore(k_file, disk.Name()).MasterID(); });
        if (reason && why)
            *why = *reason;
        return master;
    }

    // What happens with a store open, and a disk as it is before.
    struct Part
    {
        std::size_t first = 0;
        std::size_t end = 0;
        FaultyDisk::Contents before;
    };

    static std::unique_ptr<FaultyDisk> MakeDisk(const Part &part, std::uint64_t seed)
    {
        auto disk = std::make_unique<FaultyDisk>(seed, part.before);
        disk->SetCheckpoint(k_checkpoint_pages);
        return disk;
    }

    static long CountOperations(const Part &part)
    {
        const auto disk = MakeDisk(part, 1);
        EXPECT_TRUE(History(*disk, part.first, part.end).Run(1));
        return disk->Count();
    }

    // `tryOne` is given each part with each of its operations, and gives what is wrong then. Stops
    // at the first that is.
    template <typename Try> std::string AtEach(Try tryOne) const
    {
        for (const Part &part : m_parts)
        {
            const long operations = CountOperations(part);
            for (long operation = 1; operation <= operations; ++operation)
                if (const std::string wrong = tryOne(part, operation); !wrong.empty())
                    return "operation " + std::to_string(operation) + " from step " +
                           std::to_string(part.first) + " on: " + wrong;
        }
        return {};
    }

    // The history on a disk that stops at each of its operations.
    std::string StopAtEach(Restart restart, std::uint64_t seed, bool syncs = true) const
    {
        return AtEach(
            [&](const Part &part, long operation)
            {
                const auto disk = MakeDisk(part, seed * 1'000'003 + std::uint64_t(operation));
                if (!syncs)
                    disk->ForgetSyncs();
                disk->StopAt(operation);
                std::size_t done = 0;
                {
                    History history(*disk, part.first, part.end);
                    history.Run(1);
                    done = history.Done();
                }
                disk->Start(restart);
                return FindWrong(*disk, done);
            });
    }

    // The same on a disk of which so many operations fail; the history goes on, and then the power
    // is cut.
    std::string FailAtEach(Fault fault, long count) const
    {
        return AtEach(
            [&](const Part &part, long operation) -> std::string
            {
                const auto disk = MakeDisk(part, std::uint64_t(operation));
                disk->Fail(operation, count, fault);
                {
                    History history(*disk, part.first, part.end);
                    if (!history.Run(int(count) + 2))
                        return "step " + std::to_string(history.Done()) + " fails for good";
                    disk->Stop();
                }
                disk->Start(Restart::AfterPowerCut);
                return FindWrong(*disk, part.end);
            });
    }

    void SetUp() override
    {
        {
            FaultyDisk disk;
            Open(disk);
            m_new = disk.Seen();
        }
        FaultyDisk disk(1, m_new);
        m_after.push_back(DumpOf(disk));
        m_parts.push_back({.before = m_new});
        for (std::size_t step = 0; step < std::size(k_steps); ++step)
        {
            ASSERT_TRUE(History(disk, step, step + 1).Run(1));
            m_after.push_back(DumpOf(disk));
            m_parts.back().end = step + 1;
            if (!k_steps[step])
                m_parts.push_back({.first = step + 1, .before = disk.Seen()});
        }
    }

    TestJobTypes m_types;
    FaultyDisk::Contents m_new;       // A disk with a store without jobs.
    std::vector<std::string> m_after; // Dumps, by how many steps were taken.
    std::vector<Part> m_parts;
};

TEST_F(DiskFaults, OfEachStepAreSeenInWhatItWrites)
{
    for (std::size_t step = 0; step < std::size(k_steps); ++step)
        EXPECT_EQ(After(step) == After(step + 1), !k_steps[step]) << step;
}

TEST_F(DiskFaults, OfAPowerCutLoseNothingThatWasCommitted)
{
    EXPECT_EQ(StopAtEach(Restart::AfterPowerCut, 1), "");
}

TEST_F(DiskFaults, OfAPowerCutThatLeavesPartsLoseNothingThatWasCommitted)
{
    for (const std::uint64_t seed : {1, 2})
        EXPECT_EQ(StopAtEach(Restart::AfterMessyPowerCut, seed), "") << seed;
}

TEST_F(DiskFaults, OfAKillLoseNothingThatWasCommitted)
{
    EXPECT_EQ(StopAtEach(Restart::AfterKill, 1), "");
}

// What a killed Master has written and not synced, the next one may have told of.
TEST_F(DiskFaults, OfAPowerCutAfterAKillLoseNothingThatWasSeenMeanwhile)
{
    for (const Restart restart : {Restart::AfterPowerCut, Restart::AfterMessyPowerCut})
        EXPECT_EQ(AtEach(
                      [&](const Part &part, long operation) -> std::string
                      {
                          const auto disk = MakeDisk(part, std::uint64_t(operation));
                          disk->StopAt(operation);
                          History(*disk, part.first, part.end).Run(1);
                          disk->Start(Restart::AfterKill);
                          std::string seen;
                          {
                              const JobStore store(k_file, disk->Name());
                              seen = DumpOf(*disk);
                              disk->Stop();
                          }
                          disk->Start(restart);
                          const JobStore store(k_file, disk->Name());
                          return DumpOf(*disk) == seen ? "" : "there was\n" + seen;
                      }),
                  "");
}

TEST_F(DiskFaults, AreSeenOnADiskThatOnlySaysThatItSyncs)
{
    EXPECT_NE(StopAtEach(Restart::AfterPowerCut, 1, false), "");
}

TEST_F(DiskFaults, OfAnErrorAreOverWithIt)
{
    EXPECT_EQ(FailAtEach(Fault::Error, 1), "");
}

TEST_F(DiskFaults, OfManyErrorsAreOverWithThem)
{
    EXPECT_EQ(FailAtEach(Fault::Error, 7), "");
}

TEST_F(DiskFaults, OfAFullDiskAreOverWhenThereIsRoom)
{
    EXPECT_EQ(FailAtEach(Fault::Full, 9), "");
}

// The store is made, by its migrations one after the other.
TEST_F(DiskFaults, WhileAStoreIsMadeLeaveOneThatIsMadeTheNextTime)
{
    FaultyDisk whole;
    ASSERT_NE(Open(whole), UID());
    const long operations = whole.Count();
    ASSERT_GT(operations, 50);

    for (const Restart restart : {Restart::AfterPowerCut, Restart::AfterMessyPowerCut})
        for (long operation = 1; operation <= operations; ++operation)
        {
            FaultyDisk disk{std::uint64_t(operation)};
            disk.StopAt(operation);
            const UID told = Open(disk);
            disk.Start(restart);
            ASSERT_EQ(FindWrong(disk, 0), "") << operation;
            ASSERT_TRUE(told.IsNil() || Open(disk) == told) << operation;
        }
    for (long operation = 1; operation <= operations; ++operation)
    {
        FaultyDisk disk;
        disk.Fail(operation, 1, Fault::Error);
        Open(disk);
        ASSERT_EQ(FindWrong(disk, 0), "") << operation;
    }
}

// A disk that cannot be read for once holds no damaged store: nobody is to restore an old one.
TEST_F(DiskFaults, AreNotTakenForADamagedStore)
{
    FaultyDisk whole(1, m_new);
    Open(whole);
    for (long operation = 1; operation <= whole.Count(); ++operation)
    {
        FaultyDisk disk(1, m_new);
        disk.Fail(operation, 1, Fault::Error);
        String reason;
        Open(disk, &reason);
        EXPECT_EQ(reason.find("damaged"), String::npos) << operation << ": " << reason;
    }
}

} // namespace
} // namespace master
