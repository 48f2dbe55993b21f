#include "web/jobs/FrameLook.h"

#include <fmt/format.h>
#include <fstream>
#include <nlohmann/json.hpp>
#include <numeric>

#include <gtest/gtest.h>

#include "tests/support/TempFolder.h"
#include "tests/web/jobs/FarmSample.h"
#include "web/door/HttpError.h"

using nlohmann::json;
using ostrel::String;
using web::FramePart;
using web::SnapshotPointer;

namespace
{

class FrameLookTest : public testing::Test
{
protected:
    static constexpr int k_frames = 700;

    FrameLookTest()
    {
        for (int frame = 1; frame <= k_frames; ++frame)
            Write(frame, 2000);
    }

    void Write(int frame, std::size_t bytes)
    {
        // There are many, and none need outlive a crash.
        std::ofstream((m_folder / fmt::format("f.{:04}.raw", frame)).Text().c_str())
            << std::string(bytes, 'x');
    }

    SnapshotPointer List(const String &rule = {}) const
    {
        const auto job = web::FarmJob(m_folder.Folder().Text(), "1-" + std::to_string(k_frames));
        if (!rule.empty())
            job->SetParameter(corvan::p_SizeRule, rule);
        return web::ListFramesOf(*job, 0, 0);
    }

    // Looks, and keeps all that is told on the way.
    SnapshotPointer Look(const SnapshotPointer &before)
    {
        m_parts.clear();
        web::LookCourse course;
        course.getsOn = [this] { ++m_gotOn; };
        course.tell = [this](FramePart part) { m_parts.push_back(std::move(part)); };
        course.between = std::chrono::milliseconds(0);
        return web::LookAtFramesOf(*before, {}, course);
    }

    static std::string BytesOf(const std::string &sheet)
    {
        return sheet.substr(sheet.find('\n') + 1);
    }

    TempFolder m_folder;
    std::vector<FramePart> m_parts;
    int m_gotOn = 0;
};

} // namespace

TEST_F(FrameLookTest, TellsTheFirstFramesBeforeTheLastAreLookedAt)
{
    Write(7, 10);
    const SnapshotPointer listed = List();
    const SnapshotPointer seen = Look(listed);
    ASSERT_FALSE(m_parts.empty());
    EXPECT_GT(m_gotOn, 1);
    const json changes = json::parse(m_parts.front().changes);
    EXPECT_EQ(changes["too-small"], "7");
    EXPECT_TRUE(changes["ok"].get<std::string>().starts_with("1-6,8-")) << changes;

    const std::string bytes = BytesOf(*m_parts.front().sheet);
    ASSERT_EQ(bytes.size(), std::size_t(k_frames));
    const std::string whole = BytesOf(*seen->sheet);
    const std::size_t told = bytes.find('\0');
    ASSERT_NE(told, std::string::npos);
    EXPECT_EQ(bytes.substr(0, told), whole.substr(0, told)) << "as at the end";
    EXPECT_EQ(bytes.substr(told), std::string(k_frames - told, '\0')) << "nobody was there yet";
    const json counts = json::parse(m_parts.front().counts);
    EXPECT_EQ(counts["ok"].get<std::size_t>() + 1, told);
    const json head =
        json::parse(m_parts.front().sheet->substr(0, m_parts.front().sheet->find('\n')));
    EXPECT_EQ(head["counts"], counts);
    EXPECT_EQ(head["pass"], 0) << "it has not ended";
}

TEST_F(FrameLookTest, TellsInPartsWhatIsNotAsItWasAndAtTheEndAllOfIt)
{
    const SnapshotPointer first = Look(List());
    Write(3, 10);
    Write(5, 2001);
    const SnapshotPointer second = Look(first);
    ASSERT_FALSE(m_parts.empty());
    EXPECT_EQ(m_parts.front().changes, R"({"ok":"5","too-small":"3"})");
    EXPECT_EQ(m_parts.front().counts, R"({"ok":699,"too-small":1})");
    EXPECT_EQ(web::ChangesJson(*first, *second), m_parts.front().changes);
    for (std::size_t i = 1; i < m_parts.size(); ++i)
        EXPECT_EQ(m_parts[i].changes, "{}") << "once is enough";
}

// The neighbours of the last ones that were looked at are not known yet.
TEST_F(FrameLookTest, TellsNothingThatTheRestOfThePassTakesBack)
{
    for (int frame = 1; frame <= k_frames; ++frame)
        Write(frame, frame % 2 == 0 ? 2000 : 2600); // The mean of all is between them.
    for (const char *rule : {"", "robust"})
    {
        const SnapshotPointer seen = Look(List(rule));
        ASSERT_FALSE(m_parts.empty());
        const std::string whole = BytesOf(*seen->sheet);
        for (const FramePart &part : m_parts)
        {
            const std::string bytes = BytesOf(*part.sheet);
            for (std::size_t row = 0; row < bytes.size(); ++row)
            {
                if (bytes[row] != '\0')
                {
                    ASSERT_EQ(bytes[row], whole[row]) << rule << " row " << row;
                }
            }
        }
    }
}

TEST_F(FrameLookTest, IsToldInNoPartsWhereItIsQuick)
{
    int told = 0;
    web::LookCourse course;
    course.tell = [&told](const FramePart &) { ++told; };
    course.between = std::chrono::hours(1);
    web::LookAtFramesOf(*List(), {}, course);
    EXPECT_EQ(told, 0);
}

namespace
{

// Sizes of frames of which every n-th is missing, in columns.
json SizesWithMissing(int frames, int every, std::size_t columns)
{
    const auto listed =
        web::ListFramesOf(*web::FarmJob("/no/such/folder", "1-" + std::to_string(frames)), 0, 0);
    web::FrameSnapshot snapshot(listed->table);
    for (auto &frame : snapshot.table.frames)
    {
        frame.exists = frame.frame % every != 0;
        frame.size = frame.exists ? (frame.frame % 1000 == 1 ? 10 : 2000) : 0;
        snapshot.table.states.push_back(!frame.exists     ? check::CheckState::Missing
                                        : frame.size < 20 ? check::CheckState::TooSmall
                                                          : check::CheckState::Ok);
    }
    return json::parse(web::SizesJson(snapshot, {}, 1, frames, columns));
}

} // namespace

TEST(Sizes, KeepEveryBadFrameWhereTheyAreFew)
{
    const json bad = SizesWithMissing(200'000, 100, 50)["bad"];
    EXPECT_EQ(bad["frame"].size(), 2200u);
    EXPECT_EQ(bad["total"], 2200);
    EXPECT_EQ(bad["count"], json(std::vector<int>(2200, 1)));
}

TEST(Sizes, KeepTheWorstBadFrameOfEachColumnWhereTheyAreMany)
{
    const json bad = SizesWithMissing(200'000, 3, 50)["bad"];
    EXPECT_EQ(bad["frame"].size(), 50u);
    EXPECT_EQ(bad["state"], json(std::vector<int>(50, 2))) << "missing is worse than too small";
    const std::vector<int> counts = bad["count"];
    EXPECT_EQ(std::accumulate(counts.begin(), counts.end(), 0), bad["total"].get<int>());
    EXPECT_GT(bad["total"].get<int>(), 66'000);
}

TEST(Formats, AreCountedAsPeopleDo)
{
    const auto job = web::FarmJob("/no/such/folder", "1-3");
    EXPECT_EQ(web::NoSuchFormat(*job, 1), "the job 'tower' has 1 format, the first is 0");
    EXPECT_EQ(web::NoSuchFormat(*job, 2), "the job 'tower' has 2 formats, the first is 0");
}
