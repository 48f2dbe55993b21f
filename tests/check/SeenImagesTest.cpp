#include "check/SeenImages.h"

#include <gtest/gtest.h>

namespace check
{
namespace
{

analysis::FrameRecord File(std::uint64_t size)
{
    analysis::FrameRecord file;
    file.exists = true;
    file.size = size;
    return file;
}

ostrel::Path At(int number)
{
    return ostrel::Path("/r/" + std::to_string(number));
}

TEST(SeenImages, AreKnownWhileTheFileIsAsItWasAndNoDeeperIsAskedFor)
{
    SeenImages seen;
    seen.BeginPass();
    EXPECT_TRUE(seen.IsEmpty());
    decode::ImageReport report;
    report.width = 7;
    seen.Keep(At(1), File(100), CheckDepth::Images, report);
    EXPECT_FALSE(seen.IsEmpty());
    EXPECT_EQ(seen.At(At(1)).width, 7);
    EXPECT_TRUE(seen.IsKnown(At(1), File(100), CheckDepth::Images));
    EXPECT_FALSE(seen.IsKnown(At(1), File(100), CheckDepth::Pictures));
    EXPECT_FALSE(seen.IsKnown(At(1), File(101), CheckDepth::Images));
    EXPECT_FALSE(seen.IsKnown(At(2), File(100), CheckDepth::Images));

    report.trouble = "no memory";
    seen.Keep(At(1), File(100), CheckDepth::Images, report);
    EXPECT_FALSE(seen.IsKnown(At(1), File(100), CheckDepth::Images)) << "it may go better now";
}

TEST(SeenImages, AreForgottenWhereNoPassHasAskedForThemSinceTheLongestTime)
{
    SeenImages seen(3);
    const auto isKnown = [&](int file)
    { return seen.IsKnown(At(file), File(100), CheckDepth::Pictures); };
    for (int file = 1; file <= 3; ++file)
    {
        seen.BeginPass();
        seen.Keep(At(file), File(100), CheckDepth::Pictures, {});
    }
    seen.BeginPass();
    EXPECT_TRUE(isKnown(1));
    seen.BeginPass();
    seen.Keep(At(4), File(100), CheckDepth::Pictures, {});
    seen.Keep(At(5), File(100), CheckDepth::Pictures, {});
    for (int file = 1; file <= 5; ++file)
        EXPECT_NO_THROW(seen.At(At(file))) << "a pass may be as large as it is: " << file;

    // Of the pass before come 4 and 5, of the one before that 1; 2 and 3 are older.
    seen.BeginPass();
    EXPECT_TRUE(isKnown(1));
    EXPECT_FALSE(isKnown(2));
    EXPECT_FALSE(isKnown(3));
    EXPECT_TRUE(isKnown(4));
    EXPECT_TRUE(isKnown(5));
}

TEST(SeenImages, AreAllRememberedWhereNothingElseIsSaid)
{
    SeenImages seen;
    for (int pass = 1; pass <= 3; ++pass)
    {
        seen.BeginPass();
        for (int file = 0; file < 5000; ++file)
            seen.Keep(At(5000 * pass + file), File(100), CheckDepth::Pictures, {});
    }
    seen.BeginPass();
    EXPECT_TRUE(seen.IsKnown(At(5000), File(100), CheckDepth::Pictures));
}

} // namespace
} // namespace check
