#include "master/audit/AuditLog.h"

#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <nlohmann/json.hpp>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>

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

// A turn that is committed; what it wrote.
std::string WriteTurn(AuditLog &log, std::span<const AuditEntry> entries, std::int64_t number)
{
    const std::string lines = log.Prepare(entries);
    log.Write(number, lines);
    return lines;
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
        WriteTurn(log, entries, 1);
        log.Sync();
    }
    {
        std::ofstream torn((folder / "audit.log").Text(), std::ios::app);
        torn << "{\"time\": \"20";
    }
    AuditLog log(folder.Folder());
    WriteTurn(log, entries, 2);
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
        WriteTurn(log, entries, 1);
        log.Sync();
        EXPECT_EQ(disk.TakeSynced(), std::set<std::string>{file});
        WriteTurn(log, entries, 2);
        log.Sync();
        EXPECT_EQ(disk.TakeSynced(), (std::set<std::string>{folder.Folder().Text(), file}))
            << "another file";
    }
    const FakeSync disk(EIO);
    AuditLog log(folder.Folder());
    WriteTurn(log, entries, 3);
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
        WriteTurn(log, entries, i + 1);
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
        WriteTurn(log, entries, i + 1);
    log.Sync();
    std::size_t files = 0;
    for ([[maybe_unused]] const auto &file :
         std::filesystem::directory_iterator(folder.Folder().Text().c_str()))
        ++files;
    EXPECT_EQ(files, AuditLog::k_Kept + 1u);
}

TEST(AuditLog, HasNothingOfATurnThatIsNotCommitted)
{
    const TempFolder folder;
    AuditLog log(folder.Folder());
    const AuditEntry entries[] = {Change("1")};
    EXPECT_NE(log.Prepare(entries), "");
    log.Sync();
    EXPECT_EQ(ContentOf(folder / "audit.log"), "");
    EXPECT_EQ(log.Prepare({}), "");
}

TEST(AuditLog, CountsNoRefusalOfATurnThatIsNotCommitted)
{
    const TempFolder folder;
    AuditLog log(folder.Folder());
    AuditEntry refused = Change("1");
    refused.refused = "the right \"edit-own\" is missing";
    const AuditEntry entries[] = {refused};
    const auto isLeftOut = [&] { return log.Prepare(entries).empty(); };
    for (std::size_t i = 0; i < 2 * master::RefusedRights::k_LinesOfUser; ++i)
        ASSERT_FALSE(isLeftOut()) << "turn " << i << ", and none was committed";
    for (std::size_t i = 0; i < master::RefusedRights::k_LinesOfUser; ++i)
        ASSERT_NE(WriteTurn(log, entries, std::int64_t(i + 1)), "") << i << " before it";
    EXPECT_TRUE(isLeftOut());
}

TEST(AuditLog, SaysWhatItHasOnDiskWithoutBeingAsked)
{
    const TempFolder folder;
    AuditLog log(folder.Folder());
    EXPECT_EQ(log.OnDisk(), 0);
    const AuditEntry entries[] = {Change("1")};
    WriteTurn(log, entries, 7);
    log.Sync();
    EXPECT_EQ(log.OnDisk(), 7);
    WriteTurn(log, entries, 8);
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (log.OnDisk() < 8 && std::chrono::steady_clock::now() < limit)
        std::this_thread::yield();
    EXPECT_EQ(log.OnDisk(), 8);
}

