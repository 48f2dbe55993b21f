#include "decode/StripLayout.h"

#include <ostream>

#include <gtest/gtest.h>

using namespace decode;

namespace
{

constexpr StripPlace k_unmarked{};

} // namespace

TEST(StripLayout, ShowsAPlaceWithItsSurroundings)
{
    const struct
    {
        const char *what;
        StripPlace place;
        StripPlace shown;
        StripPlace marked;
    } cases[] = {
        {"half of its size on each side",
         {400, 300, 80, 60},
         {360, 270, 160, 120},
         {120, 90, 240, 180}},
        {"32 pixels at least", {500, 500, 1, 1}, {485, 485, 32, 32}, {225, 225, 15, 15}},
        {"all within the picture", {0, 1070, 10, 10}, {0, 1048, 32, 32}, {0, 330, 150, 150}},
        {"a band is seen with what is above and below",
         {0, 500, 1920, 40},
         {0, 200, 1920, 640},
         {0, 75, 480, 10}},
        {"a column, too", {1900, 0, 20, 1080}, {1560, 0, 360, 1080}, {151, 0, 9, 480}},
        {"what is beyond the picture is no part of it",
         {1910, 0, 1 << 20, 10},
         {1888, 0, 32, 32},
         {330, 0, 150, 150}},
        {"the whole picture has no frame", {0, 0, 1920, 1080}, {0, 0, 1920, 1080}, k_unmarked},
        {"and no more is whole than that",
         {0, 0, 1 << 20, 1 << 20},
         {0, 0, 1920, 1080},
         k_unmarked},
        {"but what fills all but a row has",
         {0, 0, 1920, 1079},
         {0, 0, 1920, 1080},
         {0, 0, 480, 270}},
    };
    for (const auto &[what, place, shown, marked] : cases)
    {
        const auto layout = LayOutStrip(place, {1920, 1080}, 480);
        ASSERT_TRUE(layout) << what;
        EXPECT_EQ(layout->shown, shown) << what;
        EXPECT_EQ(layout->marked, marked) << what;
    }
}

TEST(StripLayout, EnlargesByWholePixelsAndReducesByMeans)
{
    const struct
    {
        StripImage image;
        StripPlace place;
        int side;
        int cellsAcross;
        int cellsDown;
        int cellWidth;
        int cellHeight;
    } cases[] = {
        {{1920, 1080}, {500, 500, 1, 1}, 480, 32, 32, 15, 15},
        {{1920, 1080}, {500, 500, 100, 100}, 480, 200, 200, 2, 2},
        {{1920, 1080}, {500, 500, 120, 120}, 480, 240, 240, 2, 2},
        {{1920, 1080}, {500, 500, 121, 121}, 480, 242, 242, 1, 1},
        {{1920, 1080}, {500, 300, 241, 241}, 480, 480, 480, 1, 1},
        {{1920, 1080}, {0, 0, 1920, 1080}, 480, 480, 270, 1, 1},
        {{1080, 1920}, {0, 0, 1080, 1920}, 480, 270, 480, 1, 1},
        {{5, 3}, {0, 0, 5, 3}, 480, 5, 3, 96, 96},
        {{1, 1}, {0, 0, 1, 1}, 32, 1, 1, 32, 32},
        {{100000, 1}, {0, 0, 100000, 1}, 480, 480, 1, 1, 1},
        // Wide pixels, and high ones.
        {{1920, 1080, 2.0}, {500, 500, 1, 1}, 480, 32, 32, 14, 7},
        {{1920, 1080, 0.5}, {500, 500, 1, 1}, 480, 32, 32, 7, 14},
        {{1920, 1080, 2.0}, {0, 0, 1920, 1080}, 480, 480, 135, 1, 1},
        {{1920, 1080, 0.5}, {0, 0, 1920, 1080}, 480, 427, 480, 1, 1},
    };
    for (const auto &[image, place, side, cellsAcross, cellsDown, cellWidth, cellHeight] : cases)
    {
        const auto layout = LayOutStrip(place, image, side);
        const std::string what = std::to_string(place.width) + " of " + std::to_string(image.width);
        ASSERT_TRUE(layout) << what;
        EXPECT_EQ(layout->cellsAcross, cellsAcross) << what;
        EXPECT_EQ(layout->cellsDown, cellsDown) << what;
        EXPECT_EQ(layout->cellWidth, cellWidth) << what;
        EXPECT_EQ(layout->cellHeight, cellHeight) << what;
    }
}

TEST(StripLayout, KeepsAllWithinItsBounds)
{
    const int numbers[] = {1, 2, 31, 33, 479, 1000, 131072, 1 << 20};
    const int begins[] = {0, 1, 30, 500, 131071, 1 << 20};
    for (const int imageWidth : {1, 7, 640, 131072})
        for (const int imageHeight : {1, 9, 480, 131072})
            for (const int width : numbers)
                for (const int height : numbers)
                    for (const int x : begins)
                        for (const double aspect : {1.0, 16.0, 0.0625, 1.37})
                        {
                            const int y = begins[std::size_t(x + width) % 6];
                            const auto layout = LayOutStrip({x, y, width, height},
                                                            {imageWidth, imageHeight, aspect}, 480);
                            ASSERT_EQ(layout.has_value(), x < imageWidth && y < imageHeight);
                            if (!layout)
                                continue;
                            const auto &[shown, marked, across, down, cellWidth, cellHeight] =
                                *layout;
                            ASSERT_TRUE(shown.x >= 0 && shown.width >= 1 &&
                                        shown.x + shown.width <= imageWidth);
                            ASSERT_TRUE(shown.y >= 0 && shown.height >= 1 &&
                                        shown.y + shown.height <= imageHeight);
                            ASSERT_TRUE(across >= 1 && across <= shown.width && cellWidth >= 1 &&
                                        layout->Width() <= 480);
                            ASSERT_TRUE(down >= 1 && down <= shown.height && cellHeight >= 1 &&
                                        layout->Height() <= 480);
                            ASSERT_TRUE(marked.x >= 0 &&
                                        marked.x + marked.width <= layout->Width());
                            ASSERT_TRUE(marked.y >= 0 &&
                                        marked.y + marked.height <= layout->Height());
                        }
}
