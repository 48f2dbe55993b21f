#include "master/repair/FrameChecks.h"

#include "corvan/Parameters.h"
#include "corvan/RequeueJob.h"
#include "tests/master/StoreFixture.h"
#include "tests/support/FakeAlarmClock.h"
#include "tests/support/FakeLooker.h"

using namespace std::chrono_literals;

namespace master
{
namespace
{

using check::LookAnswer;
using Depth = check::LookRequest::Depth;
using Items = corvan::SequenceDistributor::Items;
using Texts = std::vector<std::string>;

const char *const k_print = "00000000000000a1";
const char *const k_other_print = "00000000000000a2";
// What is found of a frame.
const char *const k_small = "00000000000000b1";
const char *const k_smaller = "00000000000000b2";

LookAnswer Print(const char *print = k_print)
{
    return {.trouble = {}, .print = print};
}

LookAnswer Bad(const check::BadFrames &bad)
{
    LookAnswer answer = Print();
    answer.isJudged = true;
    answer.bad = bad;
    answer.counts = "ok " + std::to_string(10 - check::AllOf(bad).size());
    if (!bad.empty())
        answer.counts += ", too-small " + std::to_string(check::AllOf(bad).size());
    return answer;
}

LookAnswer Trouble(const char *why)
{
    return {.trouble = why, .print = {}};
}

enum class FrameVerdict
{
    ToCome,
    Good,
    Bad,
};

class FrameChecksTest : public StoreFixture
{
protected:
    FrameChecksTest()
    {
        Begin();
    }

    // A Master begins, after what the last one held is gone.
    void Begin()
    {
        m_checks.reset();
        m_looker = {};
        m_checks.emplace(
            m_clock, FrameChecks::Farm{m_store, m_cache, &m_looker}, Pauses(),
            [] { return UID(true); }, [this] { m_isAwake = true; });
        TakeTurn([](Outbox &) {});
    }

    UID AddJob(const TestParameters &more = {})
    {
        TestParameters parameters{{"Range", "1-10"},    {"ImageFormat", "/r/f.%d"},
                                  {"PacketSize", "2"},  {"CheckFrames", "sizes"},
                                  {"AutoRequeue", "2"}, {"QuietSeconds", "5"}};
        for (const auto &one : more)
            parameters.push_back(one);
        const boost::shared_ptr<Job> job = MakeTestJob(parameters);
        const String priority = job->ParameterText("Priority", false);
        return Add(*job, priority.empty() ? 50 : std::stoi(priority)).id;
    }

    // What the Master does in a turn.
    template <typename Change> void TakeTurn(Change change)
    {
        TakeOne(change);
        while (std::exchange(m_isAwake, false))
            TakeOne([](Outbox &) {});
    }

    void SetStatus(const UID &job, JobStatus status)
    {
        TakeTurn(
            [&](Outbox &outbox)
            {
                JobState state = State(job);
                state.status = status;
                m_store.SaveState(state);
                outbox.Tell(job, corvan::p_Status, std::to_string(int(status)));
            });
    }

    void SetParameter(const UID &id, const String &name, const String &value)
    {
        TakeTurn(
            [&](Outbox &outbox)
            {
                const boost::shared_ptr<Job> job = CopyOf(*m_cache.Get(id)->job);
                ASSERT_TRUE(job->SetParameter(name, value));
                m_store.SaveParameters(*job, State(id));
                m_cache.Forget(id);
                outbox.Tell(id, name, value);
            });
    }

    void Pass(std::chrono::milliseconds time)
    {
        m_clock.Pass(time);
        TakeTurn([](Outbox &) {});
    }

    // The look that was begun last ends.
    void Answer(const LookAnswer &answer)
    {
        ASSERT_FALSE(m_looker.started.empty());
        m_looker.Finish(m_looker.started.back().look, answer);
        TakeTurn([](Outbox &) {});
    }

    // The files stand still, and are judged.
    void Judge(const LookAnswer &answer)
    {
        Answer(Print());
        Pass(5s);
        Answer(answer);
    }

    // A job that is done, and whose frames were judged.
    UID DoneAndJudged(const LookAnswer &answer, const TestParameters &more = {})
    {
        const UID job = AddJob(more);
        SetStatus(job, JobStatus::Done);
        Judge(answer);
        return job;
    }

    String Parameter(const UID &job, const String &name)
    {
        String reason;
        const boost::shared_ptr<Job> whole = m_cache.Whole(State(job), &reason);
        return whole ? whole->ParameterText(name, false) : reason;
    }
    String Checked(const UID &job)
    {
        return Parameter(job, corvan::p_FramesChecked);
    }

    // What those take it for who wait for good frames.
    FrameVerdict VerdictOn(const UID &job)
    {
        if (Checked(job) != "done")
            return FrameVerdict::ToCome;
        return Parameter(job, corvan::p_FramesBad) == "0" ? FrameVerdict::Good : FrameVerdict::Bad;
    }

