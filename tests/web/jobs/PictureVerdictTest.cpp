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
        for (int frame = 1; frame <= k_frames; ++frame)
            Write(frame, check::MovingPicture(frame));
    }

    static constexpr int k_frames = 95;

    void Write(int frame, const std::string &content)
    {
        m_folder.MakeFile("f." + std::to_string(frame) + ".ppm", content);
    }

    json Judge(int frame, const web::PictureVerdictLimits &limits = {})
    {
        const auto job = FarmJob(m_folder.Folder().Text(), "1-" + std::to_string(k_frames));
        job->SetParameter(corvan::p_ImageFormat, m_folder.Folder().Text() + "/f.%d.ppm");
        const web::SnapshotPointer seen =
            web::LookAtFramesOf(*web::ListFramesOf(*job, 0, 0), analysis::ScanRules());
        return json::parse(PictureVerdictJson(*m_decoder, *seen, *seen->FindRow(frame), 5, limits,
                                              [this] { ++m_read; }));
    }

    TempFolder m_folder;
    std::optional<check::TableDecoder> m_decoder{std::in_place};
    int m_read = 0;
};

TEST_F(PictureVerdictTest, HoldsAFrameAgainstFortyOnEachSide)
{
    EXPECT_EQ(Judge(45), json({{"state", "ok"},
                               {"detail", ""},
                               {"place", nullptr},
                               {"range", "5-85"},
                               {"notLookedAt", ""},
                               {"trouble", ""}}));
    EXPECT_EQ(m_read, 81);
    EXPECT_EQ(Judge(1)["range"], "1-41");
    EXPECT_EQ(Judge(95)["range"], "55-95");
}

TEST_F(PictureVerdictTest, ClearsWhatTheWholeShotClears)
{
    // A strobe: one flash is none, and of three each has others within the reach of the rules.
    const auto flash = [](int frame) { return check::MovingPicture(frame, 60); };
    Write(47, flash(47));
    EXPECT_EQ(Judge(47)["state"], "pop");
    for (const int frame : {21, 73})
        Write(frame, flash(frame));
    EXPECT_EQ(Judge(47)["state"], "ok");
    web::PictureVerdictLimits limits;
    limits.reach = 25;
    EXPECT_EQ(Judge(47, limits)["state"], "pop");
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

TEST_F(PictureVerdictTest, ReadsAgainWhatIsToBeForgotten)
{
    m_decoder.emplace(50);
    Judge(50);
    Judge(1);
    m_read = 0;
    Judge(1);
    EXPECT_EQ(m_read, 0) << "what was asked for last stays";
    Judge(50);
    EXPECT_EQ(m_read, 40) << "of 81, 32 were among those, and 9 more stay";
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
    EXPECT_EQ(other["range"], "1-17,19-60");
    EXPECT_EQ(other["trouble"], "");

    const json itself = Judge(18, limits);
    EXPECT_EQ(itself["notLookedAt"], "");
    EXPECT_EQ(itself["range"], "1-17,19-58");
    EXPECT_NE(itself["trouble"], "");
    EXPECT_EQ(itself["state"], "outlier") << "that of its size";
}

TEST_F(PictureVerdictTest, GivesUpWhereTheTimeIsOver)
{
    web::PictureVerdictLimits limits;
    limits.all = std::chrono::milliseconds(0);
    const auto reason = ostrel::Attempt([&] { Judge(20, limits); });
    ASSERT_TRUE(reason);
    EXPECT_EQ(*reason, "after 0 s 1 of 60 frames around are read; asked again, it goes on");
    m_read = 0;
    Judge(20);
    EXPECT_EQ(m_read, 59) << "what was read is remembered";
}

} // namespace
