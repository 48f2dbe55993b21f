#include "decode/StripsOfCrew.h"

#include <algorithm>
#include <map>

#include <gtest/gtest.h>

#include "tests/support/Thrown.h"

namespace decode
{
namespace
{

constexpr DecodeLimits k_strip_limits{2, std::chrono::seconds(1), 64};

TEST(StripsOfCrew, AreMadeWithoutANeighbourThatTheDecoderDoesNotOutlive)
{
    const String crash = "its decoder ended by signal 11 (Segmentation fault)";
    const String late = "took longer than 1 s";
    const struct
    {
        const char *frame;
        const char *before;
        const char *after;
        std::vector<Path> without;
        String why;    ///< Without these.
        String failed; ///< Why there is no strip.
    } cases[] = {
        {"/r/a", "/r/b", "/r/c", {}, "", ""},
        {"/r/a", "", "", {}, "", ""},
        {"/r/a", "/r/crash", "/r/c", {"/r/crash"}, crash, ""},
        {"/r/a", "/r/b", "/r/crash", {"/r/crash"}, crash, ""},
        {"/r/a", "", "/r/crash", {"/r/crash"}, crash, ""},
        {"/r/a", "/r/hang", "", {"/r/hang"}, late, ""},
        {"/r/a", "/r/hang", "/r/c", {"/r/hang"}, late, ""},
        {"/r/a", "/r/crash", "/r/hang", {"/r/crash", "/r/hang"}, crash, ""},
        {"/r/crash", "/r/b", "/r/c", {}, "", crash},
        {"/r/crash", "/r/crash", "", {}, "", crash},
        {"/r/hang", "", "", {}, "", late},
        {"/r/refused", "/r/b", "/r/c", {}, "", "nothing to see"},
    };
    std::vector<DecodeRequest> requests;
    for (const auto &row : cases)
        requests.emplace_back(DecodeRequest{row.frame}).strip =
            StripWish{{0, 0, 1, 1}, row.before, row.after};

    std::map<std::size_t, MadeStrip> made;
    DecodeCrew crew(WILD_DECODER_PROGRAM, k_strip_limits);
    MakeStrips(crew, requests,
               [&](std::size_t index, const MadeStrip &strip)
               { EXPECT_TRUE(made.emplace(index, strip).second) << index << " twice"; });
    ASSERT_EQ(made.size(), std::size(cases));
    for (const auto &[index, strip] : made)
    {
        const auto &[frame, before, after, without, why, failed] = cases[index];
        EXPECT_EQ(strip.without, without) << index;
        EXPECT_EQ(strip.why, why) << index;
        EXPECT_EQ(strip.picture.reason + strip.picture.trouble, failed) << index;
        for (const char *const neighbour : {before, after})
        {
            const bool isIn = *neighbour && strip.picture.jpeg.find(neighbour) != std::string::npos;
            const bool isLeftOut = std::ranges::find(without, Path(neighbour)) != without.end();
            EXPECT_EQ(isIn, *neighbour && failed.empty() && !isLeftOut) << index << neighbour;
        }
    }
}

TEST(StripsOfCrew, TellThatThereIsNoDecoder)
{
    std::vector<DecodeRequest> requests{DecodeRequest{"/r/a"}};
    requests[0].strip = StripWish{{0, 0, 1, 1}};
    DecodeCrew crew("/nowhere/decoder", k_strip_limits);
    EXPECT_EQ(Thrown([&] { MakeStrips(crew, requests, [](std::size_t, const MadeStrip &) {}); }),
              "cannot start /nowhere/decoder: No such file or directory");
}

} // namespace
} // namespace decode