    // The newest job, where it is a requeue of this one.
    std::optional<UID> RoundOf(const UID &job)
    {
        const std::optional<JobState> newest = m_store.FindOlder(JobStore::k_BeyondNewest);
        if (!newest || !(corvan::OriginOf(*m_cache.Get(newest->id)->job) == job))
            return std::nullopt;
        return newest->id;
    }

    int CountJobs()
    {
        int count = 0;
        for (auto state = m_store.FindOlder(JobStore::k_BeyondNewest); state;
             state = m_store.FindOlder(state->number))
            ++count;
        return count;
    }

    FakeAlarmClock m_clock;
    FakeLooker m_looker;
    bool m_isAwake = false;
    std::optional<FrameChecks> m_checks;
    Texts m_news;
    Texts m_bad;                    // With the job whose commands wrote them.
    std::vector<Items> m_badFrames; // Of those jobs.
    std::vector<UID> m_newJobs;     // That followers were told of.
    Texts m_stayBad;                // As was told, for whoever is to hear of it.

private:
    template <typename Change> void TakeOne(Change change)
    {
        const Outbox outbox = InTurn(
            [&](Outbox &news)
            {
                change(news);
                m_checks->NoteChanges(news);
                for (const FrameChecks::Bad &bad : m_checks->Record(news))
                {
                    m_bad.push_back(bad.rendered.ToString() + " " + bad.range);
                    m_badFrames.push_back(bad.frames);
                    if (bad.stay)
                        m_stayBad.push_back(bad.job.ToString() + " " + bad.range);
                }
            });
        m_checks->ForgetResults();
        CarryOut(outbox);
        if (m_checks->HasDue())
        {
            CarryOut(InTurn([&](Outbox &news) { m_checks->Plan(news); }));
            m_checks->Start();
        }
        m_checks->Arm();
    }

