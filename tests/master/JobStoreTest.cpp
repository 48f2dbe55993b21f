#include "master/store/JobStore.h"

#include <SQLiteCpp/Database.h>
#include <boost/make_shared.hpp>
#include <sys/resource.h>

#include <gtest/gtest.h>

#include "corvan/JobFactory.h"
#include "master/jobs/JobCache.h"
#include "tests/master/TestJobs.h"
#include "tests/support/Printing.h"
#include "tests/support/TempFolder.h"
#include "tests/support/Thrown.h"

using corvan::Job;
using corvan::JobStatus;
using master::JobState;
using master::JobStore;
using master::TaskState;
using master::WaitedFor;
using ostrel::Path;
using ostrel::String;
using ostrel::UID;

namespace
{

// Files of this process cannot grow beyond a size for as long as this lives: a full disk.
class FullDisk
{
public:
    explicit FullDisk(rlim_t bytes)
    {
        ::getrlimit(RLIMIT_FSIZE, &m_before);
        rlimit limit = m_before;
        limit.rlim_cur = bytes;
        ::setrlimit(RLIMIT_FSIZE, &limit);
        m_handler = ::signal(SIGXFSZ, SIG_IGN);
    }
    ~FullDisk()
    {
        ::setrlimit(RLIMIT_FSIZE, &m_before);
        ::signal(SIGXFSZ, m_handler);
    }

private:
    rlimit m_before{};
    void (*m_handler)(int) = SIG_DFL;
};

class JobStoreTest : public ::testing::Test
{
protected:
    Path File() const
    {
        return m_folder / "jobs.db";
    }

    void Reopen()
    {
        m_store.reset();
        m_store = std::make_unique<JobStore>(File());
    }

    JobState Add(const Job &job, int priority = 50, unsigned tasks = 3)
    {
        JobState state;
        state.id = job.ID();
        state.created = ostrel::Time(1'700'000'000'000'000'000);
        state.priority = priority;
        state.tasksTotal = tasks;
        JobStore::Turn turn(*m_store);
        m_store->Add(job, state);
        turn.Commit();
        return state;
    }

    JobState AddNew(int priority = 50)
    {
        return Add(*MakeTestJob({{"Range", "1-3"}}), priority);
    }

    JobState AddOf(const char *owner, int priority = 50)
    {
        return Add(*MakeTestJob({{"Range", "1-3"}, {"Owner", owner}}), priority);
    }

    // In a turn of its own.
    template <typename Change> void InTurn(Change change)
    {
        JobStore::Turn turn(*m_store);
        change();
        turn.Commit();
    }

