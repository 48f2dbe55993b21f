#include "check/LookRequest.h"

#include <gtest/gtest.h>

namespace check
{
namespace
{

bool IsSame(const LookRequest &a, const LookRequest &b)
{
    return a.formats == b.formats && a.input.userRange == b.input.userRange &&
           a.input.hasCustomRange == b.input.hasCustomRange &&
           a.input.sequenceBy == b.input.sequenceBy &&
           a.input.renumberStart == b.input.renumberStart &&
           a.input.renumberBy == b.input.renumberBy && a.input.packetSize == b.input.packetSize &&
           a.depth == b.depth && a.sizeRule == b.sizeRule && a.print == b.print &&
           a.wereSeen == b.wereSeen;
}

TEST(LookRequest, IsTheSameOnceItWasArguments)
{
    LookRequest request;
    request.formats = {"/r/a.%04d.exr", "/r/b; \n.%d.png"};
    request.input.userRange = "1-240,300";
    const LookRequest plain = request;
    request.input.hasCustomRange = request.wereSeen = true;
    request.input.sequenceBy = "0.5";
    request.input.renumberStart = "-3";
    request.input.renumberBy = "2";
    request.input.packetSize = "8";
    request.depth = LookRequest::Depth::Images;
    request.print = "00000000000000cc";
    request.sizeRule = corvan::SizeRule::Robust;
    for (const LookRequest &one : {plain, request, LookRequest()})
    {
        const auto read = ReadArguments(ArgumentsOf(one).value());
        ASSERT_TRUE(read);
        EXPECT_TRUE(IsSame(*read, one));
    }
}

TEST(LookRequest, SaysHowDeepItLooks)
{
    const struct
    {
        LookRequest::Depth depth;
        const char *name;
        bool readsImages;
    } cases[] = {
        {LookRequest::Depth::Prints, "prints", false},
        {LookRequest::Depth::Sizes, "sizes", false},
        {LookRequest::Depth::Images, "images", true},
        {LookRequest::Depth::Pictures, "pictures", true},
    };
    for (const auto &[depth, name, readsImages] : cases)
    {
        LookRequest request;
        request.depth = depth;
        EXPECT_EQ(request.ReadsImages(), readsImages) << name;
        const auto arguments = ArgumentsOf(request).value();
        EXPECT_EQ(arguments.at(1), name);
        EXPECT_EQ(ReadArguments(arguments).value().depth, depth) << name;
    }
}

TEST(LookRequest, CutsALongRangeIntoArgumentsThatTheSystemTakes)
{
    LookRequest request;
    request.formats = {"/r/%d"};
    for (int frame = 1; request.input.userRange.size() < 300'000; frame += 2)
        request.input.userRange += std::to_string(frame) + ",";
    const auto arguments = ArgumentsOf(request);
    ASSERT_TRUE(arguments);
    for (const std::string &argument : *arguments)
        EXPECT_LE(argument.size(), 100'000u);
    EXPECT_TRUE(IsSame(ReadArguments(*arguments).value(), request));
}

TEST(LookRequest, ThatIsTooLongIsNotHandedOver)
{
    LookRequest request;
    request.input.userRange = String(std::string(2'000'000, '1'));
    EXPECT_FALSE(ArgumentsOf(request));
}

TEST(LookRequest, OfAnotherVersionIsRefused)
{
    EXPECT_FALSE(ReadArguments({"depth"}));
    EXPECT_FALSE(ReadArguments({"depth", "deep"}));
    EXPECT_FALSE(ReadArguments({"colour", "red"}));
    EXPECT_FALSE(ReadArguments({"rule", "of thumb"}));
}

} // namespace
} // namespace check
