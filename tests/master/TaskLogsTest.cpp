#include "master/run/TaskLogs.h"

#include <gtest/gtest.h>

#include "tests/support/Printing.h"
#include "tests/support/TempFolder.h"

using master::TaskLogs;
using ostrel::String;
using ostrel::UID;

TEST(TaskLogs, GiveWhatATaskPrinted)
{
    const TempFolder folder;
    const TaskLogs logs(folder / "tasks");
    const UID job(true);
    EXPECT_EQ(logs.ReadTail(job, 3), "");
    logs.Write(job, 3, "first\n");
    logs.Write(job, 3, "second\n");
    EXPECT_EQ(logs.ReadTail(job, 3), "second\n");
    EXPECT_EQ(logs.ReadTail(job, 2), "");
}

TEST(TaskLogs, GiveTheLastMebibyteCutAtALine)
{
    const TempFolder folder;
    const TaskLogs logs(folder / "tasks");
    const UID job(true);
    std::string text;
    for (int line = 0; text.size() < 3u << 20; ++line)
        text += "line " + std::to_string(line) + "\n";
    logs.Write(job, 0, text);

    const String tail = logs.ReadTail(job, 0);
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
    logs.Write(job, 0, std::string(2u << 20, 'x') + "\nend\n");
    EXPECT_EQ(logs.ReadTail(job, 0).size(), TaskLogs::k_MaxTailBytes);
}

TEST(TaskLogs, GiveNothingButUtf8)
{
    const TempFolder folder;
    const TaskLogs logs(folder / "tasks");
    const UID job(true);
    logs.Write(job, 0, "ok \xff\xfe \xc3\xa4\n");
    EXPECT_EQ(logs.ReadTail(job, 0), "ok \xef\xbf\xbd\xef\xbf\xbd \xc3\xa4\n");
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
