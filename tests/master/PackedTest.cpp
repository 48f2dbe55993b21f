#include "master/door/Packed.h"

#include <grpcpp/support/proto_buffer_reader.h>

#include <gtest/gtest.h>

#include "corvan/Gathered.h"

using corvan::wire::Envelope;
using master::Packed;
using master::PackedQueue;

namespace
{

std::shared_ptr<const Packed> Note(const std::string &value)
{
    Envelope envelope;
    envelope.mutable_job_parameter()->set_value(value);
    return std::make_shared<const Packed>(envelope);
}

// What a client reads of it.
std::vector<std::string> Values(grpc::ByteBuffer message)
{
    Envelope envelope;
    EXPECT_TRUE(grpc::SerializationTraits<Envelope>::Deserialize(&message, &envelope).ok());
    if (!corvan::IsGathered(envelope))
        return {envelope.job_parameter().value()};
    ostrel::String reason;
    std::vector<std::string> values;
    const auto parts = corvan::TakeApart(envelope, &reason);
    for (const Envelope &part : parts.value())
        values.push_back(part.job_parameter().value());
    return values;
}

std::vector<grpc::Slice> Pieces(const grpc::ByteBuffer &message)
{
    std::vector<grpc::Slice> pieces;
    EXPECT_TRUE(message.Dump(&pieces).ok());
    return pieces;
}

using Texts = std::vector<std::string>;

TEST(Packed, IsSentByItselfOrWithOthersInOrder)
{
    const PackedQueue queue = {Note("a"), Note("b"), Note("c")};
    master::Gathering gathering;
    EXPECT_EQ(Values(Packed::Gather(queue, 1)), Texts{"a"});
    EXPECT_EQ(Values(Packed::Gather(queue, 3)), (Texts{"a", "b", "c"}));
    EXPECT_EQ(Values(gathering.Take(queue, 1)), Texts{"a"});
    EXPECT_EQ(Values(gathering.Take(queue, 3)), (Texts{"a", "b", "c"}));
    EXPECT_EQ(Values(gathering.Take(queue, 2)), (Texts{"a", "b"}));
}

TEST(Packed, IsInMemoryOnceWhereTheNextClientIsToHaveTheSame)
{
    const PackedQueue queue = {Note("a"), Note("b"), Note("c")};
    master::Gathering gathering;
    const grpc::ByteBuffer first = gathering.Take(queue, 3);
    const grpc::ByteBuffer second = gathering.Take(PackedQueue(queue), 3);
    ASSERT_EQ(Pieces(first).size(), 1u);
    EXPECT_EQ(Pieces(first)[0].begin(), Pieces(second)[0].begin());

    // The same words, and other messages.
    const PackedQueue others[] = {{queue[0], queue[1], Note("d")},
                                  {Note("e"), queue[1], queue[2]},
                                  {queue[1], queue[0], queue[2]}};
    const Texts expected[] = {{"a", "b", "d"}, {"e", "b", "c"}, {"b", "a", "c"}};
    for (std::size_t i = 0; i < std::size(others); ++i)
    {
        EXPECT_EQ(Values(gathering.Take(others[i], 3)), expected[i]);
        EXPECT_EQ(Values(gathering.Take(queue, 3)), (Texts{"a", "b", "c"}));
    }
    EXPECT_EQ(Values(first), (Texts{"a", "b", "c"})) << "it lives as long as somebody is sent it";
}

// Whoever does not read keeps next to nothing for himself alone.
TEST(Packed, IsNotCopiedWhereItIsLong)
{
    const PackedQueue queue = {Note(std::string(9000, 'a')), Note(std::string(9000, 'b'))};
    master::Gathering gathering;
    EXPECT_EQ(Pieces(gathering.Take(queue, 2)).size(), 2u);
    EXPECT_EQ(Values(gathering.Take(queue, 2)).size(), 2u);
}

} // namespace
