// Bytes from the network as a request of a client, all the way through the Master: every request is
// answered or refused, and the answer is one that a client would take.
#include <cstdint>

#include "fuzz/SampleFarm.h"

using namespace corvan;

namespace
{

const UID k_job("f81d4fae-7dec-41d0-a765-00a0c91e6bf6", true);

const master::Identity k_who{
    .user = "anna", .role = master::Role::Admin, .peer = {}, .token = {}, .peerKey = {}};

/// The job that requests may be about.
void AddSampleJob(SampleFarm &farm)
{
    JobMsg message;
    message.job = JobFactory::s_JobFactory.CreateJob(k_sample_type);
    message.job->SetID(k_job);
    message.job->SetParameter("Range", "1-10");
    message.job->SetParameter("ImageFormat", "/x.%04d.png");
    farm.Ask({1, k_who}, message);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int * /*argc*/, char *** /*argv*/)
{
    StartSampleFarm();
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

    static SampleFarm farm;
    const master::JobStore::Turn undone(farm.store);
    farm.cache.Clear();
    AddSampleJob(farm);

    message->serial = 1;
    const master::Outbox outbox = farm.Ask({1, k_who}, *message);
    bool isAnswered = false;
    for (const master::Outgoing &outgoing : outbox.Messages())
    {
        isAnswered = isAnswered || (outgoing.client == 1 && outgoing.answers == 1);
        RequireReadable(outgoing);
    }
    Require(isAnswered, "every request has its answer");
    farm.followers.Forget(1);
    return 0;
}
