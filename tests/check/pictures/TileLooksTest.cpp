#include "check/pictures/TileLooks.h"

#include <gtest/gtest.h>

namespace check
{
namespace
{

TEST(LikenessOf, IsThatOfTheDirectionsWhateverTheSizes)
{
    const TileLook one{1, -2, 0, 0.5f, 3};
    const TileLook twice{2, -4, 0, 1, 6};
    const TileLook against{-1, 2, 0, -0.5f, -3};
    const TileLook across{0, 0, 7, 0, 0};
    EXPECT_NEAR(LikenessOf(one, one), 1, 1e-5);
    EXPECT_NEAR(LikenessOf(one, twice), 1, 1e-5);
    EXPECT_NEAR(LikenessOf(one, against), -1, 1e-5);
    EXPECT_EQ(LikenessOf(one, across), 0);
    EXPECT_NEAR(LikenessOf({1, 0, 0, 0, 0}, {1, 1, 0, 0, 0}), 0.7071, 1e-4);
    EXPECT_EQ(LikenessOf(one, {}), 0);
    EXPECT_EQ(LikenessOf({}, {}), 0);
}

} // namespace
} // namespace check
