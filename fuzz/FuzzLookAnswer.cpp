// Whatever the process says that looks at frames for the Master: what is taken is an answer to what
// was asked, and what the Master makes of it is of the job: its frames, as often as it says.
#include <algorithm>
#include <cstdint>
#include <fuzzer/FuzzedDataProvider.h>

#include "check/ReadAnswer.h"
#include "corvan/Parameters.h"
#include "corvan/RequeueJob.h"
#include "corvan/Utf8.h"
#include "fuzz/SampleFarm.h"
#include "master/repair/FrameChecks.h"
#include "tests/support/FakeAlarmClock.h"
#include "tests/support/FakeLooker.h"

using namespace corvan;

namespace
{

using Items = SequenceDistributor::Items;

constexpr int k_most_looks = 8;
constexpr unsigned k_rounds = 2;
constexpr std::size_t k_most_bytes = 200;
constexpr const char *k_print = "00000000000000cc";

const UID k_job("f81d4fae-7dec-41d0-a765-00a0c91e6bf6", true);

// How deep a job has its frames looked at, and what may be told of them.
constexpr const char *k_depths[] = {"sizes", "decode", "pictures"};
constexpr const char *k_bad_states[] = {"missing", "outlier", "undecodable", "nan",   "duplicate",
                                        "black",   "patch",   "pop",         "sparks"};

// What a job may say of its files.
using Texts = std::vector<std::pair<const char *, const char *>>;
const Texts k_jobs[] = {
    {{"Range", "1-10"}},
    {{"Range", "1-40x3"}, {"PacketSize", "4"}},
    {{"Range", "1-10"}, {"RenumberStart", "101"}, {"RenumberBy", "10"}},
    {{"Range", "-5-5"}, {"SequenceBy", "0.5"}, {"PacketSize", "3"}},
    {{"Range", "1-10"}, {"CustomRange", "3-14"}},
    {{"Range", "16777214-16777220"}},
};

Items WrittenBy(const check::LookRequest &request)
{
    analysis::ExpansionInput input = request.input;
    Items numbers;
    SequenceDistributor::ParseRange(input.userRange, input.frames, nullptr);
    analysis::ExpandNumbers(*analysis::FramePattern::Parse("%d", nullptr), input,
                            [&](int number) { numbers.insert(number); });
    return numbers;
}

bool IsPartOf(const Items &some, Items all)
{
    return all.insertAll(some) == 0;
}

// An answer that may be one, or nothing of the kind.
class Child
{
public:
    explicit Child(FuzzedDataProvider &input) : m_input(input) {}

    bool HasMore() const
    {
        return m_input.remaining_bytes() > 0;
    }

    std::string Say()
    {
        switch (m_input.ConsumeIntegralInRange(0, 7))
        {
        case 0:
            return m_input.ConsumeRandomLengthString(k_most_bytes);
        case 1:
            return Parts();
        case 2:
        case 3:
            return std::string("corvan-check 1\nprint ") + k_print + "\nend\n";
        default:
            return Verdict();
        }
    }

private:
    std::string Parts()
    {
        static const char *const s_parts[] = {"corvan-check 1\n",
                                              "print ",
                                              k_print,
                                              "counts ",
                                              "ok 10",
                                              ", missing ",
                                              ", nan 3",
                                              ", duplicate 1",
                                              ", pop 2",
                                              ", sparks 3",
                                              "18446744073709551616",
                                              "bad 00000000000000aa ",
                                              "bad 00000000000000bb ",
                                              "-2147483648",
                                              "1-1000000",
                                              "1-10000000x3",
                                              ",",
                                              "many",
                                              "trouble ",
                                              "\n",
                                              "end\n"};
        std::string text = m_input.ConsumeBool() ? s_parts[0] : "";
        for (int i = m_input.ConsumeIntegralInRange(0, 30); i > 0; --i)
            text += m_input.ConsumeIntegralInRange(0, 5) == 0
                        ? m_input.ConsumeRandomLengthString(k_most_bytes)
                        : std::string(m_input.PickValueInArray(s_parts));
        return text;
    }

