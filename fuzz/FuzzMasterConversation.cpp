// Requests of several clients after each other: each is answered, whoever may only look or hand in
// changes nothing else, and whoever follows a job has in the end what the Master has.
#include <cstdint>
#include <fuzzer/FuzzedDataProvider.h>
#include <map>
#include <set>
#include <vector>

#include "corvan/Parameters.h"
#include "fuzz/SampleFarm.h"

using namespace corvan;

namespace
{

constexpr int k_most_requests = 100;

const char *const k_jobs[] = {
    "f81d4fae-7dec-41d0-a765-00a0c91e6bf6",
    "f81d4fae-7dec-41d0-a765-00a0c91e6bf7",
    "f81d4fae-7dec-41d0-a765-00a0c91e6bf8",
    "00000000-0000-0000-0000-000000000000",
};
const char *const k_names[] = {"Range",     "CustomRange", "PacketSize",  "Status",
                               "Priority",  "Name",        "ImageFormat", "Note",
                               "RequeueOf", "Created",     "ID",          "Type",
                               "Waiting",   "SequenceBy",  "MaxSeconds",  "Arguments"};
const char *const k_values[] = {"1-10",
                                "1-3",
                                "5,7,9-20",
                                "",
                                "0",
                                "1",
                                "2",
                                "3",
                                "4",
                                "5",
                                "10",
                                "-1",
                                "101",
                                "x",
                                "a\nb",
                                "50",
                                "/x.%04d.png;/y.####.exr"};

template <std::size_t Size>
const char *Pick(FuzzedDataProvider &input, const char *const (&of)[Size])
{
    return of[input.ConsumeIntegralInRange<std::size_t>(0, Size - 1)];
}

void PickParameter(FuzzedDataProvider &input, std::string &name, std::string &value)
{
    name = Pick(input, k_names);
    value = input.ConsumeProbability<float>() < 0.1f ? input.ConsumeRandomLengthString(40)
                                                     : Pick(input, k_values);
}

void PickParameters(FuzzedDataProvider &input,
                    google::protobuf::RepeatedPtrField<wire::Parameter> &parameters)
{
    for (int i = input.ConsumeIntegralInRange(0, 3); i > 0; --i)
    {
        wire::Parameter &parameter = *parameters.Add();
        PickParameter(input, *parameter.mutable_name(), *parameter.mutable_value());
    }
}

wire::Envelope PickRequest(FuzzedDataProvider &input)
{
    wire::Envelope envelope;
    switch (input.ConsumeIntegralInRange(0, 11))
    {
    case 0:
    {
        wire::Job &job = *envelope.mutable_job();
        job.set_id(Pick(input, k_jobs));
        job.set_type(k_sample_type.ToString());
        PickParameters(input, *job.mutable_parameters());
        break;
    }
    case 1:
    {
        wire::JobParameter &parameter = *envelope.mutable_job_parameter();
        parameter.set_job(Pick(input, k_jobs));
        PickParameter(input, *parameter.mutable_name(), *parameter.mutable_value());
        break;
    }
    case 2:
        envelope.mutable_job_parameters()->set_job(Pick(input, k_jobs));
        PickParameters(input, *envelope.mutable_job_parameters()->mutable_parameters());
        break;
    case 3:
        envelope.mutable_follow_job()->add_jobs(Pick(input, k_jobs));
        break;
    case 4:
        envelope.mutable_get_job_info()->add_jobs(Pick(input, k_jobs));
        break;
    case 5:
        envelope.mutable_list_jobs()->set_limit(input.ConsumeIntegralInRange(0u, 3u));
        envelope.mutable_list_jobs()->set_before(input.ConsumeBool() ? "" : Pick(input, k_jobs));
        break;
    case 6:
        envelope.mutable_get_tasks()->set_job(Pick(input, k_jobs));
        break;
    case 7:
        envelope.mutable_get_task_log()->set_job(Pick(input, k_jobs));
        envelope.mutable_get_task_log()->set_task(input.ConsumeIntegralInRange(0u, 3u));
        break;
    case 8:
        envelope.mutable_remove_job()->set_job(Pick(input, k_jobs));
        envelope.mutable_remove_job()->set_cancel(input.ConsumeBool());
        break;
    case 9:
        envelope.mutable_list_nodes();
        break;
    case 10:
        envelope.mutable_set_node()->set_node(input.ConsumeRandomLengthString(8));
        envelope.mutable_set_node()->set_drain(input.ConsumeBool());
        envelope.mutable_set_node()->set_reason(input.ConsumeRandomLengthString(8));
        break;
    default:
        // Whatever does not read as one is none.
        if (!envelope.ParseFromString(input.ConsumeRandomLengthString(300)))
            envelope.Clear();
    }
    return envelope;
}

// What the Master counts is told a little later, in one message for many changes.
bool IsCount(const std::string &name)
{
    return name == p_TasksTotal || name == p_TasksDone || name == p_TasksFailed;
}

using Values = std::map<std::string, std::string>;

Values ValuesOf(const wire::Job &job)
{
    Values values;
    for (const wire::Parameter &parameter : job.parameters())
        if (!IsCount(parameter.name()))
            values[parameter.name()] = parameter.value();
    return values;
}

/// What a client knows of the jobs that it follows, from what it was sent alone.
struct Follower
{
    std::set<std::string> followed;
    std::map<std::string, Values> jobs;

