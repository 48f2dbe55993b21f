#include "check/TableDecoder.h"

#include <gtest/gtest.h>

#include "tests/check/SampleTable.h"
#include "tests/support/Printing.h"

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

} // namespace
} // namespace check