    std::string Verdict()
    {
        const int ok = m_input.ConsumeIntegralInRange(0, 40);
        const int bad = m_input.ConsumeIntegralInRange(0, 6);
        std::string text =
            std::string("corvan-check 1\nprint ") + k_print + "\ncounts ok " + std::to_string(ok);
        if (bad > 0)
            text += ", " + std::string(m_input.PickValueInArray(k_bad_states)) + " " +
                    std::to_string(bad);
        text += m_input.ConsumeIntegralInRange(0, 15) == 0 ? "\nmany\n" : "\n";
        for (int key = m_input.ConsumeIntegralInRange(0, 3); key > 0; --key)
            text += "bad 000000000000000" + std::to_string(key + Seed()) + " " + Frames() + "\n";
        return text + "end\n";
    }

    // So that what is found of a frame may be another thing the next time.
    int Seed()
    {
        return m_input.ConsumeIntegralInRange(0, 4);
    }

    std::string Frames()
    {
        std::string text;
        for (int i = m_input.ConsumeIntegralInRange(1, 4); i > 0; --i)
            text += (text.empty() ? "" : ",") +
                    std::to_string(m_input.ConsumeIntegralInRange(0, 15) == 0
                                       ? m_input.ConsumeIntegral<int>()
                                       : m_input.ConsumeIntegralInRange(-6, 16) +
                                             100 * m_input.ConsumeIntegralInRange(0, 1));
        return text;
    }

    FuzzedDataProvider &m_input;
};

/// A job that is done, and the part of the Master that looks after its frames. The store is undone
/// afterwards.
class LookedAfter
{
public:
    LookedAfter(SampleFarm &farm, const Texts &texts, const char *depth)
        : m_farm(farm), m_turn(farm.store), m_checks(
                                                m_clock, {farm.store, farm.cache, &m_looker},
                                                master::Pauses(), [] { return UID(true); }, [] {})
    {
        m_farm.cache.Clear();
        const auto job = JobFactory::s_JobFactory.CreateJob(k_sample_type);
        job->SetID(k_job);
        job->SetParameter(p_ImageFormat, "/a.%d;/b.%d");
        job->SetParameter(p_CheckFrames, depth);
        job->SetParameter(p_AutoRequeue, std::to_string(k_rounds));
        for (const auto &[name, value] : texts)
            Require(job->SetParameter(name, value), "the job takes what it is told");
        master::JobState state;
        state.id = k_job;
        state.tasksTotal = 1;
        m_farm.store.Add(*job, state);
        EndJob(k_job);
    }

    void LookAndHear(Child &child)
    {
        m_clock.Pass(std::chrono::hours(1));
        if (m_checks.HasDue())
        {
            InTurn([&](master::Outbox &outbox) { m_checks.Plan(outbox); });
            m_checks.Start();
        }
        if (m_looker.started.empty())
            return;
        const FakeLooker::Asked asked = m_looker.started.back();
        m_looker.started.clear();
        m_looker.Finish(asked.look, Hear(asked.request, child.Say()));
        InTurn(
            [&](master::Outbox &outbox)
            {
                for (const master::FrameChecks::Bad &bad : m_checks.Record(outbox))
                    Require(bad.frames.size() <= WrittenBy(asked.request).size(),
                            "no more frames are bad than the job has");
            },
            [&] { m_checks.ForgetResults(); });
        RequireOfTheJob(asked.request);
        EndRequeues();
    }

private:
    static check::LookAnswer Hear(const check::LookRequest &request, const std::string &text)
    {
        check::LookAnswer answer;
        answer.trouble = "no proper answer";
        const auto told = check::ReadAnswer(request, text);
        if (!told)
            return answer;
        Require(IsUtf8(told->trouble) && !HasControlCharacters(told->trouble),
                "a trouble can be told");
        Require(!told->isJudged || IsPartOf(check::AllOf(told->bad), WrittenBy(request)),
                "frames that are bad are those of the job");
        Require(!told->isJudged || request.depth != check::LookRequest::Depth::Prints,
                "there is no verdict that nobody asked for");
        Require(check::ReadAnswer(request, check::PackAnswer(*told)) == told,
                "what is taken is the same when it is told again");
        return *told;
    }

