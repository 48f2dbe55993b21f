#include "master/requests/Dependences.h"

#include <boost/make_shared.hpp>

#include "corvan/AfterJobs.h"
#include "corvan/RequeueJob.h"
#include "master/requests/Dispatcher.h"
#include "tests/master/StoreFixture.h"

using corvan::JobStatus;
using corvan::WriteAfterJobs;
using master::JobState;
using master::Outbox;
using ostrel::String;
using ostrel::UID;

using Texts = std::vector<std::string>;

namespace
{

class DependencesTest : public StoreFixture
{
protected:
    // As a turn of the Master does it, until nothing is left to follow.
    template <typename Change> Outbox Turn(Change change)
    {
        bool mayBeMore = true;
        Outbox all = InTurn(
            [&](Outbox &outbox)
            {
                change(outbox);
                mayBeMore = m_dispatcher.Waiting().Follow(outbox);
            });
        while (mayBeMore)
            all.Append(
                InTurn([&](Outbox &outbox) { mayBeMore = m_dispatcher.Waiting().Follow(outbox); }));
        return all;
    }

    Outbox Handle(corvan::Message &message)
    {
        message.serial = 1;
        return Turn([&](Outbox &outbox) { m_dispatcher.Handle({1, m_who}, message, outbox); });
    }

    Outbox Submit(const boost::shared_ptr<corvan::Job> &job)
    {
        corvan::JobMsg message;
        message.job = job;
        return Handle(message);
    }

    // A job of three frames that was taken.
    UID NewJob(const char *name, TestParameters parameters = {})
    {
        parameters.insert(parameters.begin(), {{"Name", name}, {"Range", "1-3"}});
        const auto job = MakeTestJob(parameters);
        EXPECT_EQ(RefusalOf(Submit(job)), "");
        return job->ID();
    }

    UID NewJobAfter(const char *name, const std::vector<UID> &others)
    {
        return NewJob(name, {{"After", WriteAfterJobs(others)}});
    }

    Outbox Set(const UID &job, const String &name, const String &value)
    {
        corvan::JobParameterMsg message;
        message.job = job;
        message.name = name;
        message.value = value;
        return Handle(message);
    }

    Outbox SetStatus(const UID &job, JobStatus status)
    {
        return Set(job, "Status", std::to_string(int(status)));
    }

    Outbox Remove(const UID &job)
    {
        corvan::RemoveJobMsg message;
        message.job = job;
        message.cancel = true;
        return Handle(message);
    }

    // As if its commands had run.
    Outbox End(const UID &job, JobStatus status)
    {
        return Turn(
            [&](Outbox &)
            {
                JobState state = State(job);
                state.nextTask = state.tasksTotal;
                state.status = status;
                m_store.SaveState(state);
            });
    }

    // What was found of its frames.
    void Judge(const UID &job, master::JobFrames::Phase phase, unsigned bad)
    {
        Turn(
            [&](Outbox &)
            {
                master::JobFrames frames;
                frames.phase = phase;
                frames.isJudged = true;
                frames.bad = bad;
                m_store.Frames().Save(State(job), frames);
            });
    }

    bool MayBegin(const UID &job)
    {
        const auto found = m_store.Queue().FindJob(State(job).priority, "anna", 0);
        for (auto next = found; next;
             next = m_store.Queue().FindJob(State(job).priority, "anna", next->number))
            if (next->job == job)
                return true;
        return false;
    }

    std::string Waiting(const UID &job)
    {
        return State(job).waiting;
    }

    static std::string Short(const UID &job)
    {
        return job.ToString().substr(0, 8);
    }

    static std::string RefusalOf(const Outbox &outbox)
    {
        for (const master::Outgoing &message : outbox.Messages())
            if (const auto *refused =
                    dynamic_cast<const corvan::RefusedMsg *>(message.message.get()))
                return refused->reason;
        return {};
    }

    static master::Identity Anna()
    {
        master::Identity who;
        who.user = "anna";
        who.role = master::Role::Admin;
        return who;
    }