// As after a power cut, and as after a program that was only killed.
TEST(AuditLog, WritesAgainWhatItsFileHasLostAndNothingElse)
{
    const struct
    {
        std::size_t fileBytes;
        std::size_t cut; ///< Bytes that the file has lost.
    } cases[] = {
        {100'000, 0},       {100'000, 1}, {100'000, 700}, {100'000, 1390},
        {100'000, 100'000}, {400, 0},     {400, 150},     {400, 100'000},
    };
    for (const auto &[fileBytes, cut] : cases)
    {
        const TempFolder folder;
        std::string all;
        std::vector<master::AuditStore::Kept> kept;
        {
            AuditLog log(folder.Folder(), fileBytes);
            for (int i = 1; i <= 7; ++i)
            {
                // The same twice in one turn is two lines.
                const AuditEntry same = Change(std::to_string(i));
                const AuditEntry entries[] = {same, same};
                const std::string lines = WriteTurn(log, entries, i);
                all += lines;
                if (i > 2)
                    kept.push_back({i, lines});
            }
            log.Sync();
        }
        const std::string file = (folder / "audit.log").Text();
        const std::size_t size = std::filesystem::file_size(file);
        std::filesystem::resize_file(file, size - std::min(size, cut));
        if (fileBytes == 100'000 && cut > size)
            all = all.substr(all.find(kept.front().lines));
        for (int start = 0; start < 2; ++start)
        {
            AuditLog log(folder.Folder(), fileBytes);
            log.Restore(kept);
            log.Sync();
            EXPECT_EQ(log.OnDisk(), 7);
        }
        std::string found;
        for (unsigned number = 0; number <= AuditLog::k_Kept; ++number)
        {
            const ostrel::Path one =
                folder / ("audit.log" + (number == 0 ? "" : "." + std::to_string(number)));
            if (std::filesystem::exists(one.Text().c_str()))
                found = std::string(ContentOf(one)) + found;
        }
        EXPECT_EQ(found, all) << "files of " << fileBytes << ", cut by " << cut;
    }
}

// The store of some other day was put back.
TEST(AuditLog, LeavesWhatCameAfterLinesThatItHasLongSince)
{
    const TempFolder folder;
    const AuditEntry entries[] = {Change("1")};
    std::vector<master::AuditStore::Kept> kept;
    {
        AuditLog log(folder.Folder());
        kept.push_back({1, WriteTurn(log, entries, 1)});
        WriteTurn(log, entries, 2);
    }
    const auto before = ContentOf(folder / "audit.log");
    kept.push_back({3, "a line that never came there\n"});
    AuditLog log(folder.Folder());
    log.Restore(kept);
    log.Sync();
    EXPECT_EQ(ContentOf(folder / "audit.log"), before + "a line that never came there\n");
}

// What a sync that failed was to bring to disk no later one brings there. Of one file.
class ForgetfulDisk : public master::AuditDisk
{
public:
    ssize_t Write(int file, std::string_view text) override
    {
        m_dirtyFrom = std::min(m_dirtyFrom, m_seen.size());
        m_seen += text;
        return AuditDisk::Write(file, text);
    }
    ssize_t Overwrite(int file, std::size_t at, std::string_view text) override
    {
        m_dirtyFrom = std::min(m_dirtyFrom, at);
        m_seen.replace(at, text.size(), text);
        return AuditDisk::Overwrite(file, at, text);
    }
    int Sync(int /*file*/) override
    {
        const std::size_t from = std::min(m_dirtyFrom, m_seen.size());
        m_dirtyFrom = std::string::npos;
        errno = EIO;
        if (isFailing)
            return -1;
        onDisk.resize(from, '?');
        onDisk += m_seen.substr(from);
        return 0;
    }
    bool TakesTime() const override
    {
        return false;
    }
    bool IsSyncDue() override
    {
        return true;
    }

    bool isFailing = false;
    std::string onDisk;

private:
    std::string m_seen;
    std::size_t m_dirtyFrom = std::string::npos;
};

TEST(AuditLog, WritesAnewWhatASyncThatFailedHasLostBeforeAnythingElseIsChanged)
{
    const TempFolder folder;
    ForgetfulDisk disk;
    AuditLog log(folder.Folder(), AuditLog::k_FileBytes, &disk);
    const AuditEntry entries[] = {Change("1")};
    WriteTurn(log, entries, 1);
    EXPECT_EQ(log.OnDisk(), 1);
    disk.isFailing = true;
    WriteTurn(log, entries, 2);
    EXPECT_EQ(log.OnDisk(), 1) << "the store keeps them";
    const std::string reason =
        "cannot write audit log " + (folder / "audit.log").Text() + ": Input/output error";
    EXPECT_EQ(Thrown([&] { log.Prepare(entries); }), reason);
    EXPECT_EQ(Thrown([&] { log.Prepare(entries); }), reason);
    EXPECT_EQ(log.OnDisk(), 1);
    disk.isFailing = false;
    WriteTurn(log, entries, 3);
    EXPECT_EQ(log.OnDisk(), 3);
    EXPECT_EQ(Lines(folder / "audit.log").size(), 3u);
    EXPECT_EQ(disk.onDisk, ContentOf(folder / "audit.log"));
}

// It is seen by the next Master, too, and not on disk.
TEST(AuditLog, WritesAnewWhatASyncOfAnEarlierRunHasLost)
{
    const TempFolder folder;
    ForgetfulDisk disk;
    const AuditEntry entries[] = {Change("1"), Change("2")};
    std::vector<master::AuditStore::Kept> kept;
    {
        AuditLog log(folder.Folder(), AuditLog::k_FileBytes, &disk);
        WriteTurn(log, entries, 1);
        disk.isFailing = true;
        kept.push_back({2, WriteTurn(log, entries, 2)});
    }
    disk.isFailing = false;
    AuditLog log(folder.Folder(), AuditLog::k_FileBytes, &disk);
    log.Restore(kept);
    EXPECT_EQ(log.OnDisk(), 2);
    EXPECT_EQ(Lines(folder / "audit.log").size(), 4u);
    EXPECT_EQ(disk.onDisk, ContentOf(folder / "audit.log"));
}

// Its syncs fail, and take as long to say so as the test wants, ten seconds at most.
class SlowlyFailingDisk : public master::AuditDisk
{
public:
    int Sync(int file) override
    {
        std::unique_lock lock(m_mutex);
        ++m_begun;
        m_changed.notify_all();
        // Whoever waits for it has waited in vain then, and is not to do so again.
        if (!m_changed.wait_for(lock, std::chrono::seconds(10), [this] { return !m_isHanging; }))
            m_isHanging = false;
        ++m_ended;
        if (!m_isFailing)
            return AuditDisk::Sync(file);
        errno = EIO;
        return -1;
    }

    void Set(bool isFailing, bool isHanging)
    {
        const std::lock_guard lock(m_mutex);
        m_isFailing = isFailing;
        m_isHanging = isHanging;
        m_changed.notify_all();
    }
    // Since the beginning.
    int Begun()
    {
        const std::lock_guard lock(m_mutex);
        return m_begun;
    }
    int Ended()
    {
        const std::lock_guard lock(m_mutex);
        return m_ended;
    }

private:
    std::mutex m_mutex; // Guards all below.
    std::condition_variable m_changed;
    bool m_isFailing = false;
    bool m_isHanging = false;
    int m_begun = 0;
    int m_ended = 0;
};

TEST(AuditLog, HasNoTurnWaitForADiskThatFailsAndTriesItOnceASecond)
{
    using std::chrono::steady_clock;

    const TempFolder folder;
    SlowlyFailingDisk disk;
    AuditLog log(folder.Folder(), AuditLog::k_FileBytes, &disk);
    const AuditEntry entries[] = {Change("1")};
    disk.Set(true, false);
    WriteTurn(log, entries, 1);
    const std::string reason =
        "cannot write audit log " + (folder / "audit.log").Text() + ": Input/output error";
    EXPECT_EQ(Thrown([&] { log.Sync(); }), reason);

    disk.Set(true, true);
    const int before = disk.Ended();
    const auto limit = steady_clock::now() + std::chrono::seconds(20);
    while (disk.Begun() == before && steady_clock::now() < limit)
        EXPECT_EQ(Thrown([&] { log.Prepare(entries); }), reason);
    EXPECT_EQ(disk.Begun(), before + 1) << "it is tried";
    for (int turn = 0; turn < 100; ++turn)
        EXPECT_EQ(Thrown([&] { log.Prepare(entries); }), reason);
    EXPECT_EQ(disk.Begun(), before + 1);
    EXPECT_EQ(disk.Ended(), before) << "a turn has waited for it";

    disk.Set(true, false);
    const auto begin = steady_clock::now();
    for (int turn = 0; turn < 1000; ++turn)
        EXPECT_EQ(Thrown([&] { log.Prepare(entries); }), reason);
    const std::chrono::duration<double> took = steady_clock::now() - begin;
    EXPECT_LE(disk.Begun(), before + 3 + int(took.count()));
    EXPECT_EQ(log.OnDisk(), 0);

    disk.Set(false, false);
    const auto patience = steady_clock::now() + std::chrono::seconds(20);
    while (log.OnDisk() < 1 && steady_clock::now() < patience)
        Thrown([&] { log.Prepare({}); });
    EXPECT_EQ(log.OnDisk(), 1);
    WriteTurn(log, entries, 2);
    EXPECT_EQ(Lines(folder / "audit.log").size(), 2u);
}

TEST(AuditLog, ThatCannotBeWrittenSaysSoAndIsLeftWhole)
{
    const TempFolder folder;
    AuditLog log(folder.Folder());
    const AuditEntry entries[] = {Change("1")};
    WriteTurn(log, entries, 1);
    log.Sync();
    const auto before = ContentOf(folder / "audit.log");

    rlimit limit{};
    ::getrlimit(RLIMIT_FSIZE, &limit);
    const auto previous = std::signal(SIGXFSZ, SIG_IGN);
    rlimit full = limit;
    full.rlim_cur = before.size() + 10;
    ::setrlimit(RLIMIT_FSIZE, &full);
    const std::string waiting = WriteTurn(log, entries, 2);
    const std::string reason = Thrown([&] { log.Prepare(entries); });
    ::setrlimit(RLIMIT_FSIZE, &limit);
    std::signal(SIGXFSZ, previous);

    EXPECT_EQ(reason,
              "cannot write audit log " + (folder / "audit.log").Text() + ": File too large");
    EXPECT_EQ(ContentOf(folder / "audit.log"), before);
    log.Sync();
    EXPECT_EQ(log.OnDisk(), 1) << "what waits is in the store alone";
    const std::string last = WriteTurn(log, entries, 3);
    log.Sync();
    EXPECT_EQ(ContentOf(folder / "audit.log"), before + waiting + last);
    EXPECT_EQ(log.OnDisk(), 3);
}

} // namespace
