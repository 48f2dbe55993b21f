// What waits for a client goes out in one message, and it is still told all in order.
#include <thread>

#include <gtest/gtest.h>

#include "corvan/Limits.h"
#include "corvan/Protocol.h"
#include "ostrel/UID.h"
#include "tests/master/RawClient.h"
#include "tests/master/RunningMaster.h"
#include "tests/master/TestJobs.h"
#include "tests/support/TempFolder.h"

using ostrel::UID;
using namespace std::chrono_literals;

namespace
{

class Gathering : public ::testing::Test
{
protected:
    void Start()
    {
        m_master = std::make_unique<RunningMaster>(m_settings, 0);
        ASSERT_EQ(m_master->Error(), "");
        m_sender = std::make_unique<RawClient>(m_master->Address());
        ASSERT_TRUE(m_sender->SayHello());

        wire::Envelope envelope;
        wire::Job &job = *envelope.mutable_job();
        job.set_id(m_job);
        job.set_type(k_ShellType.ToString());
        for (const auto &[name, value] : {std::pair("Range", "1"), std::pair("Script", "exit 0")})
        {
            wire::Parameter &parameter = *job.add_parameters();
            parameter.set_name(name);
            parameter.set_value(value);
        }
        ASSERT_TRUE(m_sender->Ask(envelope)->has_accepted());
    }

    std::unique_ptr<RawClient> Follow(unsigned protocol = corvan::k_Protocol)
    {
        auto client = std::make_unique<RawClient>(m_master->Address());
        EXPECT_TRUE(client->SayHello(protocol));
        EXPECT_TRUE(client->Ask(FollowEnvelope(m_job))->has_accepted());
        return client;
    }

    // A value that tells its number and is this long.
    static std::string Value(int number, std::size_t bytes)
    {
        std::string value = std::to_string(number);
        return value + std::string(bytes - std::min(bytes, value.size()), ' ');
    }

    // Changes a parameter so often; returns when all is on disk.
    void Change(int times, std::size_t bytes = 0)
    {
        for (int i = 1; i <= times; ++i)
        {
            wire::Envelope change = SetEnvelope(m_job, "Note", Value(i, bytes));
            change.set_serial(std::uint64_t(1000 + i));
            ASSERT_TRUE(m_sender->Send(change));
        }
        for (int i = 1; i <= times; ++i)
        {
            const auto answer = m_sender->Receive();
            ASSERT_TRUE(answer && answer->has_accepted());
        }
    }

    static void ExpectAllInOrder(RawClient &client, int times, std::size_t bytes = 0)
    {
        for (int i = 1; i <= times; ++i)
        {
            const auto news = client.Receive();
            ASSERT_TRUE(news) << "news " << i;
            ASSERT_EQ(news->job_parameter().value(), Value(i, bytes));
        }
    }

    TempFolder m_folder;
    TestJobTypes m_types;
    master::MasterSettings m_settings = SettingsIn(m_folder.Folder());
    const std::string m_job = UID(true).ToString();
    std::unique_ptr<RunningMaster> m_master;
    std::unique_ptr<RawClient> m_sender;
};

TEST_F(Gathering, TellsAFollowerInOneMessageWhatHasWaitedForIt)
{
    m_settings.server.pace = 1s;
    Start();
    const auto follower = Follow();
    const std::size_t before = follower->Came().messages;
    Change(500);
    ExpectAllInOrder(*follower, 500);
    // One at once and one a second later; a slow machine has some seconds more.
    EXPECT_LE(follower->Came().messages - before, 20u);
}

TEST_F(Gathering, TellsManyFollowersEachChangeInOrder)
{
    m_settings.server.pace = 1ms;
    Start();
    std::vector<std::unique_ptr<RawClient>> followers;
    for (int i = 0; i < 20; ++i)
        followers.push_back(Follow());
    Change(300);
    for (const auto &follower : followers)
        ExpectAllInOrder(*follower, 300);
}

TEST_F(Gathering, LosesNothingForAFollowerThatReadsLate)
{
    Start();
    const auto late = Follow();
    const auto quick = Follow();
    constexpr int k_changes = 700;
    constexpr std::size_t k_bytes = 10'000; // In all, more than any connection holds.
    std::jthread changes([&] { Change(k_changes, k_bytes); });
    ExpectAllInOrder(*quick, k_changes, k_bytes);
    ExpectAllInOrder(*late, k_changes, k_bytes);
    EXPECT_GT(late->Came().mostGathered, 1u);
    EXPECT_LE(late->Came().mostBytes, 256u << 10);
}

TEST_F(Gathering, MakesNoMessageLongerThanItMayBe)
{
    // All waits until the follower asks for something.
    m_settings.server.pace = 100s;
    m_settings.server.limits.outPauseMessages = 10'000;
    const struct
    {
        int changes;
        std::size_t bytes;
        std::size_t mostGathered;
    } cases[] = {
        {1200, 10, corvan::k_MaxGathered},
        {30, 30'000, 8},
        {3, 300'000, 0}, // What is long goes alone.
    };
    Start();
    const auto first = Follow();
    Change(1);
    ExpectAllInOrder(*first, 1);
    for (const auto &[changes, bytes, mostGathered] : cases)
    {
        const auto follower = Follow();
        Change(changes, bytes);
        const auto answer = follower->Ask(GetTasksEnvelope(m_job));
        ASSERT_TRUE(answer && answer->has_task_list());
        ExpectAllInOrder(*follower, changes, bytes);
        EXPECT_EQ(follower->Came().mostGathered, mostGathered) << bytes << " bytes each";
        EXPECT_LE(follower->Came().mostBytes, 256u << 10);
    }
}

TEST_F(Gathering, SendsAnAnswerAtOnceBehindTheNewsThatWait)
{
    // Longer than anybody waits here.
    m_settings.server.pace = 100s;
    Start();
    const auto follower = Follow();
    Change(1);
    ExpectAllInOrder(*follower, 1);
    Change(3);
    const auto answer = follower->Ask(GetJobEnvelope(m_job));
    ASSERT_TRUE(answer && answer->has_job());
    EXPECT_EQ(ParameterOf(answer->job(), "Note"), "3");
    ExpectAllInOrder(*follower, 3);
    EXPECT_EQ(follower->Came().mostGathered, 4u);
}

TEST_F(Gathering, IsOnlyForClientsThatKnowIt)
{
    m_settings.server.pace = 100s;
    Start();
    const auto older = Follow(corvan::k_GatheringProtocol - 1);
    const std::size_t before = older->Came().messages;
    Change(500);
    ExpectAllInOrder(*older, 500);
    EXPECT_EQ(older->Came().messages - before, 500u);
    EXPECT_EQ(older->Came().mostGathered, 0u);
}

TEST_F(Gathering, OfAClientIsRefused)
{
    Start();
    wire::Envelope gathered;
    gathered.add_gathered(GetJobEnvelope(m_job).SerializeAsString());
    ASSERT_TRUE(m_sender->Send(gathered));
    EXPECT_EQ(m_sender->End().error_message(), "the message cannot be read");
}

TEST_F(Gathering, EndsWhenTheMasterDoes)
{
    m_settings.server.pace = 100s;
    Start();
    const auto follower = Follow();
    Change(10);
    const auto begin = std::chrono::steady_clock::now();
    m_master.reset();
    EXPECT_FALSE(follower->End().ok());
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 20s);
}

} // namespace
