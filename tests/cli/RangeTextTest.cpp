#include "cli/RangeText.h"

#include <climits>

#include <gtest/gtest.h>

namespace cli
{
namespace
{

using Items = corvan::SequenceDistributor::Items;

TEST(RangeText, NamesFramesAsPeopleDo)
{
    const struct
    {
        Items frames;
        const char *text;
    } cases[] = {
        {{}, ""},
        {{7}, "7"},
        {{1, 2}, "1,2"},
        {{1, 2, 3}, "1-3"},
        {{2, 3, 7, 11}, "2,3,7,11"},
        {{1, 3, 5, 7}, "1,3,5,7"},
        {{1, 3, 5, 7, 9}, "1-9x2"},
        {{1, 3, 5, 7, 9, 10}, "1,3,5,7,9,10"},
        {{1, 2, 4, 6, 8, 10, 12, 20, 21, 22}, "1,2,4-12x2,20-22"},
        {{-7, -6, -5, -1}, "-7--5,-1"},
        {{-10, -5, 0, 5, 10, 11}, "-10,-5,0,5,10,11"},
        {{INT_MIN, INT_MAX}, "-2147483648,2147483647"},
    };
    for (const auto &[frames, text] : cases)
        EXPECT_EQ(RangeText(frames), text);
}

TEST(RangeText, IsARangeOfTheSameFrames)
{
    // All sets of twelve frames.
    for (unsigned set = 0; set < 1u << 12; ++set)
    {
        Items frames;
        for (int frame = 0; frame < 12; ++frame)
            if (set & 1u << frame)
                frames.insert(frame - 3);
        Items read;
        String reason;
        ASSERT_TRUE(corvan::SequenceDistributor::ParseRange(RangeText(frames), read, &reason))
            << RangeText(frames) << ": " << reason;
        ASSERT_TRUE(read == frames) << RangeText(frames);
    }
}

} // namespace
} // namespace cli
