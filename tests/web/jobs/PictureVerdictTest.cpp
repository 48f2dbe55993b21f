#include "web/jobs/PictureVerdict.h"

#include <filesystem>
#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include "corvan/Parameters.h"
#include "ostrel/Attempt.h"
#include "tests/check/MovingPicture.h"
#include "tests/support/TempFolder.h"
#include "tests/web/jobs/FarmSample.h"
#include "web/jobs/FrameLook.h"

using nlohmann::json;
using web::FarmJob;

namespace
{

class PictureVerdictTest : public testing::Test
{
protected:
    PictureVerdictTest()
    {
        for (int frame = 1; frame <= 40; ++frame)
            Write(frame, check::MovingPicture(frame));
    }

    void Write(int frame, const std::string &content)
    {
        m_folder.MakeFile("f." + std::to_string(frame) + ".ppm", content);
    }

    json Judge(int frame, const web::PictureVerdictLimits &limits = {})
    {
        const auto job = FarmJob(m_folder.Folder().Text(), "1-40");
        job->SetParameter(corvan::p_ImageFormat, m_folder.Folder().Text() + "/f.%d.ppm");
        const web::SnapshotPointer seen =
            web::LookAtFramesOf(*web::ListFramesOf(*job, 0, 0), analysis::ScanRules());
        return json::parse(PictureVerdictJson(m_decoder, *seen, *seen->FindRow(frame), 5, limits,
                                              [this] { ++m_read; }));
    }

    TempFolder m_folder;
    check::TableDecoder m_decoder;
    int m_read = 0;
};

TEST_F(PictureVerdictTest, HoldsAFrameAgainstEighteenOnEachSide)
{
    EXPECT_EQ(Judge(20), json({{"state", "ok"},
                               {"detail", ""},
                               {"place", nullptr},
                               {"range", "2-38"},
                               {"notLookedAt", ""},
                               {"trouble", ""}}));
    EXPECT_EQ(m_read, 37);
    EXPECT_EQ(Judge(1)["range"], "1-19");
    EXPECT_EQ(Judge(40)["range"], "22-40");
}

TEST_F(PictureVerdictTest, ReadsNoFileAgainThatIsAsItWas)
{
    Judge(20);
    m_read = 0;
    Judge(21);
    EXPECT_EQ(m_read, 1);
    Write(15, check::MovingPicture(15) + " ");
    m_read = 0;
    Judge(21);
    EXPECT_EQ(m_read, 1) << "the one that was written again";
}

TEST_F(PictureVerdictTest, TellsWhatThePictureShows)
{
    Write(20, check::MovingPicture(19));
    const json told = Judge(20);
    EXPECT_EQ(told["state"], "duplicate");
    EXPECT_NE(told["detail"], "");
    EXPECT_EQ(Judge(26)["state"], "ok");
}

TEST_F(PictureVerdictTest, LeavesWhatItsSizeHasSaid)
{
    Write(20, check::MovingPicture(20).substr(0, 100));
    const json told = Judge(20);
    EXPECT_EQ(told["state"], "too-small");
    EXPECT_NE(told["detail"], "");
}

TEST_F(PictureVerdictTest, SaysWhatCouldNotBeLookedAt)
{
    // Ten gigabytes of nothing are more than it may take.
    Write(18, "P6\n60000 60000\n255\n");
    std::filesystem::resize_file((m_folder / "f.18.ppm").Text().c_str(), 10'800'000'018);
    web::PictureVerdictLimits limits;
    limits.decode.time = std::chrono::seconds(1);
    const json other = Judge(20, limits);
    EXPECT_EQ(other["notLookedAt"], "18");
    EXPECT_EQ(other["range"], "2-17,19-38");
    EXPECT_EQ(other["trouble"], "");

    const json itself = Judge(18, limits);
    EXPECT_EQ(itself["notLookedAt"], "");
    EXPECT_EQ(itself["range"], "1-17,19-36");
    EXPECT_NE(itself["trouble"], "");
    EXPECT_EQ(itself["state"], "outlier") << "that of its size";
}

TEST_F(PictureVerdictTest, GivesUpWhereTheTimeIsOver)
{
    web::PictureVerdictLimits limits;
    limits.all = std::chrono::milliseconds(0);
    const auto reason = ostrel::Attempt([&] { Judge(20, limits); });
    ASSERT_TRUE(reason);
    EXPECT_EQ(*reason, "reading the frames around takes longer than 0 s: 1 of 37 are read; ask "
                       "again to go on");
    m_read = 0;
    Judge(20);
    EXPECT_EQ(m_read, 36) << "what was read is remembered";
}

} // namespace
