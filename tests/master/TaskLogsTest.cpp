#include "master/run/TaskLogs.h"

#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "tests/support/Printing.h"
#include "tests/support/TempFolder.h"

using master::TaskLogs;
using ostrel::String;
using ostrel::UID;

namespace
{

void Write(const ostrel::Path &file, const std::string &text)
{
    std::filesystem::create_directories(file.Parent().Text().c_str());
    std::ofstream(file.Text()) << text;
}

} // namespace

TEST(TaskLogs, GiveWhatATaskPrinted)
{
    const TempFolder folder;
    const TaskLogs logs(folder / "tasks");
    const UID job(true);
    EXPECT_EQ(logs.ReadTail(job, 3, 1, true), "");
    Write(logs.FileOf(job, 3, 1), "first\n");
    Write(logs.FileOf(job, 3, 2), "second\n");
    EXPECT_EQ(logs.ReadTail(job, 3, 1, false), "first\n");
    EXPECT_EQ(logs.ReadTail(job, 3, 2, true), "second\n");
    EXPECT_EQ(logs.ReadTail(job, 3, 3, true), "");
    EXPECT_EQ(logs.ReadTail(job, 2, 1, true), "");
}

TEST(TaskLogs, OfEarlierVersionsAreThoseOfTheLastTry)
{
    const TempFolder folder;
    const TaskLogs logs(folder / "tasks");
    const UID job(true);
    Write(logs.FolderOf(job) / "3.log", "third\n");
    EXPECT_EQ(logs.ReadTail(job, 3, 3, true), "third\n");
    EXPECT_EQ(logs.ReadTail(job, 3, 2, false), "");
    Write(logs.FileOf(job, 3, 4), "fourth\n");
    EXPECT_EQ(logs.ReadTail(job, 3, 4, true), "fourth\n");
}

TEST(TaskLogs, AreRemovedALittleAtATime)
{
    const TempFolder folder;
    const TaskLogs logs(folder / "tasks");
    const UID job(true);
    String reason;
    EXPECT_EQ(logs.RemoveSome(job, 10, &reason), TaskLogs::Rest::Nothing);
    for (int file = 0; file < 25; ++file)
        folder.MakeFile("tasks/" + job.ToString() + "/deep/" + std::to_string(file));
    folder.MakeFile("kept");
    std::filesystem::create_directory_symlink(folder.Folder().Text().c_str(),
                                              (logs.FolderOf(job) / "link").Text().c_str());
    int rounds = 1;
    while (logs.RemoveSome(job, 10, &reason) == TaskLogs::Rest::Something && rounds < 100)
        ++rounds;
    EXPECT_EQ(rounds, 3) << "25 files, a link and 2 folders";
    EXPECT_EQ(folder.Listing(), "kept\ntasks\n");
}

TEST(TaskLogs, GiveTheLastMebibyteCutAtALine)
{
    const TempFolder folder;
    const TaskLogs logs(folder / "tasks");
    const UID job(true);
    std::string text;
    for (int line = 0; text.size() < 3u << 20; ++line)
        text += "line " + std::to_string(line) + "\n";
    Write(logs.FileOf(job, 0, 1), text);

    const String tail = logs.ReadTail(job, 0, 1, true);
    EXPECT_LE(tail.size(), TaskLogs::k_MaxTailBytes);
    EXPECT_GT(tail.size(), TaskLogs::k_MaxTailBytes - 100);
    EXPECT_TRUE(tail.starts_with("line "));
    EXPECT_TRUE(text.ends_with(tail));
}

TEST(TaskLogs, GiveALineThatIsLongerThanThat)
{
    const TempFolder folder;
    const TaskLogs logs(folder / "tasks");
    const UID job(true);
    Write(logs.FileOf(job, 0, 1), std::string(2u << 20, 'x') + "\nend\n");
    EXPECT_EQ(logs.ReadTail(job, 0, 1, true).size(), TaskLogs::k_MaxTailBytes);
}

TEST(TaskLogs, GiveNothingButUtf8)
{
    const TempFolder folder;
    const TaskLogs logs(folder / "tasks");
    const UID job(true);
    Write(logs.FileOf(job, 0, 1), "ok \xff\xfe \xc3\xa4\n");
    EXPECT_EQ(logs.ReadTail(job, 0, 1, true), "ok \xef\xbf\xbd\xef\xbf\xbd \xc3\xa4\n");
}

TEST(TaskLogs, SayWhyAFolderCannotBeMade)
{
    const TempFolder folder;
    const TaskLogs logs(folder.MakeFile("file"));
    const UID job(true);
    String reason;
    EXPECT_FALSE(logs.MakeFolder(job, &reason));
    EXPECT_TRUE(reason.starts_with("cannot make folder " + logs.FolderOf(job).Text())) << reason;
}