    void CarryOut(const Outbox &outbox)
    {
        m_checks->Follow(outbox.FramesToFollow());
        const Texts news = News(outbox);
        m_news.insert(m_news.end(), news.begin(), news.end());
        for (const Outgoing &message : outbox.Messages())
            if (const auto *told = dynamic_cast<const corvan::JobMsg *>(message.message.get()))
                m_newJobs.push_back(told->job->ID());
    }
};

TEST_F(FrameChecksTest, LookAtWhatIsOverAlone)
{
    const struct
    {
        JobStatus status;
        const char *checked;
    } cases[] = {
        {JobStatus::Queued, "no"},    {JobStatus::Running, "no"},     {JobStatus::Paused, "no"},
        {JobStatus::Cancelled, "no"}, {JobStatus::Failed, "waiting"}, {JobStatus::Done, "waiting"},
    };
    for (const auto &[status, checked] : cases)
    {
        const UID job = AddJob();
        const std::size_t before = m_looker.started.size();
        SetStatus(job, status);
        EXPECT_EQ(Checked(job), checked) << corvan::StatusName(status);
        const bool isLookedAt = status == JobStatus::Done || status == JobStatus::Failed;
        EXPECT_EQ(m_looker.started.size() - before, isLookedAt ? 1u : 0u)
            << corvan::StatusName(status);
    }
}

TEST_F(FrameChecksTest, LookAtNothingWhereNobodyAskedForIt)
{
    const UID job = AddJob({{"CheckFrames", "none"}});
    SetStatus(job, JobStatus::Done);
    EXPECT_TRUE(m_looker.started.empty());
    EXPECT_EQ(Checked(job), "");
    EXPECT_EQ(m_news, Texts{"Status=2"});
}

TEST_F(FrameChecksTest, AskForTheFilesOfTheJob)
{
    const UID job = AddJob({{"ImageFormat", "/r/a.%d;/r/b.%d"}, {"CheckFrames", "decode"}});
    SetStatus(job, JobStatus::Done);
    Answer(Print());
    Pass(5s);
    ASSERT_EQ(m_looker.started.size(), 2u);
    const check::LookRequest &first = m_looker.started[0].request;
    EXPECT_EQ(first.depth, Depth::Prints);
    EXPECT_EQ(first.formats, (std::vector<String>{"/r/a.%d", "/r/b.%d"}));
    EXPECT_EQ(first.input.userRange, "1-10");
    EXPECT_EQ(first.input.packetSize, "2");
    EXPECT_TRUE(first.wereSeen);
    EXPECT_EQ(m_looker.started[1].request.depth, Depth::Images);
    EXPECT_EQ(m_looker.started[1].request.print, k_print);
}

TEST_F(FrameChecksTest, LookAsDeepAsTheJobSays)
{
    const std::pair<const char *, Depth> cases[] = {
        {"sizes", Depth::Sizes}, {"decode", Depth::Images}, {"pictures", Depth::Pictures}};
    for (const auto &[kind, depth] : cases)
    {
        const UID job = AddJob({{"CheckFrames", kind}, {"QuietSeconds", "0"}});
        SetStatus(job, JobStatus::Done);
        EXPECT_EQ(m_looker.started.back().request.depth, depth) << kind;
        Answer(Bad({}));
    }
}

TEST_F(FrameChecksTest, RenderAgainWhatOnlyItsPictureAccuses)
{
    const UID job = AddJob({{"CheckFrames", "pictures"}, {"QuietSeconds", "0"}});
    SetStatus(job, JobStatus::Done);
    LookAnswer answer = Bad({{k_small, {4, 7}}});
    answer.counts = "ok 8, pop 1, sparks 1";
    Answer(answer);
    EXPECT_EQ(Parameter(job, corvan::p_FrameCounts), "ok 8, pop 1, sparks 1");
    EXPECT_EQ(Parameter(job, corvan::p_FramesBadRange), "4,7");
    EXPECT_EQ(CountJobs(), 2) << "a round was begun";
}

TEST_F(FrameChecksTest, OfACustomRangeTakeNothingForSeen)
{
    const UID job = AddJob({{"CustomRange", "11-12"}});
    SetStatus(job, JobStatus::Done);
    EXPECT_EQ(m_looker.started.back().request.input.userRange, "11-12");
    EXPECT_FALSE(m_looker.started.back().request.wereSeen);
}

TEST_F(FrameChecksTest, JudgeFilesThatStoodStillForTheSetTime)
{
    const UID job = AddJob();
    SetStatus(job, JobStatus::Done);
    EXPECT_TRUE(m_checks->IsBusy());
    Answer(Print());
    Pass(4999ms);
    EXPECT_TRUE(m_checks->IsBusy()) << "a Master that looks after frames is not idle";
    EXPECT_EQ(m_looker.started.size(), 1u);
    Pass(1ms);
    ASSERT_EQ(m_looker.started.size(), 2u);
    EXPECT_EQ(Checked(job), "looking");

    // One of them has changed, whatever its date says.
    Answer(Print(k_other_print));
    EXPECT_EQ(Checked(job), "waiting");
    EXPECT_EQ(m_looker.started.size(), 2u);
    Pass(5s);
    ASSERT_EQ(m_looker.started.size(), 3u);
    EXPECT_EQ(m_looker.started.back().request.print, k_other_print);
    Answer(Bad({}));
    EXPECT_EQ(Checked(job), "done");
    EXPECT_FALSE(m_checks->IsBusy());
}

TEST_F(FrameChecksTest, JudgeAtOnceWhereNoTimeIsSet)
{
    const UID job = AddJob({{"QuietSeconds", "0"}});
    SetStatus(job, JobStatus::Done);
    ASSERT_EQ(m_looker.started.size(), 1u);
    EXPECT_EQ(m_looker.started[0].request.depth, Depth::Sizes);
    EXPECT_EQ(m_looker.started[0].request.print, "");
    Answer(Bad({}));
    EXPECT_EQ(Checked(job), "done");
}

TEST_F(FrameChecksTest, LookNoMoreOftenThanALookTakes)
{
    SetStatus(AddJob(), JobStatus::Done);
    m_clock.Pass(60s);
    Answer(Print());
    Pass(59s);
    EXPECT_EQ(m_looker.started.size(), 1u);
    Pass(1s);
    EXPECT_EQ(m_looker.started.size(), 2u);
}

TEST_F(FrameChecksTest, TakeNoMachineThatSleptForSlow)
{
    SetStatus(AddJob(), JobStatus::Done);
    m_clock.Pass(90s);
    m_looker.Finish(m_looker.started.back().look, Print());
    m_clock.Pass(2h);
    TakeTurn([](Outbox &) {});
    Pass(Pauses().longestOfJob);
    EXPECT_EQ(m_looker.started.size(), 2u);
}

TEST_F(FrameChecksTest, TellFollowersOfEachStep)
{
    DoneAndJudged(Bad({{k_small, {3, 4}}}), {{"AutoRequeue", "0"}});
    EXPECT_EQ(m_news, (Texts{"Status=2", "FramesChecked=waiting", "FramesChecked=looking",
                             "FramesChecked=done", "FramesBad=2", "FramesBadRange=3,4",
                             "FrameCounts=ok 8, too-small 2"}));
}

TEST_F(FrameChecksTest, OfGoodFramesAreTheEnd)
{
    const UID job = DoneAndJudged(Bad({}));
    EXPECT_EQ(Checked(job), "done");
    EXPECT_EQ(Parameter(job, corvan::p_FramesBad), "0");
    EXPECT_EQ(Parameter(job, corvan::p_FramesBadRange), "");
    EXPECT_EQ(Parameter(job, corvan::p_FrameCounts), "ok 10");
    EXPECT_EQ(VerdictOn(job), FrameVerdict::Good);
    EXPECT_EQ(CountJobs(), 1);
    Pass(10min);
    EXPECT_EQ(m_looker.started.size(), 2u);
}

TEST_F(FrameChecksTest, RenderBadFramesAgainByAJobOfTheirOwn)
{
    const UID job =
        DoneAndJudged(Bad({{k_small, {3, 8}}}), {{"Priority", "70"}, {"Owner", "anna"}});
    const std::optional<UID> round = RoundOf(job);
    ASSERT_TRUE(round);
    const boost::shared_ptr<const Job> requeue = m_cache.Get(*round)->job;
    EXPECT_EQ(requeue->ParameterText(corvan::p_Range, false), "3,8");
    EXPECT_EQ(m_newJobs, std::vector<UID>{*round});
    EXPECT_EQ(requeue->ParameterText(corvan::p_PacketSize, false), "2");
    EXPECT_EQ(requeue->ParameterText(corvan::p_CheckFrames, false), "none");
    EXPECT_EQ(requeue->ParameterText(corvan::p_Owner, false), "anna");
    EXPECT_EQ(m_store.FindOwner(*round), "anna");
    EXPECT_EQ(State(*round).status, JobStatus::Queued);
    EXPECT_EQ(State(*round).priority, 70);
    EXPECT_EQ(State(*round).tasksTotal, 2u);
    EXPECT_EQ(Checked(job), "waiting");
    EXPECT_EQ(Parameter(job, corvan::p_FramesBad), "2");
    EXPECT_EQ(VerdictOn(job), FrameVerdict::ToCome);

    Pass(10min);
    EXPECT_EQ(m_looker.started.size(), 2u) << "nobody looks while it is rendered";
    SetStatus(*round, JobStatus::Done);
    EXPECT_EQ(m_looker.started.size(), 3u);
    Judge(Bad({}));
    EXPECT_EQ(Checked(job), "done");
    EXPECT_EQ(Parameter(job, corvan::p_FramesBad), "0");
    EXPECT_EQ(CountJobs(), 2);
    EXPECT_EQ(Checked(*round), "");
}

TEST_F(FrameChecksTest, GoOnForAsManyRoundsAsTheJobSays)
{
    const UID job = DoneAndJudged(Bad({{k_small, {3}}}));
    Texts rendered{job.ToString() + " 3"};
    for (const char *found : {k_smaller, k_small})
    {
        rendered.push_back(RoundOf(job)->ToString() + " 3");
        SetStatus(*RoundOf(job), JobStatus::Done);
        Judge(Bad({{found, {3}}}));
    }
    EXPECT_EQ(CountJobs(), 3);
    EXPECT_EQ(Checked(job), "done");
    EXPECT_EQ(Parameter(job, corvan::p_FramesBadRange), "3");
    EXPECT_EQ(VerdictOn(job), FrameVerdict::Bad);
    EXPECT_EQ(m_stayBad, Texts{job.ToString() + " 3"}) << "once, and at the end";
    EXPECT_EQ(m_bad, rendered) << "each time with the job that has rendered it";
}

TEST_F(FrameChecksTest, LeaveFramesThatComeBackAsTheyWere)
{
    const UID job = DoneAndJudged(Bad({{k_small, {3, 4, 5}}}), {{"AutoRequeue", "10"}});
    SetStatus(*RoundOf(job), JobStatus::Done);
    Judge(Bad({{k_small, {3, 4}}, {k_smaller, {5, 6}}}));
    ASSERT_EQ(CountJobs(), 3);
    EXPECT_EQ(m_cache.Get(*RoundOf(job))->job->ParameterText(corvan::p_Range, false), "5,6");

    // Those that stay are not forgotten.
    SetStatus(*RoundOf(job), JobStatus::Done);
    Judge(Bad({{k_small, {3, 4}}, {k_smaller, {5}}}));
    EXPECT_EQ(CountJobs(), 3);
    EXPECT_EQ(Checked(job), "done");
    EXPECT_EQ(Parameter(job, corvan::p_FramesBadRange), "3-5");
}

TEST_F(FrameChecksTest, RenderNothingAgainWhereSoMuchIsBadThatSomethingElseIsWrong)
{
    LookAnswer many = Bad({{k_small, Items::Steps(1, 10, 1)}});
    many.areTooMany = true;
    const UID job = DoneAndJudged(many);
    EXPECT_EQ(CountJobs(), 1);
    EXPECT_EQ(Checked(job), "done");
    EXPECT_EQ(Parameter(job, corvan::p_FramesBad), "10");
}

TEST_F(FrameChecksTest, AreOverWithARoundThatWasNotDone)
{
    for (const JobStatus status : {JobStatus::Failed, JobStatus::Cancelled})
    {
        const UID job = DoneAndJudged(Bad({{k_small, {3}}}));
        const int jobs = CountJobs();
        SetStatus(*RoundOf(job), status);
        Judge(Bad({{k_smaller, {3}}}));
        EXPECT_EQ(CountJobs(), jobs) << corvan::StatusName(status);
        EXPECT_EQ(Checked(job), "done") << corvan::StatusName(status);
        EXPECT_EQ(Parameter(job, corvan::p_FramesBad), "1");
    }
}

TEST_F(FrameChecksTest, AreOverWithARoundThatWasRemoved)
{
    const UID job = DoneAndJudged(Bad({{k_small, {3}}}));
    const UID round = *RoundOf(job);
    TakeTurn(
        [&](Outbox &outbox)
        {
            m_store.Remove(State(round));
            m_cache.Forget(round);
            outbox.FollowFrames(round);
        });
    Judge(Bad({{k_smaller, {3}}}));
    EXPECT_EQ(Checked(job), "done");
    EXPECT_EQ(CountJobs(), 1);
}

// The others of its frames are there, and those that failed may come at another time.
TEST_F(FrameChecksTest, OfAJobThatFailedAreLookedAtAndRenderedAgain)
{
    const UID job = AddJob();
    SetStatus(job, JobStatus::Failed);
    EXPECT_TRUE(m_looker.started.back().request.wereSeen);
    Judge(Bad({{k_small, {3}}}));
    ASSERT_TRUE(RoundOf(job));
    SetStatus(*RoundOf(job), JobStatus::Done);
    Judge(Bad({}));
    EXPECT_EQ(Checked(job), "done");
    EXPECT_EQ(Parameter(job, corvan::p_FramesBad), "0");
    EXPECT_EQ(State(job).status, JobStatus::Failed);
}

TEST_F(FrameChecksTest, OfAJobThatHasFailedWhollyAreNotTakenForSeen)
{
    const UID job = AddJob();
    InTurn(
        [&](Outbox &)
        {
            JobState state = State(job);
            state.tasksFailed = state.tasksTotal;
            m_store.SaveState(state);
        });
    SetStatus(job, JobStatus::Failed);
    EXPECT_FALSE(m_looker.started.back().request.wereSeen);
}

// Files have numbers of their own where a job renumbers.
TEST_F(FrameChecksTest, TellWhichFramesOfWhichJobHaveWrittenBadFiles)
{
    const UID job = DoneAndJudged(Bad({{k_small, {103, 108}}}), {{"RenumberStart", "101"}});
    EXPECT_EQ(Parameter(job, corvan::p_FramesBadRange), "103,108");
    SetStatus(*RoundOf(job), JobStatus::Done);
    Judge(Bad({{k_smaller, {108}}}));
    EXPECT_EQ(m_badFrames, (std::vector<Items>{{3, 8}, {8}}));

    // Of a custom range, it is what the job renders that counts.
    m_badFrames.clear();
    DoneAndJudged(Bad({{k_small, {103}}}),
                  {{"RenumberStart", "101"}, {"CustomRange", "101-120"}, {"AutoRequeue", "0"}});
    EXPECT_EQ(m_badFrames, (std::vector<Items>{{3}}));
}

TEST_F(FrameChecksTest, TellHowManyAreBadWhereTooManyAreToBeNamed)
{
    Items scattered;
    for (int i = 0; i < 60'000; ++i)
        scattered.insert(1'000'000 + 7 * i + (i % 5) * (i % 5) % 5);
    const UID job = DoneAndJudged(Bad({{k_small, scattered}}), {{"AutoRequeue", "0"}});
    EXPECT_EQ(Parameter(job, corvan::p_FramesBad), "60000");
    EXPECT_EQ(Parameter(job, corvan::p_FramesBadRange), "");
    EXPECT_EQ(m_stayBad, Texts{job.ToString() + " 60000 frames"});
}

TEST_F(FrameChecksTest, WaitForARoundThatIsPaused)
{
    const UID job = DoneAndJudged(Bad({{k_small, {3}}}));
    SetStatus(*RoundOf(job), JobStatus::Paused);
    Pass(1h);
    EXPECT_EQ(m_looker.started.size(), 2u);
    EXPECT_FALSE(m_checks->IsBusy());
    SetStatus(*RoundOf(job), JobStatus::Done);
    EXPECT_EQ(m_looker.started.size(), 3u);
}

TEST_F(FrameChecksTest, TakeARequeueOfAnybodyForANewState)
{
    const UID job = DoneAndJudged(Bad({{k_small, {3}}}), {{"AutoRequeue", "0"}});
    EXPECT_EQ(Checked(job), "done");
    const boost::shared_ptr<Job> requeue = corvan::MakeRequeueJob(*m_cache.Get(job)->job, "3");
    Add(*requeue);
    SetStatus(requeue->ID(), JobStatus::Running);
    EXPECT_EQ(Checked(job), "done");
    SetStatus(requeue->ID(), JobStatus::Done);
    EXPECT_EQ(Checked(job), "waiting");
    EXPECT_EQ(Checked(requeue->ID()), "") << "its origin looks at the same files";
    Judge(Bad({}));
    EXPECT_EQ(Parameter(job, corvan::p_FramesBad), "0");
    EXPECT_EQ(Checked(requeue->ID()), "");
}

TEST_F(FrameChecksTest, DoNotRenderWhatAnotherRequeueRenders)
{
    const UID job = AddJob();
    SetStatus(job, JobStatus::Done);
    Answer(Print());
    const boost::shared_ptr<Job> requeue = corvan::MakeRequeueJob(*m_cache.Get(job)->job, "3");
    Add(*requeue);
    Pass(5s);
    EXPECT_EQ(m_looker.started.size(), 1u);
    SetStatus(requeue->ID(), JobStatus::Done);
    Judge(Bad({}));
    EXPECT_EQ(Checked(job), "done");
    EXPECT_EQ(CountJobs(), 2);
}

TEST_F(FrameChecksTest, OfARequeueAreItsOwnWhereItsOriginIsGone)
{
    const UID origin = AddJob();
    const boost::shared_ptr<Job> requeue = corvan::MakeRequeueJob(*m_cache.Get(origin)->job, "3-4");
    Add(*requeue);
    InTurn([&](Outbox &) { m_store.Remove(State(origin)); });
    m_cache.Forget(origin);
    SetStatus(requeue->ID(), JobStatus::Done);
    EXPECT_EQ(Checked(requeue->ID()), "waiting");
    Judge(Bad({{k_small, {3}}}));
    ASSERT_EQ(CountJobs(), 2);
    SetStatus(*RoundOf(origin), JobStatus::Done);
    Judge(Bad({}));
    EXPECT_EQ(Checked(requeue->ID()), "done");
}

TEST_F(FrameChecksTest, BeginAnewWhereTheJobRunsAgain)
{
    const UID job = DoneAndJudged(Bad({{k_small, {3}}}), {{"AutoRequeue", "1"}});
    SetStatus(*RoundOf(job), JobStatus::Done);
    Judge(Bad({{k_smaller, {3}}}));
    EXPECT_EQ(Checked(job), "done");
    m_news.clear();
    SetStatus(job, JobStatus::Queued);
    EXPECT_EQ(m_news, (Texts{"Status=0", "FramesChecked=no",
                             "FramesBad=", "FramesBadRange=", "FrameCounts="}));
    SetStatus(job, JobStatus::Done);
    Judge(Bad({{k_smaller, {3}}}));
    EXPECT_EQ(CountJobs(), 3) << "its rounds are counted anew";
}

TEST_F(FrameChecksTest, BeginAnewWhereSomebodySaysAnotherThing)
{
    const struct
    {
        const char *name;
        const char *value;
    } cases[] = {
        {"CheckFrames", "decode"}, {"AutoRequeue", "3"},       {"QuietSeconds", "6"},
        {"CustomRange", "1-5"},    {"ImageFormat", "/r/g.%d"}, {"RenumberStart", "7"},
    };
    for (const auto &[name, value] : cases)
    {
        const UID job = DoneAndJudged(Bad({}));
        SetParameter(job, name, value);
        EXPECT_EQ(Checked(job), "waiting") << name;
        EXPECT_EQ(Parameter(job, corvan::p_FramesBad), "") << name;
        Answer(Print());
        SetParameter(job, corvan::p_CheckFrames, "none");
    }
    const UID job = DoneAndJudged(Bad({}));
    SetParameter(job, corvan::p_Note, "well done");
    EXPECT_EQ(Checked(job), "done");
}

TEST_F(FrameChecksTest, MayBeAskedForAndGivenUpLater)
{
    const UID job = AddJob({{"CheckFrames", "none"}});
    SetStatus(job, JobStatus::Done);
    m_news.clear();
    SetParameter(job, "CheckFrames", "sizes");
    EXPECT_EQ(m_news.at(1), "FramesChecked=waiting");
    Judge(Bad({}));
    EXPECT_EQ(Checked(job), "done");
    SetParameter(job, "CheckFrames", "none");
    EXPECT_EQ(m_news.back(), "FrameCounts=");
    EXPECT_EQ(Checked(job), "");
    EXPECT_FALSE(m_store.Frames().Find(State(job)));
}

TEST_F(FrameChecksTest, DropALookThatIsOutOfDate)
{
    const UID job = AddJob({{"QuietSeconds", "0"}});
    SetStatus(job, JobStatus::Done);
    const int first = m_looker.started.back().look;
    SetParameter(job, "AutoRequeue", "3");
    EXPECT_EQ(m_looker.ended, std::vector<int>{first});
    EXPECT_EQ(m_looker.started.size(), 1u) << "two never look at the same files";
    m_looker.Finish(first, Bad({{k_small, {3}}}));
    TakeTurn([](Outbox &) {});
    EXPECT_EQ(CountJobs(), 1);
    EXPECT_EQ(m_looker.started.size(), 2u);
    Answer(Bad({}));
    EXPECT_EQ(Checked(job), "done");
}

TEST_F(FrameChecksTest, ThatCouldNotBeMadeAreNoVerdictAndAreTriedAgain)
{
    const UID job = AddJob();
    SetStatus(job, JobStatus::Done);
    for (const auto pause : {1s, 2s, 4s})
    {
        Answer(Trouble("the folder /r is not there"));
        EXPECT_EQ(Checked(job), "could not look: the folder /r is not there");
        EXPECT_EQ(VerdictOn(job), FrameVerdict::ToCome);
        EXPECT_FALSE(m_checks->IsBusy());
        const std::size_t before = m_looker.started.size();
        Pass(pause - 1ms);
        EXPECT_EQ(m_looker.started.size(), before);
        Pass(1ms);
        EXPECT_EQ(m_looker.started.size(), before + 1);
        EXPECT_EQ(Checked(job), "could not look: the folder /r is not there");
    }
    Judge(Bad({}));
    EXPECT_EQ(Checked(job), "done");
    EXPECT_EQ(CountJobs(), 1);
}

TEST_F(FrameChecksTest, KeepWhatTheyHaveSeenWhereTheNextOneCannotBeMade)
{
    const UID job = DoneAndJudged(Bad({{k_small, {3}}}));
    SetStatus(*RoundOf(job), JobStatus::Done);
    Answer(Trouble("no memory"));
    EXPECT_EQ(Checked(job), "could not look: no memory");
    EXPECT_EQ(Parameter(job, corvan::p_FramesBad), "1");
    EXPECT_EQ(CountJobs(), 2);
    Pass(1s);
    Judge(Bad({}));
    EXPECT_EQ(Checked(job), "done");
}

TEST_F(FrameChecksTest, AreTwoAtATime)
{
    for (int i = 0; i < 3; ++i)
        SetStatus(AddJob(), JobStatus::Done);
    EXPECT_EQ(m_looker.started.size(), 2u);
    m_looker.Finish(m_looker.started.front().look, Print());
    TakeTurn([](Outbox &) {});
    EXPECT_EQ(m_looker.started.size(), 3u);
}

TEST_F(FrameChecksTest, ThatHangHoldUpNoOthers)
{
    const UID first = AddJob();
    const UID second = AddJob();
    SetStatus(first, JobStatus::Done);
    SetStatus(second, JobStatus::Done);
    const UID third = AddJob();
    SetStatus(third, JobStatus::Done);
    ASSERT_EQ(m_looker.started.size(), 2u);

    Pass(100s);
    EXPECT_EQ(Checked(first), "waiting");
    Pass(FrameChecks::k_Grace);
    EXPECT_EQ(Checked(first), "could not look: the folder of the frames does not answer");
    ASSERT_EQ(m_looker.started.size(), 3u);
    Judge(Bad({}));
    EXPECT_EQ(Checked(third), "done");

    // As long as it hangs there is no other at the same files.
    Pass(1h);
    EXPECT_EQ(m_looker.started.size(), 4u);
    m_looker.Finish(m_looker.started[0].look, Bad({{k_small, {3}}}));
    TakeTurn([](Outbox &) {});
    EXPECT_EQ(CountJobs(), 3);
    EXPECT_EQ(m_looker.started.size(), 5u);
    Judge(Bad({}));
    EXPECT_EQ(Checked(first), "done");
}

TEST_F(FrameChecksTest, ThatHangAreFourAtMost)
{
    for (int i = 0; i < 9; ++i)
        SetStatus(AddJob(), JobStatus::Done);
    for (int i = 0; i < 9; ++i)
        Pass(100s + FrameChecks::k_Grace);
    const auto most = FrameChecks::k_MostLooks + FrameChecks::k_MostHanging;
    EXPECT_EQ(m_looker.CountUnderWay(), most);
    m_looker.Finish(m_looker.started.front().look, Bad({}));
    TakeTurn([](Outbox &) {});
    EXPECT_EQ(m_looker.CountUnderWay(), most);
}

// What it tells then is out of date, though nobody has noted yet that it hung.
TEST_F(FrameChecksTest, ThatHungTellNothingAfterAll)
{
    const UID job = AddJob({{"QuietSeconds", "0"}});
    SetStatus(job, JobStatus::Done);
    m_clock.Pass(100s + FrameChecks::k_Grace);
    m_looker.Finish(m_looker.started.front().look, Bad({{k_small, {3}}}));
    TakeTurn([](Outbox &) {});
    EXPECT_EQ(Checked(job), "could not look: the folder of the frames does not answer");
    EXPECT_EQ(CountJobs(), 1);
}

TEST_F(FrameChecksTest, EndWithTheMaster)
{
    SetStatus(AddJob(), JobStatus::Done);
    SetStatus(AddJob(), JobStatus::Done);
    m_checks->Stop();
    EXPECT_EQ(m_looker.ended,
              (std::vector<int>{m_looker.started[0].look, m_looker.started[1].look}));
}

TEST_F(FrameChecksTest, OfAJobThatIsGoneAreNone)
{
    const UID job = AddJob();
    SetStatus(job, JobStatus::Done);
    TakeTurn(
        [&](Outbox &outbox)
        {
            m_store.Remove(State(job));
            m_cache.Forget(job);
            outbox.FollowFrames(job);
        });
    EXPECT_EQ(m_looker.ended.size(), 1u);
    Answer(Bad({{k_small, {3}}}));
    Pass(1h);
    EXPECT_EQ(m_looker.started.size(), 1u);
    EXPECT_EQ(CountJobs(), 0);
}

// Whatever the last Master was at, the next one goes on, and renders nothing twice.
TEST_F(FrameChecksTest, GoOnInEachPhaseWithTheNextMaster)
{
    const UID job = AddJob({{"AutoRequeue", "1"}});
    SetStatus(job, JobStatus::Done);
    Begin(); // In the first look.
    ASSERT_EQ(m_looker.started.size(), 1u);
    Answer(Print());
    Begin(); // While the files are to stand still.
    Answer(Print());
    Pass(5s);
    EXPECT_EQ(Checked(job), "looking");
    Begin(); // While they are judged.
    ASSERT_EQ(m_looker.started.size(), 1u);
    EXPECT_EQ(m_looker.started.back().request.depth, Depth::Prints);
    Judge(Bad({{k_small, {3}}}));
    ASSERT_TRUE(RoundOf(job));
    Begin(); // While they are rendered again.
    EXPECT_TRUE(m_looker.started.empty());
    EXPECT_EQ(CountJobs(), 2);
    SetStatus(*RoundOf(job), JobStatus::Done);
    Begin(); // When they were.
    Answer(Trouble("no memory"));
    Begin(); // When they could not be looked at.
    EXPECT_EQ(Checked(job), "could not look: no memory");
    Judge(Bad({{k_smaller, {3}}}));
    EXPECT_EQ(Checked(job), "done");
    Begin(); // When all is over.
    EXPECT_TRUE(m_looker.started.empty());
    EXPECT_EQ(CountJobs(), 2);
    EXPECT_EQ(Parameter(job, corvan::p_FramesBadRange), "3");
}

TEST_F(FrameChecksTest, RequeueOnceThoughTheDiskRefusesAtFirst)
{
    const UID job = AddJob({{"QuietSeconds", "0"}});
    SetStatus(job, JobStatus::Done);
    m_looker.Finish(m_looker.started.back().look, Bad({{k_small, {3}}}));
    {
        // Not committed.
        JobStore::Turn turn(m_store);
        Outbox outbox;
        m_checks->Record(outbox);
    }
    m_cache.Clear();
    EXPECT_EQ(CountJobs(), 1);
    TakeTurn([](Outbox &) {});
    EXPECT_EQ(CountJobs(), 2);
    EXPECT_EQ(Checked(job), "waiting");
    Pass(10min);
    EXPECT_EQ(CountJobs(), 2);
}

TEST_F(FrameChecksTest, AreBegunThoughTheDiskRefusesAtFirst)
{
    const UID job = AddJob();
    SetStatus(job, JobStatus::Done);
    Answer(Print());
    m_clock.Pass(5s);
    {
        // Not committed.
        JobStore::Turn turn(m_store);
        Outbox outbox;
        m_checks->Plan(outbox);
    }
    EXPECT_EQ(m_looker.started.size(), 1u);
    EXPECT_TRUE(m_checks->HasDue());
    TakeTurn([](Outbox &) {});
    EXPECT_EQ(m_looker.started.size(), 2u);
    EXPECT_EQ(Checked(job), "looking");
    Answer(Bad({}));
    EXPECT_EQ(Checked(job), "done");
}

TEST_F(FrameChecksTest, WithoutALookerSaySo)
{
    m_checks.emplace(
        m_clock, FrameChecks::Farm{m_store, m_cache, nullptr}, Pauses(), [] { return UID(true); },
        [this] { m_isAwake = true; });
    const UID job = AddJob();
    SetStatus(job, JobStatus::Done);
    EXPECT_EQ(Checked(job), "could not look: this Master has nothing to look with");
}

} // namespace
} // namespace master
