#include <algorithm>
#include <climits>
#include <random>
#include <set>
#include <vector>

#include <gtest/gtest.h>

#include "corvan/SequenceDistributor.h"

using Items = corvan::SequenceDistributor::Items;

namespace
{

std::vector<int> ListFrames(const Items &items)
{
    return {items.begin(), items.end()};
}

} // namespace

TEST(SequenceItems, GoesThroughFramesInAscendingOrderOfSignedNumbers)
{
    const Items items{5, -1, INT_MAX, 0, INT_MIN, 5};
    EXPECT_EQ(ListFrames(items), (std::vector<int>{INT_MIN, -1, 0, 5, INT_MAX}));
    EXPECT_EQ(items.size(), 5u);
    EXPECT_EQ(items.front(), INT_MIN);
    EXPECT_EQ(items.back(), INT_MAX);
}

TEST(SequenceItems, AnEmptySetHasNothingToGoThrough)
{
    const Items items;
    EXPECT_TRUE(items.empty());
    EXPECT_TRUE(items.begin() == items.end());
    EXPECT_TRUE(items.lower_bound(0) == items.end());
    EXPECT_EQ(items.size(), 0u);
}

TEST(SequenceItems, PostIncrementGivesThePositionBefore)
{
    const Items items{1, 4};
    Items::const_iterator at = items.begin();
    EXPECT_EQ(*at++, 1);
    EXPECT_EQ(*at++, 4);
    EXPECT_TRUE(at == items.end());
}

TEST(SequenceItems, BehavesLikeAnOrderedSet)
{
    std::mt19937 random(7);
    Items items;
    std::set<int> model;
    for (int turn = 0; turn < 20'000; ++turn)
    {
        const int frame = int(random() % 500'000) - 250'000;
        if (random() % 3)
            ASSERT_EQ(items.insert(frame), model.insert(frame).second);
        else
            ASSERT_EQ(items.erase(frame), model.erase(frame) == 1);
        const int probe = int(random() % 500'000) - 250'000;
        ASSERT_EQ(items.contains(probe), model.contains(probe));
        const auto expected = model.lower_bound(probe);
        const auto found = items.lower_bound(probe);
        ASSERT_EQ(found == items.end(), expected == model.end());
        if (expected != model.end())
        {
            ASSERT_EQ(*found, *expected);
        }
    }
    EXPECT_TRUE(std::ranges::equal(ListFrames(items), model));
    EXPECT_EQ(items.size(), model.size());
}

TEST(SequenceItems, InsertsWholeRanges)
{
    Items items;
    items.insertRange(3, 2);
    EXPECT_TRUE(items.empty());
    items.insertRange(-2, 2);
    items.insertRange(2, 4);
    EXPECT_EQ(ListFrames(items), (std::vector<int>{-2, -1, 0, 1, 2, 3, 4}));
    items.insertRange(INT_MIN, INT_MAX);
    EXPECT_EQ(items.size(), std::size_t(1) << 32);
}

TEST(SequenceItems, MakesSteps)
{
    EXPECT_EQ(ListFrames(Items::Steps(-3, 4, 3)), (std::vector<int>{-3, 0, 3}));
    EXPECT_EQ(ListFrames(Items::Steps(4, 3, 1)), std::vector<int>{});
    EXPECT_EQ(ListFrames(Items::Steps(INT_MIN, INT_MAX, INT_MAX)),
              (std::vector<int>{INT_MIN, -1, INT_MAX - 1}));
    for (const int step : {65'535, 65'536, 65'537})
    {
        const auto frames = ListFrames(Items::Steps(-100'000, 200'000, step));
        EXPECT_EQ(frames, (std::vector<int>{-100'000, -100'000 + step, -100'000 + 2 * step,
                                            -100'000 + 3 * step, -100'000 + 4 * step}));
    }
}

TEST(SequenceItems, JoinsAndTakesAwaySets)
{
    Items items{1, 2, 3};
    EXPECT_EQ(items.insertAll({3, 4, 5}), 2u);
    EXPECT_EQ(items.insertAll({3, 4, 5}), 0u);
    items.eraseAll({1, 4, 9});
    EXPECT_EQ(ListFrames(items), (std::vector<int>{2, 3, 5}));
}

TEST(SequenceItems, CopiesAreTheirOwn)
{
    Items items{1, 2};
    Items copy = items;
    copy.insert(3);
    EXPECT_EQ(items, (Items{1, 2}));
    items = copy;
    copy.clear();
    EXPECT_EQ(items, (Items{1, 2, 3}));

    const Items moved = std::move(items);
    EXPECT_EQ(moved, (Items{1, 2, 3}));
    items.insert(9); // NOLINT(bugprone-use-after-move): what is left behind is empty.
    EXPECT_EQ(items, Items{9});
    Items target{7};
    target = std::move(items);
    EXPECT_EQ(target, Items{9});
    EXPECT_TRUE(items.empty());
}
