#include "check/AnswerLook.h"

#include <filesystem>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/check/MovingPicture.h"
#include "tests/support/TempFolder.h"

namespace check
{
namespace
{

using Depth = LookRequest::Depth;
using Items = corvan::SequenceDistributor::Items;

class AnswerLookTest : public testing::Test
{
protected:
    AnswerLookTest()
    {
        for (int frame = 1; frame <= 10; ++frame)
            Write(frame, 1000);
        m_request.formats = {(m_folder / "r/f.%d").Text()};
        m_request.input.userRange = "1-10";
        m_request.depth = Depth::Sizes;
        m_request.wereSeen = true;
    }

    void Write(int frame, std::size_t size) const
    {
        m_folder.MakeFile("r/f." + std::to_string(frame), std::string(size, 'x'));
    }
    void Remove(int frame) const
    {
        std::filesystem::remove((m_folder / ("r/f." + std::to_string(frame))).Text().c_str());
    }

    TempFolder m_folder;
    LookRequest m_request;
};

TEST_F(AnswerLookTest, IsTheVerdictOfTheWindow)
{
    Remove(3);
    Write(5, 10);
    Write(8, 700);
    const LookAnswer answer = AnswerLook(m_request);
    EXPECT_EQ(answer.trouble, "");
    EXPECT_TRUE(answer.isJudged);
    EXPECT_EQ(answer.counts, "ok 7, missing 1, too-small 1, outlier 1");
    EXPECT_EQ(AllOf(answer.bad), (Items{3, 5, 8}));
    EXPECT_FALSE(answer.areTooMany);

    Write(8, 1000);
    Write(3, 1000);
    Write(5, 1000);
    EXPECT_EQ(AnswerLook(m_request).counts, "ok 10");
    EXPECT_TRUE(AnswerLook(m_request).bad.empty());
}

TEST_F(AnswerLookTest, IsThatOfTheRuleThatIsAskedFor)
{
    for (int frame = 1; frame <= 10; ++frame)
        Write(frame, frame == 3 ? 1000 : 100'000);
    EXPECT_EQ(AllOf(AnswerLook(m_request).bad), (Items{1, 2, 3, 8}));
    m_request.sizeRule = corvan::SizeRule::Robust;
    EXPECT_EQ(AllOf(AnswerLook(m_request).bad), (Items{3}));
}

TEST_F(AnswerLookTest, HasAPrintThatChangesWithAnyFile)
{
    m_request.depth = Depth::Prints;
    const LookAnswer before = AnswerLook(m_request);
    EXPECT_FALSE(before.isJudged);
    EXPECT_EQ(before.print.size(), 16u);
    EXPECT_EQ(AnswerLook(m_request), before);

    Write(4, 1001);
    const LookAnswer larger = AnswerLook(m_request);
    EXPECT_NE(larger.print, before.print);
    Remove(4);
    const LookAnswer gone = AnswerLook(m_request);
    EXPECT_NE(gone.print, larger.print);
    EXPECT_NE(gone.print, before.print);
    Write(4, 1001);
    std::filesystem::last_write_time((m_folder / "r/f.4").Text().c_str(),
                                     std::filesystem::file_time_type::clock::now() +
                                         std::chrono::hours(5));
    EXPECT_NE(AnswerLook(m_request).print, larger.print) << "of another date";
}

TEST_F(AnswerLookTest, JudgesFilesOnlyThatAreAsTheyWere)
{
    m_request.print = AnswerLook(m_request).print;
    EXPECT_TRUE(AnswerLook(m_request).isJudged);
    Write(2, 999);
    const LookAnswer moved = AnswerLook(m_request);
    EXPECT_FALSE(moved.isJudged);
    EXPECT_NE(moved.print, m_request.print);
    EXPECT_EQ(moved.trouble, "");
}

TEST_F(AnswerLookTest, TakesAShareThatIsNotThereForNoVerdict)
{
    const struct
    {
        const char *what;
        bool wereSeen;
        bool hasFolder;
        std::string trouble;
    } cases[] = {
        {"an empty mount point", true, true,
         "of 10 files that were rendered, " + (m_folder / "s").Text() + " has none"},
        {"none, where nobody has seen any", false, true, ""},
        {"no folder", true, false, "the folder " + (m_folder / "s").Text() + " is not there"},
        {"no folder, nobody has seen any", false, false,
         "the folder " + (m_folder / "s").Text() + " is not there"},
    };
    for (const auto &[what, wereSeen, hasFolder, trouble] : cases)
    {
        m_request.formats = {(m_folder / "s/f.%d").Text()};
        m_request.wereSeen = wereSeen;
        std::filesystem::remove_all((m_folder / "s").Text().c_str());
        if (hasFolder)
            m_folder.MakeFolder("s");
        const LookAnswer answer = AnswerLook(m_request);
        EXPECT_EQ(answer.trouble, trouble) << what;
        EXPECT_EQ(answer.isJudged, trouble.empty()) << what;
    }
}

TEST_F(AnswerLookTest, TellsWhatCannotBeLookedFor)
{
    m_request.formats = {};
    EXPECT_EQ(AnswerLook(m_request).trouble, "the job has no image format");
    m_request.formats = {"/r/%s"};
    EXPECT_NE(AnswerLook(m_request).trouble, "");
    m_request.formats = {"/r/%d"};
    m_request.input.userRange = "";
    EXPECT_EQ(AnswerLook(m_request).trouble, "the job has an empty range");
}

TEST_F(AnswerLookTest, ReadsTheImagesWhereItIsToDoSo)
{
    m_request.depth = Depth::Images;
    const LookAnswer answer = AnswerLook(m_request);
    EXPECT_EQ(answer.trouble, "");
    EXPECT_EQ(answer.counts, "ok 0, undecodable 10");
    EXPECT_EQ(AnswerLook(m_request).bad, answer.bad);
}

TEST_F(AnswerLookTest, HoldsPicturesAgainstEachOtherWhereItIsToDoSo)
{
    for (int frame = 1; frame <= 20; ++frame)
        m_folder.MakeFile("r/p." + std::to_string(frame) + ".ppm",
                          MovingPicture(frame == 11 ? 10 : frame));
    m_request.formats = {(m_folder / "r/p.%d.ppm").Text()};
    m_request.input.userRange = "1-20";
    m_request.depth = Depth::Images;
    EXPECT_EQ(AnswerLook(m_request).counts, "ok 20") << AnswerLook(m_request).trouble;

    m_request.depth = Depth::Pictures;
    const LookAnswer answer = AnswerLook(m_request);
    EXPECT_EQ(answer.trouble, "");
    EXPECT_NE(answer.counts.find("duplicate"), String::npos) << answer.counts;
    EXPECT_TRUE(AllOf(answer.bad).contains(11));
    EXPECT_EQ(ParseAnswer(PackAnswer(answer)), answer);
}

} // namespace
} // namespace check
