// Bytes from the network as an envelope: what is taken is written and taken again as the same.
#include <cstdint>

#include "corvan/JobFactory.h"
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
    {
        Require(!reason.empty(), "a refusal has its reason");
        return 0;
    }

    wire::Envelope written;
    MessageFactory::ToEnvelope(*message, written);
    const auto again = MessageFactory::FromEnvelope(written, &reason);
    Require(again != nullptr, "what is written can be read");
    wire::Envelope twice;
    MessageFactory::ToEnvelope(*again, twice);
    Require(written.SerializeAsString() == twice.SerializeAsString(), "and is the same");
    return 0;
}