    const master::Identity m_who = Anna();
    master::Followers m_followers;
    master::Dispatcher m_dispatcher{m_store, m_cache, m_followers};
};

TEST_F(DependencesTest, AJobBeginsOnceTheOthersAreDone)
{
    const UID tower = NewJob("tower"), bridge = NewJob("bridge");
    const UID night = NewJobAfter("night", {tower, bridge});
    EXPECT_FALSE(MayBegin(night));
    EXPECT_TRUE(MayBegin(tower));
    EXPECT_EQ(State(night).status, JobStatus::Queued);
    EXPECT_EQ(Waiting(night), "for tower (" + Short(tower) + "); and for 1 other");

    EXPECT_EQ(News(End(tower, JobStatus::Done)),
              Texts{"Waiting=for bridge (" + Short(bridge) + ")"});
    EXPECT_FALSE(MayBegin(night));
    EXPECT_EQ(News(End(bridge, JobStatus::Done)), Texts{"Waiting="});
    EXPECT_TRUE(MayBegin(night));
    EXPECT_FALSE(m_dispatcher.Waiting().IsAnyStirred());
}

TEST_F(DependencesTest, AJobWhoseOthersAreDoneAlreadyBeginsAtOnce)
{
    const UID tower = NewJob("tower");
    End(tower, JobStatus::Done);
    const UID night = NewJobAfter("night", {tower});
    EXPECT_TRUE(MayBegin(night));
    EXPECT_EQ(Waiting(night), "");
}

TEST_F(DependencesTest, AJobGoesOnWaitingForOneThatIsNotDoneAndSaysWhy)
{
    const struct
    {
        JobStatus status;
        const char *why;
    } cases[] = {
        {JobStatus::Running, ""},
        {JobStatus::Paused, ", which is paused"},
        {JobStatus::Failed, ", which has failed"},
        {JobStatus::Cancelled, ", which was cancelled"},
    };
    const UID tower = NewJob("tower");
    const UID night = NewJobAfter("night", {tower});
    for (const auto &[status, why] : cases)
    {
        End(tower, status);
        EXPECT_EQ(Waiting(night), "for tower (" + Short(tower) + ")" + why);
        EXPECT_FALSE(MayBegin(night)) << why;
    }
    // They may be run again.
    SetStatus(tower, JobStatus::Queued);
    EXPECT_EQ(Waiting(night), "for tower (" + Short(tower) + ")");
    End(tower, JobStatus::Done);
    EXPECT_TRUE(MayBegin(night));
}

TEST_F(DependencesTest, WhatSomebodyHasToSeeToIsToldFirst)
{
    const UID tower = NewJob("tower"), bridge = NewJob("bridge"), gate = NewJob("gate");
    const UID night = NewJobAfter("night", {tower, bridge, gate});
    End(bridge, JobStatus::Failed);
    EXPECT_EQ(Waiting(night),
              "for bridge (" + Short(bridge) + "), which has failed; and for 2 others");
}

TEST_F(DependencesTest, OneThatIsRemovedCountsWhereItWasDone)
{
    const UID done = NewJob("done"), failed = NewJob("failed");
    const UID after = NewJobAfter("after", {done}), stuck = NewJobAfter("stuck", {failed});
    End(failed, JobStatus::Failed);
    // Both in the turn in which it gets done.
    Turn(
        [&](Outbox &outbox)
        {
            JobState state = State(done);
            state.status = JobStatus::Done;
            m_store.SaveState(state);
            m_dispatcher.TakeAway(state, outbox);
        });
    EXPECT_TRUE(MayBegin(after));
    EXPECT_EQ(Waiting(after), "");

    Remove(failed);
    EXPECT_FALSE(MayBegin(stuck));
    EXPECT_EQ(Waiting(stuck), "for failed (" + Short(failed) +
                                  "), which was removed before it was done; take it out of After "
                                  "to have this job begin");
    EXPECT_EQ(News(Set(stuck, "After", "")), (Texts{"After=", "Waiting="}));
    EXPECT_TRUE(MayBegin(stuck));
}

TEST_F(DependencesTest, OneThatIsGoneStaysKnownWhenOthersAreAdded)
{
    const UID gone = NewJob("gone"), tower = NewJob("tower");
    const UID night = NewJobAfter("night", {gone});
    Remove(gone);
    EXPECT_EQ(RefusalOf(Set(night, "After", WriteAfterJobs(std::vector{tower, gone}))), "");
    EXPECT_TRUE(Waiting(night).starts_with("for gone (" + Short(gone) + "), which was removed"));
    EXPECT_EQ(RefusalOf(Set(night, "After", WriteAfterJobs(std::vector{tower}))), "");
    EXPECT_EQ(Waiting(night), "for tower (" + Short(tower) + ")");
    EXPECT_EQ(RefusalOf(Set(night, "After", WriteAfterJobs(std::vector{tower, gone}))),
              "there is no job " + gone.ToString());
}

TEST_F(DependencesTest, WhatHasBegunGoesOnWhereTheOthersAreRunAgain)
{
    const UID tower = NewJob("tower");
    const UID begun = NewJobAfter("begun", {tower}), other = NewJobAfter("other", {tower});
    End(tower, JobStatus::Done);
    InTurn([&](Outbox &)
           { m_store.Tasks().Save(State(begun), {.index = 0, .status = JobStatus::Running}); });
    EXPECT_EQ(News(SetStatus(tower, JobStatus::Queued)),
              (Texts{"TasksDone=0", "TasksFailed=0", "Status=0",
                     "Waiting=for tower (" + Short(tower) + ")"}));
    EXPECT_TRUE(MayBegin(begun));
    EXPECT_FALSE(MayBegin(other));
    EXPECT_EQ(Waiting(begun), "");
}

// In the very change that opens it again: whatever is planned before anybody looks at those who
// wait finds none of them.
TEST_F(DependencesTest, AJobIsHeldByTheSameChangeThatOpensAnotherOneAgain)
{
    const UID tower = NewJob("tower");
    const UID night = NewJobAfter("night", {tower});
    End(tower, JobStatus::Done);
    ASSERT_TRUE(MayBegin(night));
    InTurn(
        [&](Outbox &)
        {
            JobState state = State(tower);
            state.status = JobStatus::Running;
            m_store.SaveState(state);
            EXPECT_FALSE(MayBegin(night));
        });
    EXPECT_FALSE(MayBegin(night));
    EXPECT_TRUE(m_dispatcher.Waiting().IsAnyStirred());
}

TEST_F(DependencesTest, AJobThatIsRunAgainWaitsAnew)
{
    const UID tower = NewJob("tower");
    const UID night = NewJobAfter("night", {tower});
    End(tower, JobStatus::Done);
    End(night, JobStatus::Done);
    SetStatus(tower, JobStatus::Queued);
    EXPECT_EQ(Waiting(night), "");
    SetStatus(night, JobStatus::Queued);
    EXPECT_FALSE(MayBegin(night));
    EXPECT_EQ(Waiting(night), "for tower (" + Short(tower) + ")");
}

TEST_F(DependencesTest, AJobThatIsPausedTellsNoReasonAndWaitsWhenItGoesOn)
{
    const UID tower = NewJob("tower");
    const UID night = NewJobAfter("night", {tower});
    EXPECT_EQ(News(SetStatus(night, JobStatus::Paused)), (Texts{"Waiting=", "Status=4"}));
    EXPECT_EQ(News(SetStatus(night, JobStatus::Queued)),
              (Texts{"Status=0", "Waiting=for tower (" + Short(tower) + ")"}));
    SetStatus(night, JobStatus::Paused);
    EXPECT_EQ(News(End(tower, JobStatus::Done)), Texts{});
    EXPECT_EQ(News(SetStatus(night, JobStatus::Queued)), Texts{"Status=0"});
    EXPECT_TRUE(MayBegin(night));
}

TEST_F(DependencesTest, WhatElseKeepsAJobFromGoingOnIsLeftAlone)
{
    const UID tower = NewJob("tower");
    const UID night = NewJobAfter("night", {tower});
    End(tower, JobStatus::Done);
    InTurn(
        [&](Outbox &)
        {
            JobState state = State(night);
            state.waiting = "no program render";
            m_store.SaveState(state);
            m_store.Tasks().Save(state, {.index = 0});
        });
    EXPECT_EQ(News(SetStatus(tower, JobStatus::Queued)),
              (Texts{"TasksDone=0", "TasksFailed=0", "Status=0"}));
    EXPECT_EQ(Waiting(night), "no program render");
}

TEST_F(DependencesTest, WhatCannotBeWaitedForIsRefused)
{
    const UID tower = NewJob("tower");
    const UID bridge = NewJobAfter("bridge", {tower}), gate = NewJobAfter("gate", {bridge});
    const UID nobody(true);
    const struct
    {
        UID job;
        const char *name;
        UID other;
        std::string reason;
    } cases[] = {
        {tower, "After", nobody, "there is no job " + nobody.ToString()},
        {tower, "After", tower, "a job cannot wait for itself"},
        {tower, "After", bridge,
         "bridge (" + Short(bridge) + ") waits for this job, by way of others or not"},
        {tower, "AfterGood", gate,
         "gate (" + Short(gate) + ") waits for this job, by way of others or not"},
        {gate, "AfterGood", tower,
         "nobody checks the frames of tower (" + Short(tower) +
             "), so they are never found good; set its CheckFrames, or wait for it by After"},
    };
    for (const auto &[job, name, other, reason] : cases)
    {
        EXPECT_EQ(RefusalOf(Set(job, name, other.ToString())), reason);
    }
    EXPECT_EQ(RefusalOf(Submit(MakeTestJob({{"Range", "1"}, {"After", nobody.ToString()}}))),
              "After: there is no job " + nobody.ToString());
    const auto itself = MakeTestJob({{"Range", "1"}});
    itself->SetParameter("After", itself->ID().ToString());
    EXPECT_EQ(RefusalOf(Submit(itself)), "After: a job cannot wait for itself");
    EXPECT_FALSE(m_store.FindState(itself->ID()));
    EXPECT_TRUE(MayBegin(tower));
}

TEST_F(DependencesTest, AJobThatHasBegunTakesNoneThatItWaitsFor)
{
    const UID tower = NewJob("tower"), begun = NewJob("begun");
    InTurn([&](Outbox &)
           { m_store.Tasks().Save(State(begun), {.index = 0, .status = JobStatus::Running}); });
    EXPECT_EQ(RefusalOf(Set(begun, "After", tower.ToString())),
              "the job has begun, and what it waits for counts before its first task; cancel it "
              "and run it again");
    SetStatus(begun, JobStatus::Cancelled);
    EXPECT_EQ(RefusalOf(Set(begun, "After", tower.ToString())), "");
    SetStatus(begun, JobStatus::Queued);
    EXPECT_FALSE(MayBegin(begun));
}

TEST_F(DependencesTest, AJobAfterGoodFramesWaitsForTheirCheck)
{
    const UID tower = NewJob("tower", {{"CheckFrames", "sizes"}});
    const UID comp = NewJob("comp", {{"AfterGood", tower.ToString()}});
    const std::string name = "tower (" + Short(tower) + ")";
    EXPECT_EQ(Waiting(comp), "for " + name);
    End(tower, JobStatus::Done);
    EXPECT_EQ(Waiting(comp), "for the check of the frames of " + name);
    Judge(tower, master::JobFrames::Phase::Looking, 0);
    EXPECT_FALSE(MayBegin(comp));
    Judge(tower, master::JobFrames::Phase::Done, 3);
    EXPECT_EQ(Waiting(comp), "for good frames of " + name + ", of which 3 are bad");
    EXPECT_FALSE(MayBegin(comp));
    Judge(tower, master::JobFrames::Phase::Done, 0);
    EXPECT_EQ(Waiting(comp), "");
    EXPECT_TRUE(MayBegin(comp));

    // Which they are no longer before it has begun.
    Judge(tower, master::JobFrames::Phase::Done, 1);
    EXPECT_FALSE(MayBegin(comp));
    Judge(tower, master::JobFrames::Phase::Done, 0);
    Remove(tower);
    EXPECT_TRUE(MayBegin(comp));
}

TEST_F(DependencesTest, OneWhoseFramesNobodyChecksAnyMoreIsTold)
{
    const UID tower = NewJob("tower", {{"CheckFrames", "sizes"}});
    const UID comp = NewJob("comp", {{"AfterGood", tower.ToString()}});
    Set(tower, "CheckFrames", "none");
    End(tower, JobStatus::Done);
    EXPECT_EQ(Waiting(comp),
              "for good frames of tower (" + Short(tower) + "), which nobody checks");
    Remove(tower);
    EXPECT_EQ(Waiting(comp),
              "for tower (" + Short(tower) +
                  "), which was removed before it was found good; take it out of AfterGood to "
                  "have this job begin");
}

// Its frames are those of its origin, which is to be waited for.
TEST_F(DependencesTest, GoodFramesOfARequeueAreNotWaitedFor)
{
    const UID tower = NewJob("tower", {{"CheckFrames", "sizes"}});
    String reason;
    const auto requeue = corvan::MakeRequeueJob(*m_store.Load(tower, &reason), "2");
    ASSERT_EQ(RefusalOf(Submit(requeue)), "");
    const UID comp = NewJob("comp");
    EXPECT_TRUE(RefusalOf(Set(comp, "AfterGood", requeue->ID().ToString()))
                    .starts_with("nobody checks the frames of tower ("));
    EXPECT_EQ(RefusalOf(Set(comp, "AfterGood", tower.ToString())), "");
}

TEST_F(DependencesTest, ARequeueWaitsForNothing)
{
    const UID tower = NewJob("tower");
    const UID night = NewJobAfter("night", {tower});
    String reason;
    const auto requeue = corvan::MakeRequeueJob(*m_store.Load(night, &reason), "2");
    ASSERT_TRUE(requeue);
    Remove(tower);
    EXPECT_EQ(RefusalOf(Submit(requeue)), "");
    EXPECT_TRUE(MayBegin(requeue->ID()));
}

TEST_F(DependencesTest, TheSameSubmitAgainIsTakenWhenWhatItWaitsForIsGone)
{
    const UID tower = NewJob("tower");
    const auto night = MakeTestJob({{"Range", "1"}, {"After", tower.ToString()}});
    Submit(night);
    Remove(tower);
    EXPECT_EQ(RefusalOf(Submit(night)), "");
}

TEST_F(DependencesTest, JobsThatWaitAreNoWork)
{
    const UID tower = NewJob("tower");
    NewJobAfter("night", {tower});
    EXPECT_TRUE(m_store.HasWork());
    SetStatus(tower, JobStatus::Paused);
    EXPECT_FALSE(m_store.HasWork());
}

// More of them than one turn looks at; and what a turn costs that has nothing to do with them is
// the same as without them.
TEST_F(DependencesTest, ThousandsMayWaitForOneJob)
{
    const UID tower = NewJob("tower");
    std::vector<UID> waiting;
    InTurn(
        [&](Outbox &outbox)
        {
            for (int i = 0; i < 1000; ++i)
            {
                const auto job =
                    MakeTestJob({{"Range", "1"}, {"After", tower.ToString()}, {"Owner", "anna"}});
                JobState state;
                state.id = job->ID();
                state.tasksTotal = 1;
                m_store.Add(*job, state);
                m_dispatcher.Waiting().Keep(*job, state, outbox);
                waiting.push_back(job->ID());
            }
        });
    Turn([](Outbox &) {});
    for (const UID &job : waiting)
        ASSERT_EQ(Waiting(job), "for tower (" + Short(tower) + ")");
    EXPECT_EQ(m_store.Queue().FindJob(50, "anna", 0)->job, tower);
    EXPECT_FALSE(m_store.Queue().FindJob(50, "anna", State(tower).number));

    EXPECT_EQ(News(End(tower, JobStatus::Done)), Texts(1000, "Waiting="));
    EXPECT_TRUE(MayBegin(waiting.back()));
}

} // namespace
