#include "check/BadFrames.h"

#include <gtest/gtest.h>

#include "tests/check/SampleTable.h"

namespace check
{
namespace
{

using Items = corvan::SequenceDistributor::Items;
using S = CheckState;

const char *const k_one = "00000000000000aa";
const char *const k_other = "00000000000000bb";

Items ChangedFrom(const CheckTable &before, const CheckTable &now)
{
    return FindChanged(FindBadFrames({&before, 1}), FindBadFrames({&now, 1}));
}

TEST(BadFrames, OfTheSameFindingHaveOneKey)
{
    const CheckTable table = SampleTable("/r/%d", {S::Missing, S::Ok, S::Missing, S::TooSmall});
    const BadFrames frames = FindBadFrames({&table, 1});
    ASSERT_EQ(frames.size(), 2u);
    EXPECT_EQ(AllOf(frames), (Items{1, 3, 4}));
    for (const auto &[key, some] : frames)
        EXPECT_TRUE(some == (Items{1, 3}) || some == Items{4}) << key;
}

TEST(BadFrames, HaveChangedWhereAnotherThingIsFound)
{
    const CheckTable before = SampleTable("/r/%d", {S::Ok, S::Outlier, S::Outlier, S::Missing});
    const struct
    {
        const char *what;
        void (*change)(CheckTable &);
        Items changed;
    } cases[] = {
        {"nothing", [](CheckTable &) {}, {}},
        {"the size", [](CheckTable &table) { table.frames[1].size = 7; }, {2}},
        {"the date", [](CheckTable &table) { table.frames[1].modified = ostrel::Time(1); }, {}},
        {"the state", [](CheckTable &table) { table.states[2] = S::TooSmall; }, {3}},
        {"the detail", [](CheckTable &table) { table.details[2] = "3 NaN"; }, {3}},
        {"it is good", [](CheckTable &table) { table.states[1] = S::Ok; }, {}},
        {"it is newly bad", [](CheckTable &table) { table.states[0] = S::Outlier; }, {1}},
    };
    for (const auto &[what, change, changed] : cases)
    {
        CheckTable now = before;
        change(now);
        EXPECT_EQ(ChangedFrom(before, now), changed) << what;
    }
}

TEST(BadFrames, OfTwoFormatsAreNamedByBoth)
{
    CheckTable tables[] = {SampleTable("/r/a.%d", {S::Missing}),
                           SampleTable("/r/b.%d", {S::Missing})};
    const BadFrames both = FindBadFrames(tables);
    tables[1].states[0] = S::Ok;
    EXPECT_EQ(FindChanged(both, FindBadFrames(tables)), Items{1});
}

TEST(BadFrames, AreTheSameOnceTheyWereText)
{
    const BadFrames frames{{k_one, {1, 2, 3, 7}}, {k_other, {-4}}};
    EXPECT_EQ(BadFramesText(frames), "00000000000000aa 1-3,7\n00000000000000bb -4\n");
    EXPECT_EQ(ParseBadFrames(BadFramesText(frames)), frames);
    EXPECT_EQ(ParseBadFrames(""), BadFrames());
}

TEST(BadFrames, TakeNoOtherText)
{
    for (const char *text :
         {"00000000000000aa 1", "00000000000000aa \n", "0000000000000aa 1\n",
          "00000000000000AA 1\n", "00000000000000aa a\n", "00000000000000aa\n", "\n",
          "00000000000000aa 1\n00000000000000aa 2\n", "00000000000000aa 1-3\n00000000000000bb 3\n",
          "00000000000000aa 1-1000001\n"})
        EXPECT_FALSE(ParseBadFrames(text)) << text;
}

} // namespace
} // namespace check
