#include "master/audit/AuditLog.h"

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <optional>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <unordered_set>
#include <utility>
#include <vector>

#include "ostrel/Attempt.h"
#include "ostrel/CallEntry.h"
#include "ostrel/Exception.h"
#include "ostrel/File.h"
#include "ostrel/Log.h"
#include "ostrel/Time.h"

namespace master
{

using ostrel::_CallEntry;
using ostrel::Descriptor;
using ostrel::Exception;

namespace
{

const char *const k_audit_leaf = "audit.log";
const char *const k_kept_in_store =
    "; the store keeps its newest lines, and nothing more is changed before they are on disk there";

Path RotatedFile(const Path &folder, unsigned number)
{
    return folder / (number == 0 ? String(k_audit_leaf)
                                 : String(k_audit_leaf) + "." + std::to_string(number));
}

String AuditProblem(const Path &folder, int error)
{
    return "cannot write audit log " + (folder / k_audit_leaf).Text() + ": " +
           std::system_category().message(error);
}

[[noreturn]] void FailAudit(const Path &folder, int error)
{
    throw new Exception(AuditProblem(folder, error));
}

std::string AuditTime()
{
    std::string time;
    ostrel::Time::Now().AppendIso(time);
    return time;
}

// Lines are not synced as they come: that would hold up what the store syncs.
constexpr std::chrono::seconds k_sync_after{1};
constexpr std::chrono::seconds k_between_tries{1};
constexpr std::chrono::hours k_as_long_as_it_takes{1'000'000};

bool EndsWithinLine(int file, std::size_t bytes)
{
    char last = '\n';
    return bytes > 0 && ::pread(file, &last, 1, off_t(bytes) - 1) == 1 && last != '\n';
}

// Each with its end; what has none is no line.
std::vector<std::string_view> LinesOf(std::string_view text)
{
    std::vector<std::string_view> lines;
    for (std::size_t end = 0; (end = text.find('\n')) != std::string_view::npos;
         text.remove_prefix(end + 1))
        lines.push_back(text.substr(0, end + 1));
    return lines;
}

// Empty where it is not there.
std::string ContentOfFile(const Path &file)
{
    ostrel::FileFinder finder;
    return finder.Find(file) ? ostrel::File::ReadWhole(file, finder.Size() + 1) : String();
}

/// What the end of a file has of the lines that were kept: whole ones, one after the other.
struct KeptEnd
{
    std::size_t begin = 0; ///< Where they begin in the file,
    std::size_t place = 0; ///< and among those that were kept,
    std::size_t bytes = 0; ///< and how long they are; nothing where the file does not end so.
    bool isTorn = false;   ///< They are followed by the beginning of one.
};

KeptEnd FindKeptEnd(std::string_view file, std::string_view kept)
{
    const std::vector<std::string_view> lines = LinesOf(kept);
    const std::unordered_set<std::string_view> isKept(lines.begin(), lines.end());
    const std::size_t end = file.rfind('\n') + 1;
    std::size_t begin = end;
    while (begin > 0)
    {
        const std::size_t before = file.substr(0, begin - 1).rfind('\n') + 1;
        if (!isKept.contains(file.substr(before, begin - before)))
            break;
        begin = before;
    }
    const std::string_view whole = file.substr(begin, end - begin);
    const std::size_t place = kept.find(whole.substr(0, whole.find('\n') + 1));
    if (!whole.empty() && kept.substr(place).starts_with(whole))
        return {begin, place, whole.size(), end < file.size()};
    const auto beginsSo = [&](std::string_view line) { return line.starts_with(file.substr(end)); };
    const bool isTorn = end < file.size() && std::ranges::any_of(lines, beginsSo);
    return {isTorn ? end : file.size(), 0, 0, isTorn};
}

} // namespace

ssize_t AuditDisk::Write(int file, std::string_view text)
{
    return ::write(file, text.data(), text.size());
}

ssize_t AuditDisk::Overwrite(int file, std::size_t at, std::string_view text)
{
    // Else it appends whatever it is told.
    const int flags = ::fcntl(file, F_GETFL);
    ::fcntl(file, F_SETFL, flags & ~O_APPEND);
    const ssize_t written = ::pwrite(file, text.data(), text.size(), off_t(at));
    const int error = errno;
    ::fcntl(file, F_SETFL, flags);
    errno = error;
    return written;
}

int AuditDisk::Truncate(int file, std::size_t bytes)
{
    return ::ftruncate(file, off_t(bytes));
}

int AuditDisk::Sync(int file)
{
    return ::fdatasync(file);
}

AuditLog::AuditLog(const Path &folder, std::size_t fileBytes, AuditDisk *disk)
    : m_folder(folder), m_fileBytes(fileBytes), m_disk(disk ? *disk : m_ofSystem)
{
    _CallEntry call("AuditLog::AuditLog", __FILE__, __LINE__);

    Open();
    if (m_disk.TakesTime())
        m_syncer = std::jthread([this] { RunSync(); });
}

AuditLog::~AuditLog()
{
    _CallEntry call("AuditLog::~AuditLog", __FILE__, __LINE__);

    const std::lock_guard lock(m_mutex);
    m_isEnding = true;
    m_changed.notify_all();
}

void AuditLog::Open()
{
    _CallEntry call("AuditLog::Open", __FILE__, __LINE__);

    const Path file = RotatedFile(m_folder, 0);
    auto opened = std::make_shared<Descriptor>(
        ::open(file.Text().c_str(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC, 0600));
    struct stat status
    {
    };
    if (!opened->IsOpen() || ::fstat(opened->Number(), &status) != 0)
        FailAudit(m_folder, errno);
    // A new name in the folder is on disk once the folder is.
    const Descriptor folder(::open(m_folder.Text().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder.IsOpen())
        ::fsync(folder.Number());
    m_file = std::move(opened);
    m_bytes = std::size_t(status.st_size);
    // The end of a line that a crash cut off would otherwise be the beginning of the next.
    m_endsWithinLine = EndsWithinLine(m_file->Number(), m_bytes);
    const std::lock_guard lock(m_mutex);
    m_bytesOnDisk = m_bytes;
}

void AuditLog::Rotate()
{
    _CallEntry call("AuditLog::Rotate", __FILE__, __LINE__);

    Sync();
    for (unsigned number = k_Kept; number > 0; --number)
        if (::rename(RotatedFile(m_folder, number - 1).Text().c_str(),
                     RotatedFile(m_folder, number).Text().c_str()) != 0 &&
            errno != ENOENT)
            FailAudit(m_folder, errno);
    Open();
}

void AuditLog::Restore(std::span<const AuditStore::Kept> kept)
{
    _CallEntry call("AuditLog::Restore", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    std::string all;
    for (const AuditStore::Kept &each : kept)
        all += each.lines;
    if (all.empty())
        return;
    const std::string file = ContentOfFile(RotatedFile(m_folder, 0));
    const KeptEnd end = FindKeptEnd(file, all);
    const std::string_view rest = std::string_view(all).substr(end.place + end.bytes);
    // What comes after whole lines at the end of the file is nowhere yet.
    std::string missing =
        end.bytes > 0 ? EraseFound(std::string_view(all).substr(0, end.place)) : EraseFound(all);
    if (end.bytes > 0)
        missing += rest;
    if (end.isTorn)
        CutTo(end.begin + end.bytes);
    const std::int64_t number = kept.back().number;
    m_kept.push_back({number, all.substr(end.place, end.bytes)});
    m_kept.push_back({number, missing});
    Overwrite(end.begin, m_kept.front().lines);
    m_written = 1;
    TryToWrite();
}

// The lines that are in none of the files. A store that was restored keeps lines of its own day,
// which may be far back.
std::string AuditLog::EraseFound(std::string_view lines) const
{
    _CallEntry call("AuditLog::EraseFound", __FILE__, __LINE__);

    std::unordered_set<std::string_view> missing;
    for (const std::string_view line : LinesOf(lines))
        missing.insert(line);
    for (unsigned number = 0; number <= k_Kept && !missing.empty(); ++number)
    {
        const std::string content = ContentOfFile(RotatedFile(m_folder, number));
        for (const std::string_view line : LinesOf(content))
            missing.erase(line);
    }
    std::string left;
    for (const std::string_view line : LinesOf(lines))
        if (missing.contains(line))
            left += line;
    return left;
}

std::string AuditLog::Prepare(std::span<const AuditEntry> entries)
{
    _CallEntry call("AuditLog::Prepare", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    WriteAnew();
    WriteWaiting();
    if (entries.empty())
        return {};
    const std::string time = AuditTime();
    std::string text;
    const auto now = RefusedRights::Clock::now();
    // A turn that is not committed has refused nothing.
    m_refusedThen = m_refused;
    for (const AuditEntry &entry : m_refusedThen.TakeLeftOut(now))
        text += AuditLine(entry, time, k_ValueBytes);
    for (const AuditEntry &entry : entries)
        if (m_refusedThen.IsToWrite(entry, now))
            text += AuditLine(entry, time, k_ValueBytes);
    return text;
}

void AuditLog::Write(std::int64_t number, std::string lines)
{
    _CallEntry call("AuditLog::Write", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    m_refused = std::move(m_refusedThen);
    if (lines.empty())
        return;
    DropSynced();
    m_kept.push_back({number, std::move(lines)});
    TryToWrite();
}

void AuditLog::TryToWrite()
{
    _CallEntry call("AuditLog::TryToWrite", __FILE__, __LINE__);

    if (const auto reason = ostrel::Attempt([this] { WriteWaiting(); }))
        ostrel::LogError(*reason + k_kept_in_store);
}

void AuditLog::WriteWaiting()
{
    _CallEntry call("AuditLog::WriteWaiting", __FILE__, __LINE__);

    for (; m_written < m_kept.size(); ++m_written)
    {
        AuditStore::Kept &next = m_kept[m_written];
        if (m_bytes > 0 && m_bytes + next.lines.size() > m_fileBytes)
            Rotate();
        if (!next.lines.empty() && std::exchange(m_endsWithinLine, false))
            next.lines.insert(0, "\n");
        Append(next.lines);
        SyncSoon(next.number);
    }
}

// What a failed sync was to bring to disk is still seen in the file, and no later sync brings it
// there.
void AuditLog::WriteAnew()
{
    _CallEntry call("AuditLog::WriteAnew", __FILE__, __LINE__);

    std::size_t onDisk = 0;
    {
        const std::lock_guard lock(m_mutex);
        if (m_error == 0)
            return;
        const auto now = std::chrono::steady_clock::now();
        if (m_isSyncing || m_isAnew || (m_disk.TakesTime() && now < m_nextTry))
            FailAudit(m_folder, m_error);
        m_nextTry = now + k_between_tries;
        m_toSync.reset();
        onDisk = m_bytesOnDisk;
    }
    DropSynced();
    std::string text;
    for (std::size_t i = 0; i < m_written; ++i)
        text += m_kept[i].lines;
    Overwrite(onDisk, text);
    {
        const std::lock_guard lock(m_mutex);
        m_isAnew = m_written > 0;
        if (!m_isAnew)
            m_error = 0;
    }
    if (m_written == 0)
        return;
    SyncSoon(m_kept[m_written - 1].number);
    if (const int error = SyncWithin(k_Patience); error != 0)
        FailAudit(m_folder, error);
}

void AuditLog::DropSynced()
{
    _CallEntry call("AuditLog::DropSynced", __FILE__, __LINE__);

    const std::int64_t onDisk = OnDisk();
    for (; m_written > 0 && m_kept.front().number <= onDisk; --m_written)
        m_kept.pop_front();
}

// With what is there already, so that it gets to disk with the next sync.
void AuditLog::Overwrite(std::size_t at, std::string_view text)
{
    _CallEntry call("AuditLog::Overwrite", __FILE__, __LINE__);

    {
        const std::lock_guard lock(m_mutex);
        m_bytesOnDisk = std::min(m_bytesOnDisk, at);
    }
    while (!text.empty())
    {
        const ssize_t written = m_disk.Overwrite(m_file->Number(), at, text);
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            FailAudit(m_folder, errno);
        at += std::size_t(written);
        text.remove_prefix(std::size_t(written));
    }
}

void AuditLog::CutTo(std::size_t bytes)
{
    _CallEntry call("AuditLog::CutTo", __FILE__, __LINE__);

    if (m_disk.Truncate(m_file->Number(), bytes) != 0)
        FailAudit(m_folder, errno);
    m_bytes = bytes;
    m_endsWithinLine = EndsWithinLine(m_file->Number(), m_bytes);
    const std::lock_guard lock(m_mutex);
    m_bytesOnDisk = std::min(m_bytesOnDisk, bytes);
}

// All of it or, where it does not go through, nothing.
void AuditLog::Append(const std::string &text)
{
    _CallEntry call("AuditLog::Append", __FILE__, __LINE__);

    std::size_t done = 0;
    while (done < text.size())
    {
        const ssize_t written = m_disk.Write(m_file->Number(), std::string_view(text).substr(done));
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
        {
            const int error = errno;
            m_disk.Truncate(m_file->Number(), m_bytes);
            FailAudit(m_folder, error);
        }
        done += std::size_t(written);
    }
    m_bytes += text.size();
}

// All that is in the file, which has what is kept up to this number.
void AuditLog::SyncSoon(std::int64_t number)
{
    _CallEntry call("AuditLog::SyncSoon", __FILE__, __LINE__);

    {
        const std::lock_guard lock(m_mutex);
        // Whoever knows of it already is not woken each time.
        if (!m_toSync)
            m_changed.notify_all();
        m_toSync = m_file;
        m_numberToSync = number;
        m_bytesToSync = m_bytes;
    }
    if (!m_disk.TakesTime() && m_disk.IsSyncDue())
        SyncNow();
}

std::int64_t AuditLog::OnDisk()
{
    _CallEntry call("AuditLog::OnDisk", __FILE__, __LINE__);

    const std::lock_guard lock(m_mutex);
    return m_numberOnDisk;
}

void AuditLog::Sync()
{
    _CallEntry call("AuditLog::Sync", __FILE__, __LINE__);

    if (const int error = SyncWithin(k_as_long_as_it_takes); error != 0)
        FailAudit(m_folder, error);
}

// The error that stands then; 0 for none.
int AuditLog::SyncWithin(std::chrono::milliseconds patience)
{
    _CallEntry call("AuditLog::SyncWithin", __FILE__, __LINE__);

    if (!m_disk.TakesTime())
        SyncNow();
    std::unique_lock lock(m_mutex);
    m_isUrgent = true;
    m_changed.notify_all();
    m_changed.wait_for(lock, patience, [this] { return !m_toSync && !m_isSyncing; });
    m_isUrgent = false;
    return m_error;
}

void AuditLog::SyncNow()
{
    _CallEntry call("AuditLog::SyncNow", __FILE__, __LINE__);

    const std::lock_guard lock(m_mutex);
    if (!m_toSync)
        return;
    const int error = m_disk.Sync(m_toSync->Number()) == 0 ? 0 : errno;
    m_toSync.reset();
    NoteSync(error, m_numberToSync, m_bytesToSync, std::exchange(m_isAnew, false));
}

// With the mutex held. After a sync that failed another has nothing to say of what that one was to
// sync, where that was not written anew for it.
void AuditLog::NoteSync(int error, std::int64_t number, std::size_t bytes, bool isAnew)
{
    _CallEntry call("AuditLog::NoteSync", __FILE__, __LINE__);

    if (error != 0)
    {
        if (m_error == 0)
            ostrel::LogError(AuditProblem(m_folder, error) + k_kept_in_store);
        m_error = error;
        return;
    }
    if (m_error != 0 && !isAnew)
        return;
    if (m_error != 0)
        ostrel::LogStatus("audit log " + (m_folder / k_audit_leaf).Text() + " is on disk again");
    m_error = 0;
    m_numberOnDisk = number;
    m_bytesOnDisk = bytes;
}

void AuditLog::RunSync()
{
    _CallEntry call("AuditLog::RunSync", __FILE__, __LINE__);

    std::unique_lock lock(m_mutex);
    for (;;)
    {
        m_changed.wait(lock, [this] { return m_toSync || m_isEnding; });
        if (!m_toSync)
            return;
        m_changed.wait_for(lock, k_sync_after, [this] { return m_isUrgent || m_isEnding; });
        // The loop may have taken it back meanwhile.
        if (!m_toSync)
            continue;
        const std::shared_ptr<Descriptor> file = std::move(m_toSync);
        m_toSync.reset();
        const std::int64_t number = m_numberToSync;
        const std::size_t bytes = m_bytesToSync;
        const bool isAnew = std::exchange(m_isAnew, false);
        m_isSyncing = true;
        lock.unlock();
        const int error = m_disk.Sync(file->Number()) == 0 ? 0 : errno;
        lock.lock();
        m_isSyncing = false;
        NoteSync(error, number, bytes, isAnew);
        m_changed.notify_all();
    }
}

} // namespace master
