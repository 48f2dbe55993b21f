#include "wxcorvan/WindowPlace.h"

#include <gtest/gtest.h>

using namespace wxcorvan;
using ostrel::IniFile;

namespace
{

std::optional<wxRect> LoadFrom(const char *text)
{
    IniFile options;
    EXPECT_TRUE(options.Parse(text, nullptr)) << text;
    return LoadPlace(options, "Window");
}

} // namespace

TEST(WindowPlace, ReadsFourNumbersAndNothingElse)
{
    const struct
    {
        const char *text;
        std::optional<wxRect> place;
    } cases[] = {
        {"[Window]\nX=10\nY=20\nWidth=600\nHeight=400\n", wxRect(10, 20, 600, 400)},
        {"[Window]\nX=-30\nY=0\nWidth=1\nHeight=1\n", wxRect(-30, 0, 1, 1)},
        {"", std::nullopt},
        {"[Window]\nX=10\nY=20\nWidth=600\n", std::nullopt},
        {"[Window]\nX=10\nY=20\nWidth=0\nHeight=400\n", std::nullopt},
        {"[Window]\nX=10\nY=20\nWidth=-5\nHeight=400\n", std::nullopt},
        {"[Window]\nX=10\nY=20\nWidth=wide\nHeight=400\n", std::nullopt},
        {"[Window]\nX=10\nY=20\nWidth=1e9\nHeight=400\n", std::nullopt},
        {"[Window]\nX=10\nY=20\nWidth=2000000000\nHeight=400\n", std::nullopt},
        {"[Window]\nX=2000000000\nY=20\nWidth=600\nHeight=400\n", std::nullopt},
    };

    for (const auto &[text, place] : cases)
        EXPECT_EQ(LoadFrom(text), place) << text;
}

TEST(WindowPlace, ComesBackAsItWasSaved)
{
    IniFile options;
    SavePlace(options, "Window", {-7, 8, 900, 500});
    EXPECT_EQ(LoadPlace(options, "Window"), wxRect(-7, 8, 900, 500));
}

TEST(WindowPlace, LiesOnAScreen)
{
    const std::vector<wxRect> two = {{0, 0, 1000, 800}, {1000, 0, 2000, 1000}};
    const struct
    {
        const char *what;
        wxRect place;
        wxRect moved;
    } cases[] = {
        {"within the first", {10, 20, 600, 400}, {10, 20, 600, 400}},
        {"within the second", {1500, 20, 600, 400}, {1500, 20, 600, 400}},
        {"over the right edge", {2800, 20, 600, 400}, {2400, 20, 600, 400}},
        {"over the top", {10, -100, 600, 400}, {10, 0, 600, 400}},
        {"on a screen that is gone", {5000, 5000, 600, 400}, {400, 400, 600, 400}},
        {"left of all", {-3000, 10, 600, 400}, {0, 10, 600, 400}},
        {"mostly on the second", {900, 10, 600, 400}, {1000, 10, 600, 400}},
        {"with a few pixels in view", {2995, 995, 600, 400}, {400, 400, 600, 400}},
        {"larger than the screen", {0, 0, 5000, 5000}, {1000, 0, 2000, 1000}},
    };

    for (const auto &[what, place, moved] : cases)
        EXPECT_EQ(PlaceOnScreen(place, two), moved) << what;
    EXPECT_EQ(PlaceOnScreen({5000, 5000, 600, 400}, {}), wxRect(5000, 5000, 600, 400));
}
