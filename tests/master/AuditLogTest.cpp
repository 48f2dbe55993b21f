#include "master/AuditLog.h"

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sys/resource.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "tests/support/FakeSync.h"
#include "tests/support/TempFolder.h"
#include "tests/support/Thrown.h"

using master::AuditEntry;
using master::AuditLog;
using nlohmann::json;
using ostrel::UID;

namespace
{

AuditEntry Change(const ostrel::String &newValue)
{
    AuditEntry entry = master::EntryOf(
        {.user = "anna", .role = {}, .peer = "192.0.2.7", .token = {}, .peerKey = {}},
        "JobParameter", UID(true));
    entry.name = "Note";
    entry.newValue = newValue;
    return entry;
}

std::vector<std::string> Lines(const ostrel::Path &file)
{
    std::vector<std::string> lines;
    std::ifstream stream(file.Text());
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

TEST(AuditLog, HoldsOneObjectALine)
{
    AuditEntry entry = Change("two\nlines \"\xff\"");
    entry.oldValue = "before";
    const std::string line = master::AuditLine(entry, "2026-11-22T01:02:03.000000004Z", 1000);
    EXPECT_EQ(line.find('\n'), line.size() - 1);
    const json read = json::parse(line);
    EXPECT_EQ(read.at("time"), "2026-11-22T01:02:03.000000004Z");
    EXPECT_EQ(read.at("user"), "anna");
    EXPECT_EQ(read.at("peer"), "192.0.2.7");
    EXPECT_EQ(read.at("what"), "JobParameter");
    EXPECT_EQ(read.at("job"), std::string(entry.job.ToString()));
    EXPECT_EQ(read.at("name"), "Note");
    EXPECT_EQ(read.at("old"), "before");
    EXPECT_EQ(read.at("new"), "two\nlines \"\xef\xbf\xbd\"");
    EXPECT_FALSE(read.contains("refused"));
}

TEST(AuditLog, KeepsTheBeginningOfALongValueAndItsLength)
{
    const json read = json::parse(master::AuditLine(Change(std::string(5000, 'x')), "", 100));
    EXPECT_EQ(read.at("new"), std::string(100, 'x'));
    EXPECT_EQ(read.at("newBytes"), 5000);
    EXPECT_FALSE(read.contains("oldBytes"));
}

TEST(AuditLog, GoesOnWhereItEndedAndBeginsANewLineWhereACrashCutOne)
{
    const TempFolder folder;
    const AuditEntry entries[] = {Change("1"), Change("2")};
    {
        AuditLog log(folder.Folder());
        log.Write(entries);
        log.Sync();
    }
    {
        std::ofstream torn((folder / "audit.log").Text(), std::ios::app);
        torn << "{\"time\": \"20";
    }
    AuditLog log(folder.Folder());
    log.Write(entries);
    log.Sync();
    const auto lines = Lines(folder / "audit.log");
    ASSERT_EQ(lines.size(), 5u);
    for (const std::size_t whole : {0, 1, 3, 4})
        EXPECT_TRUE(json::accept(lines[whole])) << lines[whole];
    struct stat status
    {
    };
    ASSERT_EQ(::stat((folder / "audit.log").Text().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600u);
}

TEST(AuditLog, IsOnDiskOnceItIsSynced)
{
    const TempFolder folder;
    const std::string file = (folder / "audit.log").Text();
    const AuditEntry entries[] = {Change("1")};
    {
        FakeSync disk;
        AuditLog log(folder.Folder(), 1);
        EXPECT_EQ(disk.TakeSynced(), std::set<std::string>{folder.Folder().Text()}) << "a new name";
        log.Write(entries);
        log.Sync();
        EXPECT_EQ(disk.TakeSynced(), std::set<std::string>{file});
        log.Write(entries);
        log.Sync();
        EXPECT_EQ(disk.TakeSynced(), (std::set<std::string>{folder.Folder().Text(), file}))
            << "another file";
    }
    const FakeSync disk(EIO);
    AuditLog log(folder.Folder());
    log.Write(entries);
    EXPECT_EQ(Thrown([&] { log.Sync(); }),
              "cannot write audit log " + file + ": Input/output error");
}

TEST(AuditLog, IsRotatedAndLosesNoLineThatItStillHolds)
{
    const TempFolder folder;
    AuditLog log(folder.Folder(), 2000);
    const int count = 25;
    for (int i = 0; i < count; ++i)
    {
        const AuditEntry entries[] = {Change(std::to_string(i))};
        log.Write(entries);
    }
    log.Sync();
    int expected = count;
    for (unsigned number = 0; expected > 0 && number <= AuditLog::k_Kept; ++number)
    {
        const ostrel::Path file =
            folder / ("audit.log" + (number == 0 ? "" : "." + std::to_string(number)));
        EXPECT_LE(std::filesystem::file_size(file.Text().c_str()), 2000u);
        const auto lines = Lines(file);
        for (auto line = lines.rbegin(); line != lines.rend(); ++line)
            EXPECT_EQ(json::parse(*line).at("new"), std::to_string(--expected));
    }
    EXPECT_EQ(expected, 0);
}

TEST(AuditLog, KeepsSoManyFilesAndNoMore)
{
    const TempFolder folder;
    AuditLog log(folder.Folder(), 1);
    const AuditEntry entries[] = {Change("x")};
    for (int i = 0; i < 30; ++i)
        log.Write(entries);
    log.Sync();
    std::size_t files = 0;
    for ([[maybe_unused]] const auto &file :
         std::filesystem::directory_iterator(folder.Folder().Text().c_str()))
        ++files;
    EXPECT_EQ(files, AuditLog::k_Kept + 1u);
}

TEST(AuditLog, SaysOfWhatWasNotCommittedThatItIsNotSo)
{
    const TempFolder folder;
    AuditLog log(folder.Folder());
    const AuditEntry entries[] = {Change("1"), Change("2")};
    log.Write(entries);
    log.TakeBack(2, "disk full");
    log.Sync();
    const auto lines = Lines(folder / "audit.log");
    ASSERT_EQ(lines.size(), 3u);
    const json last = json::parse(lines.back());
    EXPECT_EQ(last.at("what"), "taken back");
    EXPECT_EQ(last.at("lines"), 2);
    EXPECT_EQ(last.at("reason"), "disk full");
}

TEST(AuditLog, ThatCannotBeWrittenSaysSoAndIsLeftWhole)
{
    const TempFolder folder;
    AuditLog log(folder.Folder());
    const AuditEntry entries[] = {Change("1")};
    log.Write(entries);
    log.Sync();
    const auto before = ContentOf(folder / "audit.log");

    rlimit limit{};
    ::getrlimit(RLIMIT_FSIZE, &limit);
    const auto previous = std::signal(SIGXFSZ, SIG_IGN);
    rlimit full = limit;
    full.rlim_cur = before.size() + 10;
    ::setrlimit(RLIMIT_FSIZE, &full);
    const std::string reason = Thrown([&] { log.Write(entries); });
    ::setrlimit(RLIMIT_FSIZE, &limit);
    std::signal(SIGXFSZ, previous);

    EXPECT_EQ(reason,
              "cannot write audit log " + (folder / "audit.log").Text() + ": File too large");
    EXPECT_EQ(ContentOf(folder / "audit.log"), before);
    log.Write(entries);
    log.Sync();
    EXPECT_EQ(Lines(folder / "audit.log").size(), 2u);
}

} // namespace