    void Take(const wire::Envelope &envelope)
    {
        if (envelope.has_job() && followed.contains(envelope.job().id()))
            jobs[envelope.job().id()] = ValuesOf(envelope.job());
        if (envelope.has_job_removed())
            jobs.erase(envelope.job_removed().job());
        const wire::JobParameter &news = envelope.job_parameter();
        if (envelope.has_job_parameter() && jobs.contains(news.job()) && !IsCount(news.name()))
            jobs[news.job()][news.name()] = news.value();
    }
};

class Conversation
{
public:
    explicit Conversation(SampleFarm &farm) : m_farm(farm) {}

    ~Conversation()
    {
        for (std::size_t client = 1; client <= std::size(m_followers); ++client)
            m_farm.followers.Forget(client);
    }

    void Ask(std::size_t client, const wire::Envelope &envelope)
    {
        String reason;
        const auto message = MessageFactory::FromEnvelope(envelope, &reason);
        if (!message)
            return Require(!reason.empty(), "a refusal has its reason");
        Send(client, *message);
        if (!envelope.has_follow_job())
            return;
        Follower &follower = m_followers[client - 1];
        follower.followed.insert(envelope.follow_job().jobs().begin(),
                                 envelope.follow_job().jobs().end());
        // As every client does.
        wire::Envelope get;
        *get.mutable_get_job_info()->mutable_jobs() = envelope.follow_job().jobs();
        if (const auto question = MessageFactory::FromEnvelope(get, &reason))
            Send(client, *question);
    }

    void RequireAllKnow()
    {
        for (std::size_t client = 1; client <= std::size(m_followers); ++client)
            for (const std::string &id : m_followers[client - 1].followed)
                RequireKnows(client, id);
    }

private:
    struct Client
    {
        const char *user;
        master::Role role;
    };
    static constexpr Client k_clients[] = {
        {"anna", master::Role::Admin},
        {"bo", master::Role::EditOwn},
        {"cy", master::Role::Submit},
        {"di", master::Role::Watch},
    };

    void RequireKnows(std::size_t client, const std::string &id)
    {
        const auto state = m_farm.store.FindState(UID(id, true));
        const auto &known = m_followers[client - 1].jobs;
        Require(known.contains(id) == bool(state), "a follower knows which jobs are there");
        if (!state)
            return;
        String reason;
        const auto job = m_farm.cache.Whole(*state, &reason);
        Require(job != nullptr, "a job that was taken can be read");
        corvan::JobMsg message;
        message.job = job;
        wire::Envelope envelope;
        MessageFactory::ToEnvelope(message, envelope);
        Require(known.at(id) == ValuesOf(envelope.job()), "a follower knows what a job is");
    }

    void Send(std::size_t client, Message &message)
    {
        const Client &one = k_clients[client - 1];
        const master::Identity who{
            .user = one.user, .role = one.role, .peer = {}, .token = {}, .peerKey = {}};
        message.serial = ++m_serial;
        const master::Outbox outbox = m_farm.Ask({client, who}, message);
        bool isAnswered = false;
        for (const master::Outgoing &outgoing : outbox.Messages())
        {
            RequireReadable(outgoing);
            isAnswered =
                isAnswered || (outgoing.client == client && outgoing.answers == message.serial);
            Deliver(outgoing);
        }
        Require(isAnswered, "every request has its answer");
        if (one.role == master::Role::Watch)
            RequireNothingChanged(outbox);
    }

    static void RequireNothingChanged(const master::Outbox &outbox)
    {
        for (const master::Outgoing &outgoing : outbox.Messages())
            Require(outgoing.client != 0, "who watches causes no news");
        Require(outbox.EndedRuns().empty() && outbox.Progress().empty() &&
                    outbox.JobsToTry().empty(),
                "who watches ends and begins nothing");
    }

    void Deliver(const master::Outgoing &outgoing)
    {
        wire::Envelope envelope;
        MessageFactory::ToEnvelope(*outgoing.message, envelope);
        if (outgoing.client != 0)
            return m_followers[outgoing.client - 1].Take(envelope);
        for (const master::ClientNumber client : m_farm.followers.Of(outgoing.followersOf))
            m_followers[client - 1].Take(envelope);
    }

    SampleFarm &m_farm;
    Follower m_followers[std::size(k_clients)];
    std::uint64_t m_serial = 0;
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
    const master::JobStore::Turn undone(farm.store);
    farm.cache.Clear();

    FuzzedDataProvider input(data, size);
    Conversation conversation(farm);
    for (int i = 0; i < k_most_requests && input.remaining_bytes() > 0; ++i)
    {
        const auto client = input.ConsumeIntegralInRange<std::size_t>(1, 4);
        conversation.Ask(client, PickRequest(input));
    }
    conversation.RequireAllKnow();
    return 0;
}
