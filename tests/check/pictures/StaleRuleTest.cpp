#include "check/pictures/StaleRule.h"

#include <gtest/gtest.h>

#include "tests/check/pictures/SampleShot.h"

namespace check
{
namespace
{

constexpr std::size_t k_stale = 20;
constexpr std::size_t k_stale_age = 5;

// Of tiles at the rim of such a place, what is beside them is another frame's: those within are
// told. A pan with places of each given frame as they were five frames before.
PictureFindings FindStaleIn(const std::map<std::size_t, PicturePlace> &stale)
{
    SampleShot shot = PanningShot(40);
    const SampleShot good = shot;
    for (const auto &[frame, place] : stale)
        CopyPlace(*shot[frame], *good[frame - k_stale_age], place);
    const MeasuredShot measured(shot);
    return FindStaleBlocks(PictureSequence(measured.Frames()));
}

TEST(StaleBlocks, AreRectanglesOfAnOlderFrame)
{
    const PictureFindings found = FindStaleIn({{k_stale, {50, 30, 25, 20}}});
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found.begin()->first, k_stale);
    EXPECT_EQ(found.begin()->second.place, (PicturePlace{55, 35, 15, 10}));
    EXPECT_EQ(FindStaleIn({}), PictureFindings());
}

TEST(StaleBlocks, AreNoStripsOfOneTile)
{
    EXPECT_EQ(FindStaleIn({{k_stale, {50, 10, 15, 70}}}), PictureFindings());
    EXPECT_EQ(FindStaleIn({{k_stale, {10, 50, 140, 15}}}), PictureFindings());
    EXPECT_EQ(FindStaleIn({{k_stale, {50, 10, 20, 70}}}).size(), 1u);
}

TEST(StaleBlocks, AreNotSoInTwoFramesInSuccession)
{
    // Wherever it is: what looks the same every few frames goes by.
    EXPECT_EQ(FindStaleIn({{k_stale, {50, 30, 25, 20}}, {k_stale + 1, {90, 50, 25, 20}}}),
              PictureFindings());
    EXPECT_EQ(FindStaleIn({{k_stale, {50, 30, 25, 20}}, {k_stale + 4, {90, 50, 25, 20}}}).size(),
              2u);
}

TEST(StaleBlocks, AreNotMostOfThePicture)
{
    EXPECT_EQ(FindStaleIn({{k_stale, {0, 0, 160, 60}}}), PictureFindings());
}

} // namespace
} // namespace check