    TempFolder m_folder;
    TestJobTypes m_types;
    std::unique_ptr<JobStore> m_store = std::make_unique<JobStore>(File());
};

TEST_F(JobStoreTest, KeepsLinesOfTheAuditLogUntilTheyAreForgotten)
{
    std::int64_t first = 0, second = 0, third = 0;
    InTurn([&] { first = m_store->Audit().Keep("a\nb\n"); });
    InTurn([&] { second = m_store->Audit().Keep("c\n"); });
    EXPECT_GT(second, first);
    {
        const JobStore::Turn undone(*m_store);
        m_store->Audit().Keep("d\n");
    }
    Reopen();
    const auto kept = m_store->Audit().List();
    ASSERT_EQ(kept.size(), 2u);
    EXPECT_EQ(kept[0].lines, "a\nb\n");
    EXPECT_EQ(kept[0].number, first);
    EXPECT_EQ(kept[1].lines, "c\n");

    InTurn(
        [&]
        {
            third = m_store->Audit().Keep("e\n");
            m_store->Audit().Forget(second);
        });
    EXPECT_GT(third, second);
    ASSERT_EQ(m_store->Audit().List().size(), 1u);
    EXPECT_EQ(m_store->Audit().List().front().lines, "e\n");
}

TEST_F(JobStoreTest, KeepsJobsAndItsIdentityWhenItIsClosed)
{
    const auto job = MakeTestJob({{"Name", "Größe \"1\"; --"},
                                  {"Range", "1-3"},
                                  {"CustomRange", ""},
                                  {"Note", "a\nb"},
                                  {"Zebra", "x"},
                                  {"Apple", "y"}});
    const JobState added = Add(*job, 70);
    const UID identity = m_store->MasterID();

    Reopen();

    EXPECT_EQ(m_store->MasterID(), identity);
    String reason;
    const auto loaded = m_store->Load(job->ID(), &reason);
    ASSERT_TRUE(loaded) << reason;
    EXPECT_EQ(loaded->Parameters(), job->Parameters());
    EXPECT_EQ(loaded->ID(), job->ID());
    const auto state = m_store->FindState(job->ID());
    ASSERT_TRUE(state);
    EXPECT_EQ(state->number, added.number);
    EXPECT_EQ(state->priority, 70);
    EXPECT_EQ(state->tasksTotal, 3u);
    EXPECT_EQ(state->created, added.created);
    EXPECT_EQ(state->status, JobStatus::Queued);
}

TEST_F(JobStoreTest, TellsTheSameOfTheTasksOfAJobThatIsOver)
{
    JobState job = Add(*MakeTestJob({{"Range", "1-9"}}), 50, 9);
    const std::vector<TaskState> tasks = {
        {.index = 0, .status = JobStatus::Done, .tries = 1},
        {.index = 1, .status = JobStatus::Done, .tries = 1},
        {.index = 2, .status = JobStatus::Done, .tries = 2, .failures = 1},
        {.index = 3, .status = JobStatus::Done, .tries = 1},
        {.index = 4, .status = JobStatus::Done, .tries = 1, .log = 7},
        {.index = 5, .status = JobStatus::Done, .tries = 1, .log = 7},
        {.index = 7, .status = JobStatus::Cancelled, .tries = 1},
        {.index = 8, .status = JobStatus::Cancelled, .tries = 1},
    };
    const auto countRows = [&]
    { return SQLite::Database(File().Text()).execAndGet("SELECT count(*) FROM tasks").getInt(); };
    InTurn(
        [&]
        {
            for (const TaskState &task : tasks)
                m_store->Tasks().Save(job, task);
            m_store->SaveState(job);
        });
    EXPECT_EQ(countRows(), 8) << "while it is not over each task has a row";
    job.status = JobStatus::Cancelled;
    InTurn([&] { m_store->SaveState(job); });
    EXPECT_EQ(countRows(), 6);

    EXPECT_EQ(m_store->Tasks().List(job), tasks);
    for (const TaskState &task : tasks)
        EXPECT_EQ(m_store->Tasks().Find(job, task.index), task) << task.index;
    EXPECT_FALSE(m_store->Tasks().Find(job, 6));
    EXPECT_FALSE(m_store->Tasks().Find(job, 9));
    const unsigned untouched[] = {6, 6, 6, 6, 6, 6, 6, 9, 9, 9};
    for (unsigned from = 0; from < 10; ++from)
        EXPECT_EQ(m_store->Tasks().FindUntouched(job, from), untouched[from]) << from;
}

TEST_F(JobStoreTest, ChangesOneTaskOfSeveralThatShareARow)
{
    JobState job = Add(*MakeTestJob({{"Range", "1-4"}}), 50, 4);
    std::vector<TaskState> tasks;
    for (unsigned index = 0; index < 4; ++index)
        tasks.push_back({.index = index, .status = JobStatus::Done, .tries = 1});
    job.status = JobStatus::Done;
    for (const unsigned changed : {0u, 2u, 3u})
    {
        InTurn(
            [&]
            {
                m_store->Tasks().Replace(job, m_store->Tasks().List(job), tasks);
                m_store->SaveState(job);
                m_store->Tasks().Save(job, {.index = changed, .status = JobStatus::Queued});
            });
        std::vector<TaskState> expected = tasks;
        expected[changed] = {.index = changed, .status = JobStatus::Queued};
        EXPECT_EQ(m_store->Tasks().List(job), expected);
        EXPECT_EQ(m_store->Tasks().FindNext(job), expected[changed]);
    }
}

TEST_F(JobStoreTest, KnowsWhenAJobGotOver)
{
    JobState job = AddNew();
    const auto save = [&](JobStatus status, std::int64_t moment)
    {
        job.status = status;
        InTurn([&] { m_store->SaveState(job, ostrel::Time(moment)); });
    };
    const auto isOverBefore = [&](std::int64_t moment)
    { return m_store->FindFinishedBefore(ostrel::Time(moment)).has_value(); };

    save(JobStatus::Running, 100);
    EXPECT_FALSE(isOverBefore(1000));
    save(JobStatus::Failed, 200);
    save(JobStatus::Failed, 300);
    EXPECT_TRUE(isOverBefore(201)) << "what changes later does not make it younger";
    EXPECT_FALSE(isOverBefore(200));
    save(JobStatus::Queued, 400);
    EXPECT_FALSE(isOverBefore(1000));
    save(JobStatus::Done, 500);
    EXPECT_TRUE(isOverBefore(501));
    EXPECT_FALSE(isOverBefore(500));
}

TEST_F(JobStoreTest, HasNothingLeftOfARemovedJobButItsName)
{
    const JobState one = AddNew();
    const JobState other = AddNew();
    InTurn(
        [&]
        {
            m_store->Tasks().Save(one, {.index = 1});
            m_store->Tasks().Save(other, {.index = 2});
            m_store->Remove(one);
        });
    Reopen();
    String reason;
    EXPECT_FALSE(m_store->FindState(one.id));
    EXPECT_FALSE(m_store->Load(one.id, &reason));
    EXPECT_TRUE(m_store->Tasks().List(one).empty());
    EXPECT_TRUE(m_store->IsRemoved(one.id));
    EXPECT_EQ(m_store->FindRemoved(UID()), one.id);
    EXPECT_FALSE(m_store->FindRemoved(one.id));
    EXPECT_EQ(m_store->Tasks().List(other).size(), 1u);
    EXPECT_FALSE(m_store->IsRemoved(other.id));
    InTurn([&] { m_store->ForgetRemoved(one.id); });
    EXPECT_FALSE(m_store->IsRemoved(one.id));
}

TEST_F(JobStoreTest, DoesNotKnowAJobThatNobodyAdded)
{
    String reason;
    const UID job(true);
    EXPECT_FALSE(m_store->FindState(job));
    EXPECT_FALSE(m_store->Load(job, &reason));
    EXPECT_EQ(reason, "there is no job " + job.ToString());
}

TEST_F(JobStoreTest, TellsOfAJobWhoseTypeIsGone)
{
    const JobState state = AddNew();
    corvan::JobFactory::s_JobFactory.Clear();
    String reason;
    EXPECT_FALSE(m_store->Load(state.id, &reason));
    EXPECT_EQ(reason, "the type " + k_ShellType.ToString() + " of the job is not known here");
}

TEST_F(JobStoreTest, KeepsAUserRangeThatWasSetByHand)
{
    const auto job = MakeTestJob({{"UserRange", "7"}, {"Range", "1-3"}, {"UserRange", "9"}});
    Add(*job);
    String reason;
    EXPECT_EQ(m_store->Load(job->ID(), &reason)->ParameterText("UserRange", false), "9");
}

TEST_F(JobStoreTest, ReplacesTheParametersOfAJob)
{
    const auto job = MakeTestJob({{"Range", "1-3"}, {"Name", "old"}, {"Note", "same"}});
    const JobState state = Add(*job);
    job->SetParameter("Name", "new");
    job->SetParameter("More", "1");
    InTurn([&] { m_store->SaveParameters(*job, state); });

    Reopen();

    String reason;
    EXPECT_EQ(m_store->Load(job->ID(), &reason)->Parameters(), job->Parameters());
}

TEST_F(JobStoreTest, UndoesATurnThatWasNotCommitted)
{
    const auto job = MakeTestJob({{"Range", "1-3"}});
    {
        const JobStore::Turn turn(*m_store);
        JobState state;
        state.id = job->ID();
        m_store->Add(*job, state);
        EXPECT_TRUE(m_store->FindState(job->ID()));
    }
    EXPECT_FALSE(m_store->FindState(job->ID()));
    EXPECT_FALSE(m_store->InTurn());
}

TEST_F(JobStoreTest, UndoesAStepAndKeepsTheRestOfTheTurn)
{
    const auto kept = MakeTestJob({{"Range", "1"}});
    const auto undone = MakeTestJob({{"Range", "2"}});
    JobStore::Turn turn(*m_store);
    {
        JobStore::Step step(*m_store);
        JobState state;
        state.id = kept->ID();
        m_store->Add(*kept, state);
        step.Keep();
    }
    {
        const JobStore::Step step(*m_store);
        JobState state;
        state.id = undone->ID();
        m_store->Add(*undone, state);
    }
    turn.Commit();
    EXPECT_TRUE(m_store->FindState(kept->ID()));
    EXPECT_FALSE(m_store->FindState(undone->ID()));
}

TEST_F(JobStoreTest, ListsNewestFirst)
{
    const JobState first = AddNew(), second = AddNew(), third = AddNew();
    EXPECT_EQ(m_store->FindOlder(JobStore::k_BeyondNewest)->id, third.id);
    EXPECT_EQ(m_store->FindOlder(third.number)->id, second.id);
    EXPECT_EQ(m_store->FindOlder(second.number)->id, first.id);
    EXPECT_FALSE(m_store->FindOlder(first.number));
}

TEST_F(JobStoreTest, FindsRunnableJobsByPriorityThenByOwnerThenByAge)
{
    const JobState low = AddNew(10), old = AddNew(60), young = AddNew(60);
    const JobState bo = AddOf("bo", 60), anna = AddOf("anna", 60);
    master::QueueStore &queue = m_store->Queue();
    EXPECT_EQ(queue.FindPriority(101), 60);
    EXPECT_EQ(queue.FindPriority(60), 10);
    EXPECT_EQ(queue.FindPriority(10), std::nullopt);
    EXPECT_EQ(queue.ListOwners(60), (std::vector<String>{"", "anna", "bo"}));
    EXPECT_EQ(queue.ListOwners(11), std::vector<String>());
    EXPECT_EQ(queue.FindJob(60, "", 0)->job, old.id);
    EXPECT_EQ(queue.FindJob(60, "", old.number)->job, young.id);
    EXPECT_FALSE(queue.FindJob(60, "", young.number));
    EXPECT_EQ(queue.FindJob(60, "bo", 0)->job, bo.id);
    EXPECT_EQ(queue.FindJob(60, "anna", 0)->number, anna.number);
    EXPECT_EQ(queue.FindJob(10, "", 0)->job, low.id);
}

TEST_F(JobStoreTest, FindsNoRunnableJobAmongThoseThatAreNot)
{
    for (const auto status :
         {JobStatus::Done, JobStatus::Failed, JobStatus::Paused, JobStatus::Cancelled})
    {
        JobState state = AddNew();
        state.status = status;
        InTurn([&] { m_store->SaveState(state); });
    }
    EXPECT_FALSE(m_store->HasWork());
    JobState allStarted = AddNew();
    allStarted.status = JobStatus::Running;
    allStarted.nextTask = 3;
    InTurn([&] { m_store->SaveState(allStarted); });
    EXPECT_FALSE(m_store->Queue().FindJob(50, "", 0));
    EXPECT_TRUE(m_store->HasWork());

    InTurn([&] { m_store->Tasks().Save(allStarted, {.index = 1, .status = JobStatus::Queued}); });
    EXPECT_EQ(m_store->Queue().FindJob(50, "", 0)->job, allStarted.id);
}

// Of the plans that SQLite could make for them, none walks through the jobs that wait.
TEST_F(JobStoreTest, FindsRunnableJobsByAnIndexThatHasNoneThatWaits)
{
    const JobState job = AddNew(), waiting = AddNew();
    InTurn([&] { m_store->Waits().Replace(waiting, std::vector<WaitedFor>{{job.id}}); });
    EXPECT_EQ(m_store->Queue().FindJob(50, "", 0)->job, job.id);
    EXPECT_FALSE(m_store->Queue().FindJob(50, "", job.number));
    InTurn([&] { m_store->Remove(job); });
    EXPECT_EQ(m_store->Queue().ListOwners(50), std::vector<String>());
    EXPECT_EQ(m_store->Queue().FindPriority(101), std::nullopt);
    EXPECT_FALSE(m_store->HasWork());
}

TEST_F(JobStoreTest, FindsTheNextTaskAmongQueuedAndNeverStartedOnes)
{
    JobState state = AddNew();
    EXPECT_EQ(m_store->Tasks().FindNext(state)->index, 0u);
    state.nextTask = 2;
    EXPECT_EQ(m_store->Tasks().FindNext(state)->index, 2u);

    InTurn(
        [&]
        { m_store->Tasks().Save(state, {.index = 1, .status = JobStatus::Queued, .tries = 1}); });
    EXPECT_EQ(m_store->Tasks().FindNext(state)->index, 1u);
    EXPECT_EQ(m_store->Tasks().FindNext(state)->tries, 1u);

    InTurn([&] { m_store->Tasks().Save(state, {.index = 1, .status = JobStatus::Done}); });
    state.nextTask = 3;
    EXPECT_FALSE(m_store->Tasks().FindNext(state));
}

TEST_F(JobStoreTest, QueuesWhatRanAgainAndNothingElse)
{
    const JobState one = AddNew(), other = AddNew();
    InTurn(
        [&]
        {
            m_store->Tasks().Save(one, {.index = 0, .status = JobStatus::Running, .tries = 2});
            m_store->Tasks().Save(one, {.index = 1, .status = JobStatus::Done, .tries = 1});
            m_store->Tasks().Save(other, {.index = 0, .status = JobStatus::Running, .tries = 1});
        });

    Reopen();
    InTurn([&] { EXPECT_EQ(m_store->Tasks().RequeueRunning(), 2); });

    const auto tasks = m_store->Tasks().List(one);
    ASSERT_EQ(tasks.size(), 2u);
    EXPECT_EQ(tasks[0].status, JobStatus::Queued);
    EXPECT_EQ(tasks[0].tries, 2u);
    EXPECT_EQ(tasks[1].status, JobStatus::Done);
    EXPECT_EQ(m_store->Tasks().Find(other, 0)->status, JobStatus::Queued);
    EXPECT_FALSE(m_store->Tasks().Find(other, 1));
}

TEST_F(JobStoreTest, ForgetsTheTasksOfOneJob)
{
    const JobState one = AddNew(), other = AddNew();
    InTurn(
        [&]
        {
            m_store->Tasks().Save(one, {.index = 0, .status = JobStatus::Done});
            m_store->Tasks().Save(other, {.index = 0, .status = JobStatus::Done});
            m_store->Tasks().Forget(one);
        });
    EXPECT_TRUE(m_store->Tasks().List(one).empty());
    EXPECT_EQ(m_store->Tasks().List(other).size(), 1u);
}

TEST_F(JobStoreTest, RefusesWhatAFullDiskCannotHoldAndGoesOn)
{
    const JobState before = AddNew();
    const auto big = MakeTestJob({{"Range", "1"}, {"Blob", String(std::string(2'000'000, 'x'))}});
    {
        const FullDisk full(600'000);
        EXPECT_NE(Thrown([&] { Add(*big); }).find("job store " + File().Text() + ": "),
                  std::string::npos);
        EXPECT_FALSE(m_store->InTurn());
        EXPECT_TRUE(m_store->FindState(before.id));
        EXPECT_FALSE(m_store->FindState(big->ID()));
    }
    Add(*big);
    Reopen();
    EXPECT_TRUE(m_store->FindState(big->ID()));
}

TEST_F(JobStoreTest, SaysWhyItCannotBeOpened)
{
    const Path noFolder = m_folder / "none" / "jobs.db";
    EXPECT_EQ(Thrown([&] { JobStore store(noFolder); }),
              "cannot open job store " + noFolder.Text() + ": unable to open database file");

    const Path noStore = m_folder.MakeFile("text.db", std::string(5000, 'x'));
    const std::string reason = Thrown([&] { JobStore store(noStore); });
    EXPECT_TRUE(reason.starts_with("cannot open job store " + noStore.Text() + ": it is damaged"))
        << reason;
    EXPECT_NE(reason.find("file is not a database"), std::string::npos) << reason;
}

TEST_F(JobStoreTest, GivesAJobWithWhatTheMasterKeepsOfIt)
{
    JobState state = AddNew(30);
    state.status = JobStatus::Running;
    state.tasksDone = 2;
    state.tasksFailed = 1;
    master::JobCache cache(*m_store);
    String reason;
    const auto job = cache.Whole(state, &reason);
    ASSERT_TRUE(job);

    const std::pair<const char *, const char *> expected[] = {
        {"Status", "1"},     {"Priority", "30"},   {"Created", "2023-11-14T22:13:20Z"},
        {"TasksTotal", "3"}, {"TasksDone", "2"},   {"TasksFailed", "1"},
        {"Range", "1-3"},    {"Script", "exit 0"},
    };
    for (const auto &[name, value] : expected)
        EXPECT_EQ(job->ParameterText(name, false), value) << name;
    EXPECT_EQ(job->ID(), state.id);
}

} // namespace
