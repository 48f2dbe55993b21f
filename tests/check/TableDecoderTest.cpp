#include "check/TableDecoder.h"

#include <fstream>
#include <iterator>
#include <set>

#include <gtest/gtest.h>

#include "tests/check/SampleTable.h"
#include "tests/support/Printing.h"
#include "tests/support/TempFolder.h"

namespace check
{
namespace
{

using decode::ImageFinding;
using decode::ImageState;

TEST(TableDecoder, GivesAFrameThatWasOkTheStateOfItsImage)
{
    CheckTable table = SampleTable("/r/%d", std::vector<CheckState>(5, CheckState::Ok));
    AddFindings(table, std::vector<ImageFinding>{{ImageState::Undecodable, "cut"},
                                                 {ImageState::OddImage, "2x1 among 1x1"},
                                                 {ImageState::Nan, "1 NaN"},
                                                 {ImageState::Blank, "all pixels are 0"},
                                                 {ImageState::Ok, ""}});
    EXPECT_EQ(table.states,
              (std::vector<CheckState>{CheckState::Undecodable, CheckState::OddImage,
                                       CheckState::Nan, CheckState::Blank, CheckState::Ok}));
    EXPECT_EQ(table.details.at(0), "cut");
    EXPECT_EQ(table.details.at(1), "2x1 among 1x1");
    EXPECT_EQ(table.details.count(4), 0u);
}

TEST(TableDecoder, LeavesABadFrameItsVerdictAndTellsWhatWasFound)
{
    const std::vector<CheckState> states{CheckState::Missing, CheckState::TooSmall,
                                         CheckState::Outlier};
    CheckTable table = SampleTable("/r/%d", states);
    AddFindings(table, std::vector<ImageFinding>{
                           {}, {ImageState::Undecodable, "empty"}, {ImageState::Nan, "1 NaN"}});
    EXPECT_EQ(table.states, states);
    EXPECT_EQ(table.details, (std::map<std::size_t, String>{{1, "empty"}, {2, "1 NaN"}}));
}

TEST(TableDecoder, TakesWhatCouldNotBeLookedAtForNoState)
{
    const std::vector<CheckState> states{CheckState::Ok, CheckState::TooSmall};
    CheckTable table = SampleTable("/r/%d", states);
    AddFindings(table, std::vector<ImageFinding>{{ImageState::Ok, "", "no memory"},
                                                 {ImageState::Ok, "", "no time"}});
    EXPECT_EQ(table.states, states);
    EXPECT_TRUE(table.details.empty());
    EXPECT_EQ(table.troubles, (std::map<std::size_t, String>{{0, "no memory"}, {1, "no time"}}));
}

TEST(TableDecoder, KeepsWhatIsNoFaultInTheDetailAlone)
{
    CheckTable table = SampleTable("/r/%d", {CheckState::Ok});
    AddFindings(table, std::vector<ImageFinding>{{ImageState::Ok, "holds png"}});
    EXPECT_EQ(table.states[0], CheckState::Ok);
    EXPECT_EQ(table.details.at(0), "holds png");
}

std::set<int> Children()
{
    std::ifstream file("/proc/thread-self/children");
    return {std::istream_iterator<int>(file), {}};
}

TEST(TableDecoder, HasTheImagesOfAllTablesReadByTheDecodersThatWereStartedForTheFirst)
{
    constexpr decode::DecodeLimits k_limits{.jobs = 2};
    const TempFolder folder;
    TableDecoder decoder;
    std::set<int> first;
    for (const std::string name : {"a", "b", "c"})
    {
        for (int frame = 1; frame <= 3; ++frame)
            folder.MakeFile(name + std::to_string(frame) + ".pgm", "P5\n2 1\n255\n\1\2");
        CheckTable table =
            SampleTable((folder / (name + "%d.pgm")).Text(), std::vector(3, CheckState::Ok));
        decoder.Announce(3, k_limits);
        if (first.empty())
            first = Children();
        EXPECT_EQ(first.size(), 2u);
        decoder.Decode(table, 2, k_limits, CheckDepth::Images, [](std::size_t, std::size_t) {});
        EXPECT_TRUE(table.troubles.empty());
        EXPECT_EQ(table.states, std::vector(3, CheckState::Ok));
        EXPECT_EQ(Children(), first);
    }
    decoder.Rest();
    EXPECT_EQ(Children(), std::set<int>());
    decoder.Announce(3, k_limits); // What a further pass has to read is hardly ever much.
    EXPECT_EQ(Children(), std::set<int>());
}

} // namespace
} // namespace check
