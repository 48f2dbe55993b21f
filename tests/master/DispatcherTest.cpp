#include "master/requests/Dispatcher.h"

#include <boost/make_shared.hpp>
#include <map>

#include "corvan/JobFactory.h"
#include "corvan/Limits.h"
#include "corvan/MessageFactory.h"
#include "corvan/messages.pb.h"
#include "master/jobs/Submission.h"
#include "master/requests/LogWishes.h"
#include "tests/master/StoreFixture.h"
#include "tests/support/LogCapture.h"

using corvan::AcceptedMsg;
using corvan::JobMsg;
using corvan::JobParameterMsg;
using corvan::JobStatus;
using corvan::RefusedMsg;
using master::JobState;
using master::Outbox;
using ostrel::String;
using ostrel::UID;

using Texts = std::vector<std::string>;
using Runs = std::vector<master::RunsToEnd>;

namespace
{

constexpr std::uint64_t k_serial = 17;

class DispatcherTest : public StoreFixture
{
protected:
    Outbox Handle(master::ClientNumber client, corvan::Message &message)
    {
        message.serial = k_serial;
        Outbox outbox = InTurn(
            [&](Outbox &news) {
                m_dispatcher.Handle({client, m_who}, message, news);
            });
        for (const master::LogWish &wish : std::vector(outbox.LogWishes()))
            outbox.Answer(wish.client, wish.serial, master::ReadLog(m_logs, wish));
        return outbox;
    }

    Outbox Set(const UID &job, const String &name, const String &value)
    {
        JobParameterMsg message;
        message.job = job;
        message.name = name;
        message.value = value;
        return Handle(1, message);
    }

    Outbox SetAll(const UID &job, const TestParameters &wishes)
    {
        corvan::JobParametersMsg message;
        message.job = job;
        message.parameters.assign(wishes.begin(), wishes.end());
        return Handle(1, message);
    }

    // What the first tasks of a job have printed.
    Texts LogsOf(const UID &job, unsigned count)
    {
        Texts logs;
        for (unsigned task = 0; task < count; ++task)
        {
            corvan::GetTaskLogMsg ask;
            ask.job = job;
            ask.task = task;
            const Outbox outbox = Handle(1, ask);
            const auto *log = AnswerOf<corvan::TaskLogMsg>(outbox);
            logs.push_back(log ? log->text : String("(none)"));
        }
        return logs;
    }

    Outbox Submit(const boost::shared_ptr<corvan::Job> &job)
    {
        JobMsg message;
        message.job = job;
        return Handle(1, message);
    }

    Outbox Remove(const UID &job, bool cancel = false)
    {
        corvan::RemoveJobMsg message;
        message.job = job;
        message.cancel = cancel;
        return Handle(1, message);
    }

    // A job that was submitted.
    UID NewJob(const TestParameters &parameters)
    {
        const auto job = MakeTestJob(parameters);
        Submit(job);
        return job->ID();
    }

    template <typename Asked> Outbox Ask(const UID &job)
    {
        Asked message;
        message.job = job;
        return Handle(1, message);
    }

    // As if the first two tasks had run: one done, one running.
    void StartTasks(const UID &id)
    {
        JobState state = State(id);
        state.status = JobStatus::Running;
        state.nextTask = 2;
        state.tasksDone = 1;
        InTurn(
            [&](Outbox &)
            {
                m_store.Tasks().Save(state, {.index = 0, .status = JobStatus::Done, .tries = 1});
                m_store.Tasks().Save(state, {.index = 1, .status = JobStatus::Running, .tries = 1});
                m_store.SaveState(state);
            });
    }

    // The first message of the outbox, which has to answer the request of client 1.
    template <typename Answer> static const Answer *AnswerOf(const Outbox &outbox)
    {
        if (outbox.Messages().empty())
            return nullptr;
        const master::Outgoing &first = outbox.Messages().front();
        EXPECT_EQ(first.client, 1u);
        EXPECT_EQ(first.answers, k_serial);
        return dynamic_cast<const Answer *>(first.message.get());
    }

    static std::string ReasonOf(const Outbox &outbox)
    {
        const auto *refused = AnswerOf<RefusedMsg>(outbox);
        return refused ? refused->what + ": " + refused->reason : "(not refused)";
    }

    static std::vector<JobStatus> StatusesOf(const Outbox &outbox)
    {
        std::vector<JobStatus> statuses;
        if (const auto *list = AnswerOf<corvan::TaskListMsg>(outbox))
            for (const corvan::TaskInfo &task : list->tasks)
                statuses.push_back(task.status);
        return statuses;
    }

