#include "corvan/Gathered.h"

#include <gtest/gtest.h>

#include "corvan/Limits.h"
#include "corvan/messages.pb.h"

using namespace corvan;

namespace
{

std::string Removed(const std::string &job)
{
    wire::Envelope envelope;
    envelope.mutable_job_removed()->set_job(job);
    return envelope.SerializeAsString();
}

wire::Envelope Holding(const std::vector<std::string> &parts)
{
    wire::Envelope envelope;
    for (const std::string &part : parts)
        envelope.add_gathered(part);
    return envelope;
}

} // namespace

TEST(Gathered, GivesWhatItHoldsInOrder)
{
    String reason;
    EXPECT_FALSE(IsGathered(wire::Envelope()));
    const wire::Envelope whole = Holding({Removed("a"), "", Removed("b"), Removed("a")});
    EXPECT_TRUE(IsGathered(whole));
    const auto parts = TakeApart(whole, &reason);
    ASSERT_TRUE(parts) << reason;
    ASSERT_EQ(parts->size(), 4u);
    EXPECT_EQ(parts->at(0).job_removed().job(), "a");
    EXPECT_EQ(parts->at(1).body_case(), wire::Envelope::BODY_NOT_SET) << "as if it came by itself";
    EXPECT_EQ(parts->at(2).job_removed().job(), "b");
    EXPECT_EQ(parts->at(3).job_removed().job(), "a");
}

TEST(Gathered, HoldsNoMoreThanItMayAndNothingElse)
{
    const std::string one = Removed("a");
    wire::Envelope withBody = Holding({one});
    withBody.mutable_accepted();
    wire::Envelope withSerial = Holding({one});
    withSerial.set_serial(1);
    wire::Envelope withAnswers = Holding({one});
    withAnswers.set_answers(1);
    const struct
    {
        wire::Envelope envelope;
        const char *reason;
    } cases[] = {
        {Holding(std::vector(k_MaxGathered, one)), nullptr},
        {Holding(std::vector(k_MaxGathered + 1, one)), "it holds more than 1000 messages"},
        {Holding({one, "\xff\xff no envelope"}), "it holds what is no message"},
        {Holding({one, Holding({one}).SerializeAsString()}), "it holds one that holds others"},
        {withBody, "it is a message and holds others"},
        {withSerial, "it is a message and holds others"},
        {withAnswers, "it is a message and holds others"},
    };
    for (const auto &[envelope, reason] : cases)
    {
        String told;
        EXPECT_EQ(TakeApart(envelope, &told).has_value(), reason == nullptr);
        EXPECT_EQ(told, reason ? reason : "");
    }
}
