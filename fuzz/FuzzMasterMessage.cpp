// Bytes from the network as a request of a client, all the way through the Master: every request is
// answered or refused, and the answer is one that a client would take.
#include <cstdint>

#include "corvan/JobFactory.h"
#include "corvan/MessageFactory.h"
#include "corvan/messages.pb.h"
#include "fuzz/Require.h"
#include "master/Dispatcher.h"
#include "ostrel/Log.h"

using namespace corvan;

namespace
{

const UID k_job("f81d4fae-7dec-41d0-a765-00a0c91e6bf6", true);

void AddSampleType()
{
    JobType type;
    type.id = UID("0d5f2f62-7d6c-4c0e-a9a4-0c0f6d6b1e01", true);
    type.name = "Sample";
    type.renderCommand = {"true", "{Arguments}", "{Outputs}"};
    JobFactory::s_JobFactory.AddType(std::move(type));
}

/// What of the Master a request meets. The store is in memory, and is a turn's that is undone.
struct Farm
{
    master::JobStore store{":memory:"};
    master::JobCache cache{store};
    master::Followers followers;
    master::TaskLogs logs{"/nonexistent"};
    master::Dispatcher dispatcher{store, cache, followers, logs};
};

void Ask(Farm &farm, const Message &message, master::Outbox &outbox)
{
    master::JobStore::Step step(farm.store);
    static const master::Identity who{
        .user = "anna", .role = master::Role::Admin, .peer = {}, .token = {}, .peerKey = {}};
    farm.dispatcher.Handle({1, who}, message, outbox);
    step.Keep();
}

/// The job that requests may be about.
void AddSampleJob(Farm &farm)
{
    JobMsg message;
    message.job =
        JobFactory::s_JobFactory.CreateJob(UID("0d5f2f62-7d6c-4c0e-a9a4-0c0f6d6b1e01", true));
    message.job->SetID(k_job);
    message.job->SetParameter("Range", "1-10");
    message.job->SetParameter("ImageFormat", "/x.%04d.png");
    master::Outbox outbox;
    Ask(farm, message, outbox);
}

void CheckAnswer(const master::Outgoing &outgoing)
{
    wire::Envelope envelope;
    MessageFactory::ToEnvelope(*outgoing.message, envelope);
    String reason;
    Require(MessageFactory::FromEnvelope(envelope, &reason) != nullptr,
            "a client takes what the Master says");
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int * /*argc*/, char *** /*argv*/)
{
    ostrel::LogStart({ostrel::k_LogNone, ostrel::k_LogNone, {}});
    AddSampleType();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    wire::Envelope envelope;
    if (!envelope.ParseFromArray(data, int(size)))
        return 0;
    String reason;
    const auto message = MessageFactory::FromEnvelope(envelope, &reason);
    if (!message)
        return 0;

    static Farm farm;
    const master::JobStore::Turn undone(farm.store);
    farm.cache.Clear();
    AddSampleJob(farm);

    message->serial = 1;
    master::Outbox outbox;
    Ask(farm, *message, outbox);
    bool isAnswered = false;
    for (const master::Outgoing &outgoing : outbox.Messages())
    {
        isAnswered = isAnswered || (outgoing.client == 1 && outgoing.answers == 1);
        CheckAnswer(outgoing);
    }
    Require(isAnswered, "every request has its answer");
    farm.followers.Forget(1);
    return 0;
}