    master::Identity m_who{
        .user = "anna", .role = master::Role::Admin, .peer = "here", .token = {}, .peerKey = {}};
    master::Followers m_followers;
    master::Dispatcher m_dispatcher{m_store, m_cache, m_followers};
};

TEST_F(DispatcherTest, KeepsANewJobWithWhatTheMasterSets)
{
    const auto job = MakeTestJob({{"Name", "beauty"},
                                  {"Range", "1-10"},
                                  {"PacketSize", "4"},
                                  {"Priority", "70"},
                                  {"Status", "2"},
                                  {"Created", "long ago"},
                                  {"TasksTotal", "99"},
                                  {"TasksDone", "98"},
                                  {"TasksFailed", "1"},
                                  {"Owner", "bert"}});
    const Outbox outbox = Submit(job);

    const auto *accepted = AnswerOf<AcceptedMsg>(outbox);
    ASSERT_TRUE(accepted);
    EXPECT_EQ(accepted->job, job->ID());

    corvan::GetJobInfoMsg ask;
    ask.jobs = {job->ID()};
    const Outbox info = Handle(1, ask);
    const auto *answer = AnswerOf<JobMsg>(info);
    ASSERT_TRUE(answer);
    const std::pair<const char *, const char *> expected[] = {
        {"Name", "beauty"},  {"Range", "1-10"},   {"PacketSize", "4"}, {"Priority", "70"},
        {"Status", "0"},     {"TasksTotal", "3"}, {"TasksDone", "0"},  {"TasksFailed", "0"},
        {"CustomRange", ""}, {"Owner", "anna"},
    };
    for (const auto &[name, value] : expected)
    {
        String text = "(not set)";
        answer->job->GetParameter(name, text);
        EXPECT_EQ(text, value) << name;
    }
    EXPECT_TRUE(answer->job->ParameterText("Created", false).starts_with("20"));
}

TEST_F(DispatcherTest, LogsTheIdentifierAndNameOfANewJob)
{
    const auto job = MakeTestJob({{"Name", "beauty again"}, {"Range", "1-3"}});
    const LogCapture log;
    Submit(job);
    EXPECT_EQ(log.Texts(ostrel::k_LogStatus),
              Texts{"new job " + job->ID().ToString() + " \"beauty again\", 3 tasks"});
    const auto other = MakeTestJob({{"Range", "4"}});
    other->SetID(job->ID());
    Submit(other);
    EXPECT_EQ(log.Count(ostrel::k_LogInfo, "refused Job " + job->ID().ToString()), 1);
}

TEST_F(DispatcherTest, TellsANewJobToThoseWhoFollowItAlready)
{
    const auto job = MakeTestJob({{"Range", "1"}});
    corvan::FollowJobMsg follow;
    follow.jobs = {job->ID()};
    EXPECT_TRUE(AnswerOf<AcceptedMsg>(Handle(1, follow)));

    const Outbox outbox = Submit(job);
    ASSERT_EQ(outbox.Messages().size(), 2u);
    EXPECT_EQ(outbox.Messages()[1].followersOf, job->ID());
    EXPECT_EQ(outbox.Messages()[1].answers, 0u);
    EXPECT_EQ(outbox.Messages()[1].message->TypeID(), JobMsg::s_Type);
    EXPECT_EQ(m_followers.Of(job->ID()), std::vector<master::ClientNumber>{1});
}

TEST_F(DispatcherTest, HonoursAPausedNewJob)
{
    // What waits may lack what it needs to run.
    const auto job = MakeTestJob({{"Range", "1"}, {"Status", "4"}});
    const auto needy = corvan::JobFactory::s_JobFactory.CreateJob(k_ShellType);
    needy->SetID(job->ID());
    for (const auto &[name, value] : job->Parameters())
        if (name != "Script")
            needy->SetParameter(name, value);
    EXPECT_TRUE(AnswerOf<AcceptedMsg>(Submit(needy)));
    EXPECT_EQ(State(needy->ID()).status, JobStatus::Paused);

    needy->SetID(UID(true));
    needy->SetParameter("Status", "0");
    EXPECT_NE(ReasonOf(Submit(needy)).find("nothing is known of {Script}"), std::string::npos);
}

TEST_F(DispatcherTest, RefusesANewJobThatCannotBeKept)
{
    const auto there = MakeTestJob({{"Range", "1"}});
    Submit(there);
    const auto sameID = MakeTestJob({{"Range", "2"}});
    sameID->SetID(there->ID());
    const auto noID = MakeTestJob({{"Range", "2"}});
    noID->SetID(UID());
    const struct
    {
        boost::shared_ptr<corvan::Job> job;
        const char *reason;
    } cases[] = {
        {MakeTestJob({}), "the range names no frame"},
        {MakeTestJob({{"Range", "1-3y1"}}), "the range names no frame"},
        {MakeTestJob({{"Range", "1"}, {"ImageFormat", "/x.png"}}),
         "ImageFormat: \"/x.png\": it has no place"},
        {sameID, "a job with this identifier exists already"},
        {noID, "the job has no identifier"},
    };
    for (const auto &[job, reason] : cases)
    {
        const std::string told = ReasonOf(Submit(job));
        EXPECT_TRUE(told.starts_with("Job " + job->ID().ToString() + ": " + reason)) << told;
    }
    EXPECT_FALSE(m_store.FindOlder(State(there->ID()).number));
    EXPECT_EQ(m_store.FindOlder(master::JobStore::k_BeyondNewest)->id, there->ID());
}

TEST_F(DispatcherTest, TakesAJobThatIsSentAgainForTheSameJob)
{
    const auto job = MakeTestJob({{"Range", "1-3"}, {"Name", "a"}, {"Priority", "70"}});
    Submit(job);
    Set(job->ID(), "Range", "1-5");
    Set(job->ID(), "Status", "4");

    const Outbox outbox = Submit(job);
    ASSERT_TRUE(AnswerOf<AcceptedMsg>(outbox));
    EXPECT_EQ(AnswerOf<AcceptedMsg>(outbox)->job, job->ID());
    EXPECT_EQ(outbox.Messages().size(), 1u) << "nothing is new";
    EXPECT_TRUE(outbox.AuditEntries().empty()) << "its line is where the job is";
    EXPECT_EQ(State(job->ID()).tasksTotal, 5u) << "what became of it stays";
    EXPECT_EQ(State(job->ID()).status, JobStatus::Paused);
    EXPECT_FALSE(m_store.FindOlder(State(job->ID()).number));

    const auto turned = corvan::JobFactory::s_JobFactory.CreateJob(k_ShellType);
    turned->SetID(job->ID());
    for (const char *name : {"Priority", "Name", "Range", "Script"})
        turned->SetParameter(name, job->ParameterText(name, false));
    turned->SetParameter("TasksDone", "7");
    EXPECT_TRUE(AnswerOf<AcceptedMsg>(Submit(turned)))
        << "neither order nor the Master's own count";
}

TEST_F(DispatcherTest, RefusesAnotherJobOfAnIdentifierThatOneHas)
{
    const auto job = MakeTestJob({{"Range", "1-3"}, {"Name", "ab"}, {"Note", "c"}});
    Submit(job);
    const TestParameters others[] = {
        {{"Range", "1-3"}, {"Name", "ab"}},
        {{"Range", "1-3"}, {"Name", "ab"}, {"Note", "d"}},
        {{"Range", "1-3"}, {"Name", "a"}, {"Note", "bc"}},
        {{"Range", "1-3"}, {"Name", "ab"}, {"Note", "c"}, {"Extra", ""}},
        {{"Range", "1-3"}, {"Name", "ab"}, {"Note", "c"}, {"Status", "4"}},
    };
    for (const TestParameters &parameters : others)
    {
        const auto other = MakeTestJob(parameters);
        other->SetID(job->ID());
        EXPECT_NE(ReasonOf(Submit(other)).find("exists already, and it is another one"),
                  std::string::npos);
    }
    const auto otherType =
        MakeTestJob({{"Range", "1-3"}, {"Name", "ab"}, {"Note", "c"}}, k_OnceType);
    otherType->SetID(job->ID());
    EXPECT_NE(ReasonOf(Submit(otherType)).find("another one"), std::string::npos);
}

TEST_F(DispatcherTest, RemovesAJobThatIsOverAndTellsItsFollowers)
{
    const UID job = NewJob({{"Range", "1-3"}});
    StartTasks(job);
    EXPECT_NE(ReasonOf(Remove(job)).find("the job is Running"), std::string::npos);
    Set(job, "Status", "5");

    const Outbox outbox = Remove(job);
    EXPECT_TRUE(AnswerOf<AcceptedMsg>(outbox));
    ASSERT_EQ(outbox.Messages().size(), 2u);
    EXPECT_EQ(outbox.Messages()[1].followersOf, job);
    EXPECT_EQ(dynamic_cast<corvan::JobRemovedMsg &>(*outbox.Messages()[1].message).job, job);
    EXPECT_FALSE(m_store.FindState(job));
    EXPECT_FALSE(m_store.FindOlder(master::JobStore::k_BeyondNewest));
    EXPECT_NE(ReasonOf(Remove(job)).find("there is no such job"), std::string::npos);
    EXPECT_NE(ReasonOf(Set(job, "Name", "x")).find("there is no such job"), std::string::npos);
}

TEST_F(DispatcherTest, RemovesAJobThatIsNotOverWhereThatIsAskedFor)
{
    const UID job = NewJob({{"Range", "1-3"}});
    StartTasks(job);
    const Outbox outbox = Remove(job, true);
    EXPECT_TRUE(AnswerOf<AcceptedMsg>(outbox));
    EXPECT_EQ(outbox.EndedRuns(), (Runs{{job, {}}}));
    EXPECT_FALSE(m_store.FindState(job));
}

TEST_F(DispatcherTest, MakesNoNewJobOfTheIdentifierOfOneThatIsStillBeingRemoved)
{
    const auto job = MakeTestJob({{"Range", "1"}});
    Submit(job);
    Remove(job->ID(), true);
    EXPECT_NE(ReasonOf(Submit(job)).find("was just removed"), std::string::npos);
    InTurn([&](Outbox &) { m_store.ForgetRemoved(job->ID()); });
    EXPECT_TRUE(AnswerOf<AcceptedMsg>(Submit(job)));
}

TEST_F(DispatcherTest, AnswersOneMessageForEachJobAskedFor)
{
    const UID one = NewJob({{"Range", "1"}}), other = NewJob({{"Range", "2"}}), none(true);
    corvan::GetJobInfoMsg ask;
    ask.jobs = {one, none, other};
    const Outbox outbox = Handle(1, ask);
    ASSERT_EQ(outbox.Messages().size(), 3u);
    EXPECT_EQ(dynamic_cast<JobMsg &>(*outbox.Messages()[0].message).job->ID(), one);
    const auto &refused = dynamic_cast<RefusedMsg &>(*outbox.Messages()[1].message);
    EXPECT_EQ(refused.job, none);
    EXPECT_EQ(refused.what, "GetJobInfo " + none.ToString());
    EXPECT_EQ(dynamic_cast<JobMsg &>(*outbox.Messages()[2].message).job->ID(), other);
}

TEST_F(DispatcherTest, ListsJobsNewestFirst)
{
    const UID one = NewJob({{"Range", "1"}}), other = NewJob({{"Range", "2"}});
    corvan::ListJobsMsg ask;
    const Outbox all = Handle(1, ask);
    ASSERT_EQ(AnswerOf<corvan::JobListMsg>(all)->jobs.size(), 2u);
    EXPECT_EQ(AnswerOf<corvan::JobListMsg>(all)->jobs[0]->ID(), other);
    EXPECT_EQ(AnswerOf<corvan::JobListMsg>(all)->jobs[1]->ID(), one);

    ask.limit = 1;
    EXPECT_EQ(AnswerOf<corvan::JobListMsg>(Handle(1, ask))->jobs.size(), 1u);
}

TEST_F(DispatcherTest, ListsInPartsWhatNoMessageCanHold)
{
    const String blob(std::string(corvan::k_MaxValueBytes - 10'000, 'x'));
    std::vector<UID> newestFirst;
    for (int i = 0; i < 5; ++i)
        newestFirst.insert(newestFirst.begin(), NewJob({{"Range", "1"}, {"Blob", blob}}));

    for (const unsigned limit : {0u, 3u})
    {
        std::vector<UID> listed;
        corvan::ListJobsMsg ask;
        do
        {
            ask.limit = limit == 0 ? 0 : limit - unsigned(listed.size());
            const Outbox part = Handle(1, ask);
            const auto *list = AnswerOf<corvan::JobListMsg>(part);
            ASSERT_TRUE(list);
            corvan::wire::Envelope envelope;
            list->Write(envelope);
            EXPECT_LT(envelope.ByteSizeLong(), corvan::k_MaxMessageBytes);
            for (const auto &job : list->jobs)
                listed.push_back(job->ID());
            ask.before = list->restBefore;
        } while (!ask.before.IsNil() && listed.size() < 10);
        EXPECT_EQ(listed,
                  std::vector(newestFirst.begin(), newestFirst.begin() + (limit == 0 ? 5 : 3)));
    }
}

TEST_F(DispatcherTest, ListsSmallJobsInOnePart)
{
    for (int i = 0; i < 100; ++i)
        NewJob({{"Range", "1"}});
    corvan::ListJobsMsg ask;
    const Outbox all = Handle(1, ask);
    EXPECT_EQ(AnswerOf<corvan::JobListMsg>(all)->jobs.size(), 100u);
    EXPECT_TRUE(AnswerOf<corvan::JobListMsg>(all)->restBefore.IsNil());

    ask.before = UID(true);
    EXPECT_EQ(ReasonOf(Handle(1, ask)),
              "ListJobs " + ask.before.ToString() + ": there is no such job");
}

TEST_F(DispatcherTest, AnswersNoMoreAtOnceThanAMessageHolds)
{
    const String blob(std::string(corvan::k_MaxValueBytes, 'x'));
    corvan::GetJobInfoMsg ask;
    for (int i = 0; i < 6; ++i)
        ask.jobs.push_back(NewJob({{"Range", "1"}, {"Blob", blob}}));
    const Outbox outbox = Handle(1, ask);
    ASSERT_EQ(outbox.Messages().size(), 6u);
    EXPECT_TRUE(dynamic_cast<JobMsg *>(outbox.Messages()[3].message.get()));
    for (const std::size_t left : {4u, 5u})
    {
        const auto *refused = dynamic_cast<RefusedMsg *>(outbox.Messages()[left].message.get());
        ASSERT_TRUE(refused) << left;
        EXPECT_EQ(refused->job, ask.jobs[left]);
        EXPECT_EQ(refused->reason, "the jobs before it fill an answer; ask for it again");
    }
    ask.jobs = {ask.jobs.back()};
    EXPECT_TRUE(AnswerOf<JobMsg>(Handle(1, ask)));
}

TEST_F(DispatcherTest, ChangesAParameterAndTellsIt)
{
    const UID job = NewJob({{"Range", "1-3"}, {"Name", "old"}});
    const std::pair<const char *, const char *> changes[] = {
        {"Name", "new"},     {"Name", "new"},          {"CustomRange", "5"},
        {"UserRange", "6"},  {"ImageFormat", "/x.%d"}, {"Whatever", ""},
        {"Priority", "100"}, {"Range", "1-3"},         {"Note", "two\nlines"},
    };
    for (const auto &[name, value] : changes)
    {
        const Outbox outbox = Set(job, name, value);
        EXPECT_TRUE(AnswerOf<AcceptedMsg>(outbox)) << name;
        EXPECT_EQ(News(outbox), Texts{std::string(name) + "=" + value});
        EXPECT_EQ(outbox.Messages().back().followersOf, job);

        m_cache.Clear();
        String reason;
        EXPECT_EQ(m_cache.Whole(State(job), &reason)->ParameterText(name, false), value) << name;
    }
}

TEST_F(DispatcherTest, RefusesAParameterThatCannotBe)
{
    const UID job = NewJob({{"Range", "1-3"}});
    const UID once(true);
    const std::pair<const char *, const char *> changes[] = {
        {"PacketSize", "0"},  {"Range", "a"},    {"Range", ""},       {"CustomRange", "1-"},
        {"Priority", "101"},  {"Status", "9"},   {"Status", "2"},     {"Type", "x"},
        {"Created", "today"}, {"Owner", "anna"}, {"TasksTotal", "5"}, {"TasksDone", "1"},
        {"TasksFailed", "1"}, {"", "x"},
    };
    String reason;
    const auto before = m_cache.Whole(State(job), &reason)->Parameters();
    for (const auto &[name, value] : changes)
    {
        const Outbox outbox = Set(job, name, value);
        EXPECT_TRUE(AnswerOf<RefusedMsg>(outbox)) << name << " = " << value;
        EXPECT_EQ(AnswerOf<RefusedMsg>(outbox)->job, job);
        EXPECT_EQ(outbox.Messages().size(), 1u);
        EXPECT_EQ(m_cache.Whole(State(job), &reason)->Parameters(), before) << name;
    }
    EXPECT_EQ(ReasonOf(Set(UID(true), "Name", "x")), "JobParameter Name: there is no such job");
    // A name that is told already is not told twice.
    EXPECT_EQ(ReasonOf(Set(job, "PacketSize", "0")),
              "JobParameter PacketSize: \"0\" is not a whole number from 1 to 2147483647");
    EXPECT_EQ(ReasonOf(Set(job, "Created", "today")),
              "JobParameter Created: the Master alone sets it");
}

TEST_F(DispatcherTest, CutsARunningJobAnew)
{
    const UID job = NewJob({{"Range", "1-10"}});
    StartTasks(job);
    const Outbox outbox = Set(job, "PacketSize", "5");
    EXPECT_EQ(News(outbox),
              (Texts{"PacketSize=5", "TasksTotal=2", "TasksDone=0", "TasksFailed=0", "Status=0"}));
    EXPECT_EQ(outbox.EndedRuns(), (Runs{{job, {}}}));
    EXPECT_EQ(State(job).status, JobStatus::Queued);
    EXPECT_EQ(StatusesOf(Ask<corvan::GetTasksMsg>(job)),
              (std::vector{JobStatus::Queued, JobStatus::Queued}));
}

TEST_F(DispatcherTest, DoesNotCutAnewForTheSameRange)
{
    const UID job = NewJob({{"Range", "1-3"}});
    StartTasks(job);
    EXPECT_EQ(Set(job, "Range", "1-3").EndedRuns(), Runs{});
    EXPECT_EQ(Set(job, "PacketSize", "1").EndedRuns(), Runs{});
    EXPECT_EQ(State(job).tasksDone, 1u);
}

TEST_F(DispatcherTest, QueuesTheNewPacketsOfAFinishedJobAndKeepsTheOldOnes)
{
    const UID job = NewJob({{"Range", "5-6"}});
    JobState state = State(job);
    state.status = JobStatus::Failed;
    state.nextTask = 2;
    state.tasksDone = 1;
    state.tasksFailed = 1;
    InTurn(
        [&](Outbox &)
        {
            m_store.Tasks().Save(state, {.index = 0, .status = JobStatus::Done, .tries = 2});
            m_store.Tasks().Save(
                state, {.index = 1, .status = JobStatus::Failed, .tries = 3, .exitCode = 9});
            m_store.SaveState(state);
        });
    WriteLog(job, 0, 2, "five\n");
    WriteLog(job, 1, 3, "six\n");

    const Outbox outbox = Set(job, "Range", "4-7");
    EXPECT_EQ(News(outbox),
              (Texts{"Range=4-7", "TasksTotal=4", "TasksDone=1", "TasksFailed=1", "Status=0"}));
    EXPECT_EQ(
        StatusesOf(Ask<corvan::GetTasksMsg>(job)),
        (std::vector{JobStatus::Queued, JobStatus::Done, JobStatus::Failed, JobStatus::Queued}));
    const auto tasks = m_store.Tasks().List(State(job));
    ASSERT_EQ(tasks.size(), 2u);
    EXPECT_EQ(tasks[0].tries, 2u);
    EXPECT_EQ(tasks[1].exitCode, 9);
    EXPECT_EQ(LogsOf(job, 4), (Texts{"", "five\n", "six\n", ""}));
    EXPECT_EQ(State(job).nextTask, 0u);
}

TEST_F(DispatcherTest, AJobWhoseRangeKeepsOnlyWhatIsOverIsOver)
{
    for (const char *status : {"1", "4"})
    {
        const UID job = NewJob({{"Range", "1-3"}});
        StartTasks(job);
        Set(job, "Status", status);
        const Outbox outbox = Set(job, "Range", "1");
        EXPECT_EQ(News(outbox),
                  (Texts{"Range=1", "TasksTotal=1", "TasksDone=1", "TasksFailed=0", "Status=2"}));
        EXPECT_EQ(outbox.EndedRuns(), (Runs{{job, {}}})) << "the second task is in it no more";
    }
}

TEST_F(DispatcherTest, LeavesACancelledJobCancelledAndAPausedOnePaused)
{
    for (const char *status : {"4", "5"})
    {
        const UID job = NewJob({{"Range", "1-3"}});
        StartTasks(job);
        Set(job, "Status", status);
        Set(job, "Range", "1-9");
        EXPECT_EQ(std::to_string(int(State(job).status)), status);
        EXPECT_EQ(State(job).tasksTotal, 9u);
        EXPECT_EQ(State(job).tasksDone, 1u);
    }
}

TEST_F(DispatcherTest, ARunningPacketThatIsInBothCutsGoesOn)
{
    const UID job = NewJob({{"Range", "11-13"}});
    StartTasks(job);
    const Outbox outbox = Set(job, "Range", "9-13");
    EXPECT_EQ(outbox.EndedRuns(), (Runs{{job, {{1, 3}}}}));
    EXPECT_EQ(State(job).status, JobStatus::Running);
    EXPECT_EQ(StatusesOf(Ask<corvan::GetTasksMsg>(job)),
              (std::vector{JobStatus::Queued, JobStatus::Queued, JobStatus::Done,
                           JobStatus::Running, JobStatus::Queued}));
}

TEST_F(DispatcherTest, NothingIsKeptOfAJobThatNumbersItsFilesFromAnotherFrame)
{
    const UID job =
        NewJob({{"Range", "11-13"}, {"RenumberStart", "1"}, {"ImageFormat", "/r/a.%d"}});
    StartTasks(job);
    Set(job, "Range", "11-15");
    EXPECT_EQ(State(job).tasksDone, 1u) << "the first frame is the same";
    Set(job, "Range", "9-15");
    EXPECT_EQ(State(job).tasksDone, 0u);
    EXPECT_EQ(State(job).status, JobStatus::Queued);
}

TEST_F(DispatcherTest, TheLogsOfAJobThatIsCutTwiceStayWithTheirFrames)
{
    const UID job = NewJob({{"Range", "5-6"}});
    StartTasks(job);
    WriteLog(job, 0, 1, "five\n");
    WriteLog(job, 1, 1, "six\n");
    Set(job, "Range", "4-7");
    const auto first = master::LogNumber(State(job), {.index = 0});
    WriteLog(job, first, 1, "four\n");
    InTurn(
        [&](Outbox &)
        { m_store.Tasks().Save(State(job), {.index = 0, .status = JobStatus::Done, .tries = 1}); });
    Set(job, "Range", "3-6");
    EXPECT_EQ(LogsOf(job, 4), (Texts{"", "four\n", "five\n", "six\n"}));
}

TEST_F(DispatcherTest, ChangesSeveralParametersTogether)
{
    const UID job = NewJob({{"Range", "1-3"}, {"Name", "old"}});
    const Outbox outbox = SetAll(job, {{"Name", "new"}, {"Range", "1-4"}, {"Priority", "80"}});
    EXPECT_TRUE(AnswerOf<AcceptedMsg>(outbox));
    EXPECT_EQ(News(outbox), (Texts{"Name=new", "Range=1-4", "Priority=80", "TasksTotal=4",
                                   "TasksDone=0", "TasksFailed=0"}));
    m_cache.Clear();
    String reason;
    const auto whole = m_cache.Whole(State(job), &reason);
    EXPECT_EQ(whole->Name(), "new");
    EXPECT_EQ(whole->ParameterText("Range", false), "1-4");
    EXPECT_EQ(whole->ParameterText("Priority", false), "80");

    EXPECT_EQ(News(SetAll(job, {{"Range", "1-2"}, {"Status", "4"}})),
              (Texts{"Range=1-2", "Status=4", "TasksTotal=2", "TasksDone=0", "TasksFailed=0"}));
}

TEST_F(DispatcherTest, ChangesAllOfSeveralParametersOrNone)
{
    const UID job = NewJob({{"Range", "1-3"}, {"Name", "old"}});
    StartTasks(job);
    const struct
    {
        TestParameters wishes;
        const char *reason;
    } cases[] = {
        {{{"Name", "new"}, {"Range", "5"}, {"PacketSize", "0"}},
         "JobParameters PacketSize: \"0\" is not a whole number"},
        {{{"Name", "new"}, {"Range", "5"}, {"Status", "2"}},
         "JobParameters Status: a job is done or failed by its tasks alone"},
        {{{"Status", "5"}, {"Range", "5"}, {"status", "5"}},
         "JobParameters status: the parameter is called Status"},
        {{{"Status", "5"}, {"Range", ""}}, "JobParameters: the range names no frame"},
        {{{"Range", "1-9"}, {"ImageFormat", "a.%d"}},
         "JobParameters ImageFormat: \"a.%d\" is no full path"},
        {{{"Name", "new"}, {"TasksDone", "3"}},
         "JobParameters TasksDone: the Master alone sets it"},
    };
    String reason;
    const auto before = m_cache.Whole(State(job), &reason)->Parameters();
    for (const auto &[wishes, why] : cases)
    {
        const Outbox outbox = SetAll(job, wishes);
        EXPECT_TRUE(ReasonOf(outbox).starts_with(why)) << ReasonOf(outbox);
        EXPECT_EQ(outbox.Messages().size(), 1u);
        EXPECT_EQ(outbox.EndedRuns(), Runs{});
        m_cache.Clear();
        EXPECT_EQ(m_cache.Whole(State(job), &reason)->Parameters(), before) << why;
        EXPECT_EQ(m_store.Tasks().List(State(job)).size(), 2u);
    }
}

TEST_F(DispatcherTest, HoldsANewJobToWhatItHoldsAChangeTo)
{
    const struct
    {
        const char *name;
        const char *value;
        const char *reason;
    } cases[] = {
        {"status", "4", "status: the parameter is called Status"},
        {"ID", "7", "ID: the identifier of a job cannot be set"},
        {"ImageFormat", "", "ImageFormat: there is no pattern in it"},
        {"ImageFormat", "a.%d", "is no full path"},
        {"ImageFormat", "/a.####", "it has no place for a frame number"},
    };
    const UID present = NewJob({{"Range", "1"}});
    for (const auto &[name, value, reason] : cases)
    {
        const auto job = MakeTestJob({{"Range", "1"}, {name, value}, {"Status", "4"}});
        EXPECT_NE(ReasonOf(Submit(job)).find(reason), std::string::npos) << ReasonOf(Submit(job));
        EXPECT_NE(ReasonOf(Set(present, name, value)).find(reason), std::string::npos);
    }
}

TEST_F(DispatcherTest, AJobKeepsAValueThatNobodyWouldBeLetSet)
{
    const auto job = MakeTestJob({{"Range", "1"}, {"ImageFormat", "a.%d"}});
    Add(*job);
    EXPECT_TRUE(AnswerOf<AcceptedMsg>(Set(job->ID(), "ImageFormat", "a.%d")));
    EXPECT_TRUE(AnswerOf<RefusedMsg>(Set(job->ID(), "ImageFormat", "b.%d")));
}

TEST_F(DispatcherTest, AJobThatWaitsMayLackWhatItNeedsButDoesNotBegin)
{
    const auto job = corvan::JobFactory::s_JobFactory.CreateJob(k_ShellType);
    job->SetID(UID(true));
    job->SetParameter("Range", "1-3");
    job->SetParameter("Status", "4");
    EXPECT_TRUE(AnswerOf<AcceptedMsg>(Submit(job)));
    EXPECT_NE(ReasonOf(Set(job->ID(), "Status", "0")).find("nothing is known of {Script}"),
              std::string::npos);
    EXPECT_TRUE(AnswerOf<AcceptedMsg>(Set(job->ID(), "Extra", "1")));
    EXPECT_EQ(State(job->ID()).status, JobStatus::Paused);

    EXPECT_TRUE(AnswerOf<AcceptedMsg>(SetAll(job->ID(), {{"Status", "0"}, {"Script", "exit 0"}})));
    EXPECT_EQ(State(job->ID()).status, JobStatus::Queued);
}

TEST_F(DispatcherTest, WhereARequeueComesFromDoesNotChange)
{
    const UID origin = NewJob({{"Range", "1"}});
    const UID job = NewJob({{"Range", "1"}, {"RequeueOf", origin.ToString()}});
    EXPECT_TRUE(AnswerOf<AcceptedMsg>(Set(job, "RequeueOf", origin.ToString())));
    EXPECT_TRUE(AnswerOf<RefusedMsg>(Set(job, "RequeueOf", job.ToString())));
    EXPECT_TRUE(AnswerOf<RefusedMsg>(Set(origin, "RequeueOf", job.ToString())));
}

TEST_F(DispatcherTest, CancelsAndRunsAgain)
{
    const UID job = NewJob({{"Range", "1-3"}});
    StartTasks(job);
    const Outbox cancel = Set(job, "Status", "5");
    EXPECT_EQ(News(cancel), Texts{"Status=5"});
    EXPECT_EQ(cancel.EndedRuns(), (Runs{{job, {}}}));
    EXPECT_EQ(StatusesOf(Ask<corvan::GetTasksMsg>(job)),
              (std::vector{JobStatus::Done, JobStatus::Cancelled, JobStatus::Cancelled}));

    const Outbox again = Set(job, "Status", "0");
    EXPECT_EQ(News(again), (Texts{"TasksDone=0", "TasksFailed=0", "Status=0"}));
    EXPECT_EQ(StatusesOf(Ask<corvan::GetTasksMsg>(job)),
              (std::vector{JobStatus::Queued, JobStatus::Queued, JobStatus::Queued}));
}

TEST_F(DispatcherTest, PausesAndResumes)
{
    const UID job = NewJob({{"Range", "1-3"}});
    EXPECT_EQ(News(Set(job, "Status", "4")), Texts{"Status=4"});
    EXPECT_EQ(News(Set(job, "Status", "1")), Texts{"Status=0"});
    StartTasks(job);
    const Outbox pause = Set(job, "Status", "4");
    EXPECT_EQ(pause.EndedRuns(), Runs{});
    EXPECT_EQ(News(Set(job, "Status", "0")), Texts{"Status=1"});
    EXPECT_EQ(State(job).tasksDone, 1u);
}

TEST_F(DispatcherTest, ListsTheTasksOfAJob)
{
    const UID job = NewJob({{"Range", "1-5"}, {"PacketSize", "2"}});
    StartTasks(job);
    const Outbox outbox = Ask<corvan::GetTasksMsg>(job);
    const auto *list = AnswerOf<corvan::TaskListMsg>(outbox);
    ASSERT_TRUE(list);
    ASSERT_EQ(list->tasks.size(), 3u);
    EXPECT_EQ(list->tasks[2].index, 2u);
    EXPECT_EQ(list->tasks[1].firstFrame, 3);
    EXPECT_EQ(list->tasks[1].lastFrame, 4);
    EXPECT_EQ(list->tasks[1].status, JobStatus::Running);
    EXPECT_EQ(list->tasks[1].tries, 1u);
    EXPECT_EQ(list->tasks[2].tries, 0u);
}

TEST_F(DispatcherTest, RefusesAListOfTasksThatNoMessageCanHold)
{
    const UID job = NewJob({{"Range", "1-10000000"}});
    EXPECT_EQ(ReasonOf(Ask<corvan::GetTasksMsg>(job)),
              "GetTasks " + job.ToString() +
                  ": the job has 10000000 tasks, more than a message can hold");
}

TEST_F(DispatcherTest, GivesTheLogOfATask)
{
    const UID job = NewJob({{"Range", "1-2"}});
    InTurn([&](Outbox &) { m_store.Tasks().Save(State(job), {.index = 1, .tries = 1}); });
    WriteLog(job, 1, 1, "rendered\n");
    corvan::GetTaskLogMsg ask;
    ask.job = job;
    ask.task = 1;
    EXPECT_EQ(AnswerOf<corvan::TaskLogMsg>(Handle(1, ask))->text, "rendered\n");
    ask.task = 0;
    EXPECT_EQ(AnswerOf<corvan::TaskLogMsg>(Handle(1, ask))->text, "");
    ask.task = 2;
    EXPECT_EQ(ReasonOf(Handle(1, ask)), "GetTaskLog " + job.ToString() + ": the job has no task 2");
}

TEST_F(DispatcherTest, GivesTheLogOfEachTry)
{
    const UID job = NewJob({{"Range", "1"}});
    InTurn([&](Outbox &) { m_store.Tasks().Save(State(job), {.index = 0, .tries = 2}); });
    WriteLog(job, 0, 1, "first\n");
    WriteLog(job, 0, 2, "second\n");
    const struct
    {
        unsigned wanted;
        unsigned given;
        const char *text;
    } cases[] = {{0, 2, "second\n"}, {1, 1, "first\n"}, {2, 2, "second\n"}};
    corvan::GetTaskLogMsg ask;
    ask.job = job;
    for (const auto &[wanted, given, text] : cases)
    {
        ask.attempt = wanted;
        const Outbox outbox = Handle(1, ask);
        EXPECT_EQ(AnswerOf<corvan::TaskLogMsg>(outbox)->text, text) << wanted;
        EXPECT_EQ(AnswerOf<corvan::TaskLogMsg>(outbox)->attempt, given) << wanted;
    }
    ask.attempt = 3;
    EXPECT_EQ(ReasonOf(Handle(1, ask)),
              "GetTaskLog " + job.ToString() + ": task 0 was tried 2 times");
}

TEST_F(DispatcherTest, TellsWhyTasksFailedAsLongAsTheListHasRoom)
{
    const UID job = NewJob({{"Range", "1-3"}});
    InTurn(
        [&](Outbox &)
        {
            const std::string large(master::JobAnswers::k_ReasonBytes, 'x');
            m_store.Tasks().Save(State(job), {.index = 0, .tries = 1, .reason = "it left no file"});
            m_store.Tasks().Save(State(job), {.index = 1, .tries = 1, .reason = large});
            m_store.Tasks().Save(State(job), {.index = 2, .tries = 1, .reason = "nor did it"});
        });
    const Outbox outbox = Ask<corvan::GetTasksMsg>(job);
    const auto *list = AnswerOf<corvan::TaskListMsg>(outbox);
    ASSERT_TRUE(list);
    EXPECT_EQ(list->tasks[0].reason, "it left no file");
    EXPECT_EQ(list->tasks[1].reason, "");
    EXPECT_EQ(list->tasks[2].reason, "nor did it");
}

TEST_F(DispatcherTest, ShowsWhyAJobWaits)
{
    const UID job = NewJob({{"Range", "1"}});
    const auto waiting = [&]
    {
        String unreadable;
        return m_cache.Whole(State(job), &unreadable)->ParameterText("Waiting", false);
    };
    EXPECT_EQ(waiting(), "");
    JobState state = State(job);
    state.waiting = "no program";
    InTurn([&](Outbox &) { m_store.SaveState(state); });
    EXPECT_EQ(waiting(), "no program");
    EXPECT_EQ(ReasonOf(Set(job, "Waiting", "for me")),
              "JobParameter Waiting: the Master alone sets it");
}

TEST_F(DispatcherTest, HasAJobTriedAtOnceThatSomebodyWantsToGoOn)
{
    const struct
    {
        const char *name;
        const char *value;
        bool tries;
        const char *waiting;
    } cases[] = {
        {"Status", "0", true, "no program"},
        {"Status", "1", true, "no program"},
        {"Script", "exit 1", true, "no program"},
        {"Note", "x", false, "no program"},
        {"Status", "4", true, ""},
    };
    const UID job = NewJob({{"Range", "1-3"}});
    for (const auto &[name, value, tries, waiting] : cases)
    {
        JobState state = State(job);
        state.waiting = "no program";
        InTurn([&](Outbox &) { m_store.SaveState(state); });
        const Outbox outbox = Set(job, name, value);
        EXPECT_EQ(outbox.JobsToTry(), tries ? std::vector{job} : std::vector<UID>{}) << name;
        EXPECT_EQ(State(job).waiting, waiting) << name << value;
    }
}

TEST_F(DispatcherTest, ForgivesTheFirstFailuresOfAJobThatIsResumed)
{
    const UID job = NewJob({{"Range", "1-30"}, {"Status", "4"}});
    JobState state = State(job);
    state.waiting = "its first 10 tasks have all failed";
    state.firstFailures = 10;
    InTurn([&](Outbox &) { m_store.SaveState(state); });
    EXPECT_EQ(News(Set(job, "Status", "1")), (Texts{"Waiting=", "Status=0"}));
    EXPECT_EQ(State(job).firstFailures, 0);
}

TEST_F(DispatcherTest, RefusesWhatOnlyTheMasterSends)
{
    AcceptedMsg message;
    EXPECT_EQ(ReasonOf(Handle(1, message)), "Accepted: the Master does not take this message");
}

// Fills the fields of a message with what makes sense for this job.
void FillIn(google::protobuf::Message &message, const std::string &job)
{
    const auto *reflection = message.GetReflection();
    for (int i = 0; i < message.GetDescriptor()->field_count(); ++i)
    {
        const auto *field = message.GetDescriptor()->field(i);
        const std::map<std::string, std::string> texts = {
            {"type", k_ShellType.ToString()}, {"name", "Range"}, {"value", "1-7"}};
        const auto text = texts.find(field->name());
        const std::string value = text == texts.end() ? job : text->second;
        if (field->cpp_type() == field->CPPTYPE_MESSAGE)
            FillIn(field->is_repeated() ? *reflection->AddMessage(&message, field)
                                        : *reflection->MutableMessage(&message, field),
                   job);
        else if (field->cpp_type() == field->CPPTYPE_STRING && field->is_repeated())
            reflection->AddString(&message, field, value);
        else if (field->cpp_type() == field->CPPTYPE_STRING)
            reflection->SetString(&message, field, value);
        else if (field->cpp_type() == field->CPPTYPE_BOOL)
            reflection->SetBool(&message, field, true);
    }
}

// Whatever messages there are: each is made up, about a job of somebody else.
TEST_F(DispatcherTest, NoMessageChangesAJobWithoutTheRightToIt)
{
    const auto *bodies = corvan::wire::Envelope::descriptor()->FindOneofByName("body");
    const auto whole = [this](const UID &job)
    {
        String reason;
        return std::pair(m_cache.Whole(State(job), &reason)->Parameters(), State(job).tasksTotal);
    };
    int changing = 0;
    for (int i = 0; i < bodies->field_count(); ++i)
    {
        corvan::wire::Envelope envelope;
        m_who = {
            .user = "bert", .role = master::Role::Admin, .peer = {}, .token = {}, .peerKey = {}};
        const UID job = NewJob({{"Range", "1-3"}});
        FillIn(*envelope.GetReflection()->MutableMessage(&envelope, bodies->field(i)),
               job.ToString());
        String reason;
        const auto message = corvan::MessageFactory::FromEnvelope(envelope, &reason);
        if (!message || message->Goes() == corvan::Direction::FromMaster)
            continue;

        SCOPED_TRACE(message->TypeName());
        const auto before = whole(job);
        m_who.user = "anna";
        for (const master::Role role :
             {master::Role::Watch, master::Role::Submit, master::Role::EditOwn})
        {
            m_who.role = role;
            Handle(1, *message);
            ASSERT_TRUE(m_store.FindState(job));
            EXPECT_EQ(whole(job), before);
        }
        m_who.role = master::Role::EditAll;
        Handle(1, *message);
        changing += m_store.FindState(job) && whole(job) == before ? 0 : 1;
    }
    EXPECT_EQ(changing, 3) << "those that change something do it with the right to it";
}

TEST_F(DispatcherTest, AJobOfATypeThatIsNotThereIsStillItsOwners)
{
    const UID job = NewJob({{"Range", "1-3"}});
    TestJobTypes::Forget(k_ShellType);
    m_cache.Clear();
    m_who = {.user = "bert", .role = master::Role::EditOwn, .peer = {}, .token = {}, .peerKey = {}};
    EXPECT_NE(ReasonOf(Remove(job, true)).find("and the job is of user anna"), std::string::npos);
    m_who.user = "anna";
    EXPECT_TRUE(AnswerOf<AcceptedMsg>(Remove(job, true)));
}

TEST_F(DispatcherTest, TakesWhatIsSentAgainFromItsOwnerAlone)
{
    const auto job = MakeTestJob({{"Range", "1-3"}});
    m_who.role = master::Role::Submit;
    Submit(job);
    EXPECT_TRUE(AnswerOf<AcceptedMsg>(Submit(job)));
    m_who.user = "bert";
    EXPECT_NE(ReasonOf(Submit(job)).find("exists already, and it is another one"),
              std::string::npos);

    // An earlier version knew no owners.
    const auto old = MakeTestJob({{"Range", "1-3"}});
    JobState state;
    state.id = old->ID();
    state.submitted = master::NameSubmission(*old);
    InTurn([&](Outbox &) { m_store.Add(*old, state); });
    EXPECT_TRUE(AnswerOf<AcceptedMsg>(Submit(old)));
    EXPECT_EQ(m_store.FindOwner(old->ID()), "") << "and is not his by that";
}

TEST_F(DispatcherTest, SaysNothingToARequestThatWantsNoAnswer)
{
    const UID job = NewJob({{"Range", "1"}});
    JobParameterMsg message;
    message.job = job;
    message.name = "Name";
    message.value = "x";
    const Outbox outbox = InTurn(
        [&](Outbox &news) {
            m_dispatcher.Handle({1, m_who}, message, news);
        });
    ASSERT_EQ(outbox.Messages().size(), 1u);
    EXPECT_EQ(outbox.Messages()[0].followersOf, job);
}

} // namespace
