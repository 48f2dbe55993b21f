// What earlier versions said to each other is still understood, on both sides.
#include <fstream>
#include <google/protobuf/util/message_differencer.h>

#include <gtest/gtest.h>

#include "corvan/JobFactory.h"
#include "corvan/MessageFactory.h"
#include "ostrel/UID.h"
#include "tests/master/MasterProgram.h"
#include "tests/master/RawClient.h"
#include "tests/support/TempFolder.h"

using google::protobuf::util::MessageDifferencer;

namespace
{

/// One envelope as it was recorded, or the beginning of a connection.
struct RecordedWord
{
    enum class From
    {
        Connection,
        Client,
        Master,
    };

    From from;
    wire::Envelope envelope;
};

std::string Bytes(const std::string &hex)
{
    std::string bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2)
        bytes += char(std::stoi(hex.substr(i, 2), nullptr, 16));
    return bytes;
}

std::vector<RecordedWord> Conversation(const std::string &version)
{
    std::vector<RecordedWord> recorded;
    std::ifstream file(std::string(RECORDED_CONVERSATIONS) + "/" + version + ".txt");
    for (std::string line; std::getline(file, line);)
    {
        RecordedWord next{RecordedWord::From::Connection, {}};
        if (line != "connection")
        {
            next.from = line[0] == 'C' ? RecordedWord::From::Client : RecordedWord::From::Master;
            EXPECT_TRUE(next.envelope.ParseFromString(Bytes(line.substr(2)))) << line;
        }
        recorded.push_back(std::move(next));
    }
    return recorded;
}

// What differs from one run, or version, to the next.
void Drop(wire::Job &job)
{
    for (int i = job.parameters_size(); i-- > 0;)
        if (job.parameters(i).name() == "Created" || job.parameters(i).name() == "Owner")
            job.mutable_parameters()->DeleteSubrange(i, 1);
}

wire::Envelope WithoutWhatDiffers(wire::Envelope envelope)
{
    if (envelope.has_welcome())
        envelope.clear_welcome();
    if (envelope.has_job())
        Drop(*envelope.mutable_job());
    if (envelope.has_job_list())
        for (wire::Job &job : *envelope.mutable_job_list()->mutable_jobs())
            Drop(job);
    return envelope;
}

class RecordedConversation : public ::testing::TestWithParam<const char *>
{
};

TEST_P(RecordedConversation, IsHeldWithTheMasterAsItWasThen)
{
    const TempFolder folder;
    MasterProgram program(folder.Folder(),
                          {"--slots", "0", "--listen", (folder / "m.sock").Text()});
    ASSERT_TRUE(program.ReadLine().starts_with("corvan-master: listening")) << program.Errors();

    const std::vector<RecordedWord> recorded = Conversation(GetParam());
    ASSERT_GT(recorded.size(), 50u);
    std::unique_ptr<RawClient> client;
    int answers = 0;
    for (const RecordedWord &each : recorded)
    {
        switch (each.from)
        {
        case RecordedWord::From::Connection:
            client = std::make_unique<RawClient>(program.Address());
            break;
        case RecordedWord::From::Client:
            ASSERT_TRUE(client->Send(each.envelope)) << each.envelope.ShortDebugString();
            break;
        case RecordedWord::From::Master:
        {
            const auto answer = client->Receive();
            ASSERT_TRUE(answer) << each.envelope.ShortDebugString();
            EXPECT_EQ(answer->has_welcome(), each.envelope.has_welcome());
            const wire::Envelope actual = WithoutWhatDiffers(*answer);
            const wire::Envelope expected = WithoutWhatDiffers(each.envelope);
            EXPECT_TRUE(MessageDifferencer::Equals(actual, expected))
                << actual.ShortDebugString() << "\n"
                << expected.ShortDebugString();
            ++answers;
            break;
        }
        }
    }
    EXPECT_GT(answers, 20);
}

TEST_P(RecordedConversation, IsUnderstoodByAClient)
{
    corvan::JobFactory::s_JobFactory.LoadInstalledTypes();
    int messages = 0;
    for (const RecordedWord &each : Conversation(GetParam()))
    {
        if (each.from != RecordedWord::From::Master || each.envelope.has_welcome())
            continue;
        ostrel::String reason;
        const auto message = corvan::MessageFactory::FromEnvelope(each.envelope, &reason);
        EXPECT_TRUE(message) << reason;
        EXPECT_NE(message->Goes(), corvan::Direction::ToMaster);
        ++messages;
    }
    corvan::JobFactory::s_JobFactory.Clear();
    EXPECT_GT(messages, 20);
}

INSTANTIATE_TEST_SUITE_P(Versions, RecordedConversation,
                         ::testing::Values("0.1.0", "0.1.0-protocol-2"));

} // namespace
