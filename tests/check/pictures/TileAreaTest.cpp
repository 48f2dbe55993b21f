#include "check/pictures/TileArea.h"

#include <algorithm>
#include <string_view>

#include <gtest/gtest.h>

#include "tests/check/pictures/SampleShot.h"
#include "tests/support/Printing.h"

namespace check
{
namespace
{

using Groups = std::vector<TileGroup>;

// Rows of marks, one below the other.
std::vector<bool> Marked(std::string_view marks)
{
    std::vector<bool> isMarked;
    for (const char mark : marks)
        isMarked.push_back(mark == '#');
    return isMarked;
}

Groups Sorted(Groups groups)
{
    for (TileGroup &group : groups)
        std::ranges::sort(group);
    std::ranges::sort(groups);
    return groups;
}

TEST(TileGroups, AreOfTilesThatTouchWithASide)
{
    const struct
    {
        const char *name;
        const char *marks;
        int columns;
        Groups groups;
    } cases[] = {
        {"none", "......", 3, {}},
        {"all", "######", 3, {{0, 1, 2, 3, 4, 5}}},
        {"corners do not touch", "#.#.#.#.#", 3, {{0}, {2}, {4}, {6}, {8}}},
        {"the end of a row is not next to the beginning of the next", "..##..", 3, {{2}, {3}}},
        {"around a hole",
         "####"
         "#..#"
         "####",
         4,
         {{0, 1, 2, 3, 4, 7, 8, 9, 10, 11}}},
        {"two that wind around each other",
         "##.#"
         ".#.#"
         "...#"
         "####",
         4,
         {{0, 1, 5}, {3, 7, 11, 12, 13, 14, 15}}},
        {"one column", "##.#", 1, {{0, 1}, {3}}},
        {"one row", "##.#", 4, {{0, 1}, {3}}},
        {"no tiles", "", 3, {}},
    };
    for (const auto &one : cases)
        EXPECT_EQ(Sorted(FindGroups(Marked(one.marks), one.columns)), one.groups) << one.name;
}

TEST(TileGroups, AroundATileAreThatOfTheTile)
{
    const std::vector<bool> isMarked = Marked("##.#"
                                              ".#.#");
    for (const std::size_t tile : {0u, 1u, 5u})
        EXPECT_EQ(Sorted({GroupAround(isMarked, 4, tile)}), (Groups{{0, 1, 5}})) << tile;
    EXPECT_EQ(Sorted({GroupAround(isMarked, 4, 7)}), (Groups{{3, 7}}));
    EXPECT_EQ(GroupAround(isMarked, 4, 2), TileGroup());
}

decode::PictureMeasures Grid(int width, int height, int columns, int rows)
{
    decode::PictureMeasures measures;
    measures.width = width;
    measures.height = height;
    measures.columns = columns;
    measures.rows = rows;
    return measures;
}

TEST(PlaceOf, IsTheRectangleAroundTiles)
{
    const decode::PictureMeasures even = Grid(160, 90, 32, 18);
    using Tiles = std::vector<std::size_t>;
    EXPECT_EQ(PlaceOf(even, Tiles{0}), (PicturePlace{0, 0, 5, 5}));
    EXPECT_EQ(PlaceOf(even, Tiles{31}), (PicturePlace{155, 0, 5, 5}));
    EXPECT_EQ(PlaceOf(even, Tiles{32 * 18 - 1}), (PicturePlace{155, 85, 5, 5}));
    EXPECT_EQ(PlaceOf(even, Tiles{32 * 17}), (PicturePlace{0, 85, 5, 5}));
    EXPECT_EQ(PlaceOf(even, Tiles{32 * 4 + 9, 32 * 2 + 11}), (PicturePlace{45, 10, 15, 15}));
    EXPECT_EQ(PlaceOf(even, Tiles{0, 32 * 18 - 1}), (PicturePlace{0, 0, 160, 90}));
    EXPECT_EQ(PlaceOf(even, Tiles{}), (PicturePlace{0, 0, 160, 90}));
    EXPECT_EQ(WholeOf(even), (PicturePlace{0, 0, 160, 90}));
}

TEST(PlaceOf, CoversPicturesOfOddSizesWithoutAGap)
{
    for (const auto &[width, height, columns, rows] :
         {std::array{99, 61, 24, 15}, {7, 5, 1, 1}, {1921, 1079, 32, 18}, {17, 900, 1, 32}})
    {
        const decode::PictureMeasures measures = Grid(width, height, columns, rows);
        int x = 0;
        for (int column = 0; column < columns; ++column)
        {
            const std::size_t tile[] = {std::size_t(column)};
            const PicturePlace place = PlaceOf(measures, tile);
            EXPECT_EQ(place.x, x);
            EXPECT_GT(place.width, 0);
            x += place.width;
        }
        EXPECT_EQ(x, width);
        int y = 0;
        for (int row = 0; row < rows; ++row)
        {
            const std::size_t tile[] = {std::size_t(row * columns)};
            const PicturePlace place = PlaceOf(measures, tile);
            EXPECT_EQ(place.y, y);
            EXPECT_GT(place.height, 0);
            y += place.height;
        }
        EXPECT_EQ(y, height);
    }
}

TEST(TilesIn, AreThoseThatLieInAPlaceInAllOrInPart)
{
    decode::PictureMeasures measures;
    measures.width = 160;
    measures.height = 90;
    measures.columns = 32;
    measures.rows = 18;
    EXPECT_EQ(TilesIn(measures, {5, 0, 10, 5}), (TileGroup{1, 2}));
    EXPECT_EQ(TilesIn(measures, {9, 4, 2, 2}), (TileGroup{1, 2, 33, 34}));
    EXPECT_EQ(TilesIn(measures, {0, 0, 160, 90}).size(), 576u);
    EXPECT_EQ(TilesIn(measures, {159, 89, 1, 1}), TileGroup{575});
    EXPECT_EQ(TilesIn(measures, {0, 0, 0, 0}), TileGroup());
}

TEST(PlaceOf, IsToldInPixels)
{
    EXPECT_EQ(PlaceText({31, 50, 99, 40}), "99x40 pixels at 31,50");
}

TEST(GapBetween, IsTheLongerWayBetweenTheirRectangles)
{
    constexpr int k_columns = 10;
    const TileGroup group{22, 23, 32}; // Columns 2 and 3 of rows 2 and 3.
    EXPECT_EQ(GapBetween(group, group, k_columns), 0);
    EXPECT_EQ(GapBetween(group, {24}, k_columns), 0) << "side by side";
    EXPECT_EQ(GapBetween(group, {33}, k_columns), 0) << "within the rectangle";
    EXPECT_EQ(GapBetween(group, {27}, k_columns), 3);
    EXPECT_EQ(GapBetween({27}, group, k_columns), 3);
    EXPECT_EQ(GapBetween(group, {20}, k_columns), 1);
    EXPECT_EQ(GapBetween(group, {72}, k_columns), 3);
    EXPECT_EQ(GapBetween(group, {2}, k_columns), 1);
    EXPECT_EQ(GapBetween(group, {87, 88}, k_columns), 4) << "across";
}

} // namespace
} // namespace check