    void RequireOfTheJob(const check::LookRequest &request)
    {
        String reason;
        const auto job = m_farm.cache.Whole(*m_farm.store.FindState(k_job), &reason);
        Require(job != nullptr, "the job is what it was");
        const String range = job->ParameterText(p_FramesBadRange, false);
        Items bad;
        Require(SequenceDistributor::ParseRange(range, bad, &reason) &&
                    IsPartOf(bad, WrittenBy(request)),
                "the job tells of frames of its own");
        Require(range.empty() || std::to_string(bad.size()) ==
                                     std::string(job->ParameterText(p_FramesBad, false)),
                "it tells how many they are");
    }

    // Each renders frames of the job, and there are no more than the job wants.
    void EndRequeues()
    {
        std::set<UID> active;
        unsigned count = 0;
        for (auto state = m_farm.store.FindOlder(master::JobStore::k_BeyondNewest);
             state && !(state->id == k_job); state = m_farm.store.FindOlder(state->number))
        {
            ++count;
            const auto requeue = m_farm.cache.Get(state->id)->job;
            Require(requeue && OriginOf(*requeue) == k_job, "a requeue names its origin");
            Items frames, all;
            SequenceDistributor::ParseRange(requeue->ParameterText(p_Range, false), frames,
                                            nullptr);
            SequenceDistributor::ParseRange(WidestRange(), all, nullptr);
            Require(!frames.empty() && IsPartOf(frames, all), "it renders frames of the job");
            if (!IsOver(state->status))
                active.insert(state->id);
        }
        Require(count <= k_rounds && active.size() <= 1, "there are as many as the job says");
        for (const UID &id : active)
            EndJob(id);
    }

    // Of those between two packets' frames, too.
    String WidestRange()
    {
        const auto job = m_farm.cache.Get(k_job)->job;
        Items frames;
        const String custom = job->ParameterText(p_CustomRange, false);
        SequenceDistributor::ParseRange(
            custom.empty() ? job->ParameterText(p_Range, false) : custom, frames, nullptr);
        return std::to_string(frames.front() - 1) + "-" + std::to_string(frames.back() + 1);
    }

    void EndJob(const UID &id)
    {
        InTurn(
            [&](master::Outbox &outbox)
            {
                master::JobState state = m_farm.store.FindState(id).value();
                state.status = JobStatus::Done;
                state.tasksDone = state.tasksTotal;
                m_farm.store.SaveState(state);
                outbox.Tell(id, p_Status, std::to_string(int(state.status)));
                m_checks.NoteChanges(outbox);
            });
    }

    template <typename Change> void InTurn(Change change)
    {
        InTurn(change, [] {});
    }
    template <typename Change, typename Then> void InTurn(Change change, Then then)
    {
        master::Outbox outbox;
        change(outbox);
        then();
        m_checks.Follow(outbox.FramesToFollow());
        for (const master::Outgoing &outgoing : outbox.Messages())
            RequireReadable(outgoing);
    }

    SampleFarm &m_farm;
    const master::JobStore::Turn m_turn;
    FakeAlarmClock m_clock;
    FakeLooker m_looker;
    master::FrameChecks m_checks;
};

} // namespace

extern "C" int LLVMFuzzerInitialize(int * /*argc*/, char *** /*argv*/)
{
    StartSampleFarm();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static SampleFarm farm;

    FuzzedDataProvider input(data, size);
    const Texts &texts =
        k_jobs[input.ConsumeIntegralInRange<std::size_t>(0, std::size(k_jobs) - 1)];
    LookedAfter job(farm, texts, input.PickValueInArray(k_depths));
    Child child(input);
    for (int look = 0; look < k_most_looks && child.HasMore(); ++look)
        job.LookAndHear(child);
    return 0;
}
