// Bytes from the network as an envelope, and what it holds where it holds others: what is taken is
// written and taken again as the same.
#include <cstdint>

#include "corvan/Gathered.h"
#include "corvan/JobFactory.h"
#include "corvan/Limits.h"
#include "corvan/Message.h"
#include "corvan/MessageFactory.h"
#include "corvan/messages.pb.h"
#include "fuzz/Require.h"
#include "ostrel/Log.h"

using namespace corvan;

namespace
{

void AddSampleType()
{
    JobType type;
    type.id = UID("0d5f2f62-7d6c-4c0e-a9a4-0c0f6d6b1e01", true);
    type.name = "Sample";
    type.renderCommand = {"true"};
    JobFactory::s_JobFactory.AddType(std::move(type));
}

void TakeOne(const wire::Envelope &envelope)
{
    String reason;
    const auto message = MessageFactory::FromEnvelope(envelope, &reason);
    if (!message)
        return Require(!reason.empty(), "a refusal has its reason");

    wire::Envelope written;
    MessageFactory::ToEnvelope(*message, written);
    const auto again = MessageFactory::FromEnvelope(written, &reason);
    Require(again != nullptr, "what is written can be read");
    wire::Envelope twice;
    MessageFactory::ToEnvelope(*again, twice);
    Require(written.SerializeAsString() == twice.SerializeAsString(), "and is the same");
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
    TakeOne(envelope);
    if (!IsGathered(envelope))
        return 0;

    String reason;
    const auto parts = TakeApart(envelope, &reason);
    Require(bool(parts) == reason.empty(), "what cannot be taken apart has its reason");
    if (!parts)
        return 0;
    Require(parts->size() == std::size_t(envelope.gathered_size()) &&
                parts->size() <= k_MaxGathered,
            "none is lost, and there are not too many");
    for (const wire::Envelope &part : *parts)
    {
        Require(!IsGathered(part), "none of them holds others");
        TakeOne(part);
    }
    return 0;
}
