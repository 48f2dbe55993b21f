#include "master/slurm/ArrayFolders.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "keeper/ArrayFolder.h"
#include "keeper/Claim.h"
#include "tests/support/TempFolder.h"

namespace master
{
namespace
{

using Barring = ArrayFolders::Barring;
using namespace std::chrono_literals;
using namespace std::string_literals;

class ArrayFoldersTest : public testing::Test
{
protected:
    ArrayFoldersTest()
    {
        String reason;
        EXPECT_TRUE(m_folders.Write(
            m_batch, {{{3, "three"}, {7, "seven!"}}, {m_folder / "logs" / "of"}}, &reason))
            << reason;
    }

    Path ClaimFile(unsigned element) const
    {
        return m_folders.FolderOf(m_batch) / keeper::k_Claims / std::to_string(element);
    }
    void LeaveResult(const std::string &name, const std::string &content) const
    {
        const Path folder = m_folders.FolderOf(m_batch) / keeper::k_Results;
        std::ofstream((folder / name).Text()) << content;
    }

    TempFolder m_folder;
    ArrayFolders m_folders{m_folder / "arrays", 20s};
    UID m_batch{true};
};

TEST_F(ArrayFoldersTest, GivesEachElementItsRequestAndMakesTheOtherFolders)
{
    const std::string file = (m_folders.FolderOf(m_batch) / keeper::k_ArrayRequest).Text();
    std::string request;
    std::string reason;
    unsigned lease = 0;
    ASSERT_TRUE(keeper::ReadArrayFile(file, 3, request, lease, &reason)) << reason;
    EXPECT_EQ(request, "three");
    EXPECT_EQ(lease, 20u);
    ASSERT_TRUE(keeper::ReadArrayFile(file, 7, request, lease, &reason)) << reason;
    EXPECT_EQ(request, "seven!");
    EXPECT_FALSE(keeper::ReadArrayFile(file, 4, request, lease, &reason));
    EXPECT_TRUE(std::filesystem::is_directory((m_folder / "logs" / "of").Text().c_str()));

    std::filesystem::resize_file(file, std::filesystem::file_size(file) - 1);
    EXPECT_FALSE(keeper::ReadArrayFile(file, 7, request, lease, &reason));
    EXPECT_NE(reason.find("not whole"), std::string::npos);
}

TEST_F(ArrayFoldersTest, ReadsEachResultOnce)
{
    LeaveResult("3", "node\0node2\0report\0X0 \0asked\0"s + "0\0"s);
    LeaveResult("7", "node\0node1\0report\0X-1 \0asked\0"s + "1\0"s);
    LeaveResult("8.new.12", "node\0node1\0report\0X0 \0asked\0"s + "0\0"s);
    LeaveResult("9", "node\0node1"s);
    std::vector<ElementResult> results = m_folders.ReadResults(m_batch, {});
    std::ranges::sort(results, {}, &ElementResult::element);
    ASSERT_EQ(results.size(), 2u);
    EXPECT_EQ(results[0].node, "node2");
    EXPECT_EQ(results[0].report, "X0 ");
    EXPECT_FALSE(results[0].wasAsked);
    EXPECT_TRUE(results[1].wasAsked);
    EXPECT_EQ(m_folders.ReadResults(m_batch, {3}).size(), 1u);
    EXPECT_EQ(m_folders.ReadResult(m_batch, 7)->report, "X-1 ");
    EXPECT_FALSE(m_folders.ReadResult(m_batch, 4));
}

TEST_F(ArrayFoldersTest, BarsAnElementThatNobodyHas)
{
    EXPECT_EQ(m_folders.Bar(m_batch, 3), Barring::Free);
    keeper::Claim late(ClaimFile(3).Text());
    EXPECT_EQ(late.Take("node1 17\n"), keeper::Claim::Outcome::Barred);
    EXPECT_EQ(m_folders.BarIfFree(m_batch, 7), Barring::Free);
}

TEST_F(ArrayFoldersTest, TakesAnElementFromWhoHasIt)
{
    keeper::Claim first(ClaimFile(3).Text());
    ASSERT_EQ(first.Take("node1 17\n"), keeper::Claim::Outcome::Won);
    EXPECT_TRUE(first.IsOurs());
    EXPECT_EQ(m_folders.BarIfFree(m_batch, 3), Barring::Taken);
    EXPECT_TRUE(first.IsOurs());

    keeper::Claim second(ClaimFile(3).Text());
    EXPECT_EQ(second.Take("node2 17\n"), keeper::Claim::Outcome::TookOver);
    EXPECT_FALSE(first.IsOurs());
    EXPECT_TRUE(second.IsOurs());

    EXPECT_EQ(m_folders.Bar(m_batch, 3), Barring::Taken);
    EXPECT_FALSE(second.IsOurs());
}

TEST_F(ArrayFoldersTest, LeavesNobodyAnythingOfAnArrayThatIsRemoved)
{
    keeper::Claim first(ClaimFile(3).Text());
    ASSERT_EQ(first.Take("node1 17\n"), keeper::Claim::Outcome::Won);
    EXPECT_EQ(m_folders.List(), std::vector<UID>{m_batch});
    m_folders.Remove(m_batch);
    EXPECT_FALSE(first.IsOurs());
    EXPECT_TRUE(m_folders.List().empty());
    // Who had it is not known any more.
    EXPECT_EQ(m_folders.Bar(m_batch, 3), Barring::Taken);
    keeper::Claim late(ClaimFile(7).Text());
    EXPECT_EQ(late.Take("node1 17\n"), keeper::Claim::Outcome::Failed);
}

TEST_F(ArrayFoldersTest, LeavesNothingOfAnArrayThatCannotBeWritten)
{
    m_folder.MakeFile("file");
    String reason;
    const UID batch(true);
    EXPECT_FALSE(m_folders.Write(batch, {{{0, "x"}}, {m_folder / "file" / "logs"}}, &reason));
    EXPECT_NE(reason.find("file/logs"), String::npos) << reason;
    EXPECT_FALSE(std::filesystem::exists(m_folders.FolderOf(batch).Text().c_str()));
}

TEST(ArrayScript, QuotesWhateverAFolderIsCalled)
{
    EXPECT_EQ(ArrayScript("/opt/corvan task", "/a'b/$c"),
              "#!/bin/sh\nexec '/opt/corvan task' --array '/a'\\''b/$c' "
              "\"$SLURM_ARRAY_TASK_ID\"\n");
}

} // namespace
} // namespace master
