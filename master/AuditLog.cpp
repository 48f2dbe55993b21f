#include "master/AuditLog.h"

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "ostrel/CallEntry.h"
#include "ostrel/Exception.h"
#include "ostrel/Time.h"

namespace master
{

using ostrel::_CallEntry;
using ostrel::Descriptor;
using ostrel::Exception;

namespace
{

const char *const k_audit_leaf = "audit.log";

Path RotatedFile(const Path &folder, unsigned number)
{
    return folder / (number == 0 ? String(k_audit_leaf)
                                 : String(k_audit_leaf) + "." + std::to_string(number));
}

[[noreturn]] void FailAudit(const Path &folder, int error)
{
    throw new Exception("cannot write audit log " + (folder / k_audit_leaf).Text() + ": " +
                        std::system_category().message(error));
}

std::string AuditTime()
{
    std::string time;
    ostrel::Time::Now().AppendIso(time);
    return time;
}

// The end of a line that a crash cut off would otherwise be the beginning of the next.
bool EndsWithinLine(int file, std::size_t bytes)
{
    char last = '\n';
    return bytes > 0 && ::pread(file, &last, 1, off_t(bytes) - 1) == 1 && last != '\n';
}

} // namespace

ssize_t AuditDisk::Write(int file, std::string_view text)
{
    return ::write(file, text.data(), text.size());
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
    if (EndsWithinLine(m_file->Number(), m_bytes))
        Append("\n");
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

std::size_t AuditLog::Write(std::span<const AuditEntry> entries)
{
    _CallEntry call("AuditLog::Write", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    if (entries.empty())
        return 0;
    const std::string time = AuditTime();
    std::string text;
    const auto now = RefusedRights::Clock::now();
    for (const AuditEntry &entry : m_refused.TakeLeftOut(now))
        text += AuditLine(entry, time, k_ValueBytes);
    for (const AuditEntry &entry : entries)
        if (m_refused.IsToWrite(entry, now))
            text += AuditLine(entry, time, k_ValueBytes);
    if (text.empty())
        return 0;
    if (m_bytes > 0 && m_bytes + text.size() > m_fileBytes)
        Rotate();
    m_bytesBefore = m_bytes;
    Append(text);
    return std::size_t(std::ranges::count(text, '\n'));
}

void AuditLog::TakeBack(std::size_t count, const String &reason)
{
    _CallEntry call("AuditLog::TakeBack", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    if (count == 0)
        return;
    nlohmann::ordered_json line;
    line["time"] = AuditTime();
    line["what"] = "taken back";
    line["lines"] = count;
    line["reason"] = std::string(reason);
    try
    {
        Append(line.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n");
    }
    catch (Exception *raw)
    {
        // A disk without room still gives some back.
        const std::unique_ptr<Exception> error(raw);
        if (::ftruncate(m_file->Number(), off_t(m_bytesBefore)) != 0)
            FailAudit(m_folder, errno);
        m_bytes = m_bytesBefore;
    }
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
            [[maybe_unused]] const int cut = ::ftruncate(m_file->Number(), off_t(m_bytes));
            FailAudit(m_folder, error);
        }
        done += std::size_t(written);
    }
    m_bytes += text.size();

    const std::lock_guard lock(m_mutex);
    m_toSync = m_file;
    m_changed.notify_all();
}

void AuditLog::Sync()
{
    _CallEntry call("AuditLog::Sync", __FILE__, __LINE__);

    if (!m_disk.TakesTime())
        SyncNow();
    int error = 0;
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [this] { return !m_toSync && !m_isSyncing; });
        error = std::exchange(m_error, 0);
    }
    if (error != 0)
        FailAudit(m_folder, error);
}

void AuditLog::SyncNow()
{
    _CallEntry call("AuditLog::SyncNow", __FILE__, __LINE__);

    const std::lock_guard lock(m_mutex);
    if (m_toSync && m_disk.Sync(m_toSync->Number()) != 0)
        m_error = errno;
    m_toSync.reset();
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
        const std::shared_ptr<Descriptor> file = std::move(m_toSync);
        m_toSync.reset();
        m_isSyncing = true;
        lock.unlock();
        const int error = m_disk.Sync(file->Number()) == 0 ? 0 : errno;
        lock.lock();
        m_isSyncing = false;
        if (error != 0)
            m_error = error;
        m_changed.notify_all();
    }
}

} // namespace master
