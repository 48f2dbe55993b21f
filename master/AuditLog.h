#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <span>
#include <string_view>
#include <sys/types.h>
#include <thread>

#include "master/AuditEntry.h"
#include "master/RefusedRights.h"
#include "ostrel/Descriptor.h"
#include "ostrel/LoopThread.h"
#include "ostrel/Path.h"

namespace master
{

using ostrel::LoopThread;
using ostrel::Path;

/// How the audit log gets to disk: the system's way, and in tests another.
class AuditDisk
{
public:
    virtual ~AuditDisk() = default;

    /// As `::write`.
    virtual ssize_t Write(int file, std::string_view text);
    /// As `::fdatasync`.
    virtual int Sync(int file);
    /// Whether a sync takes so long that it is worth a thread of its own, which calls it then.
    virtual bool TakesTime() const
    {
        return true;
    }
};

/// The record of who changed what, and of what was refused for want of a right: one JSON object a
/// line, in the file "audit.log" of the data folder, readable by its owner alone.
///
/// A turn writes its lines before it commits and has them on disk before it answers: what was
/// answered is in the record, through a power cut too. The file is synced by a thread of its own
/// while the store commits, so that a turn waits for the slower of the two and not for both. What
/// is written and then not committed is taken back by a line of its own, or cut off where there is
/// no room for one.
///
/// The file is rotated by size: "audit.log.1" is the one before, the last of them is removed.
/// Loop thread.
class AuditLog
{
public:
    static constexpr std::size_t k_FileBytes = 16u << 20;
    static constexpr unsigned k_Kept = 9; ///< Files beside the one that is written.
    /// Of a value that is longer its beginning is kept.
    static constexpr std::size_t k_ValueBytes = 16u << 10;

    /// Throws `ostrel::Exception *` where the file cannot be had. `fileBytes`: when to rotate.
    /// `disk` outlives it; null for the system's.
    explicit AuditLog(const Path &folder, std::size_t fileBytes = k_FileBytes,
                      AuditDisk *disk = nullptr);
    ~AuditLog();
    AuditLog(const AuditLog &) = delete;
    AuditLog &operator=(const AuditLog &) = delete;

    /// Writes the lines of a turn, which are then on their way to disk, and gives how many. Of many
    /// that were refused to a user some are left out, and counted. Throws `ostrel::Exception *`
    /// where it cannot; the turn is then not to be committed.
    std::size_t Write(std::span<const AuditEntry> entries);

    /// Waits until all that was written is on disk. Throws `ostrel::Exception *` where it does not
    /// come there.
    void Sync();

    /// The last `count` lines that were written are not so: they were not committed.
    void TakeBack(std::size_t count, const String &reason);

private:
    void Open();
    void Rotate();
    void Append(const std::string &text);
    void SyncNow();
    void RunSync();

    const Path m_folder;
    const std::size_t m_fileBytes;
    AuditDisk m_ofSystem;
    AuditDisk &m_disk;
    LoopThread m_thread;
    std::shared_ptr<ostrel::Descriptor> m_file; // Shared with a sync that is under way.
    std::size_t m_bytes = 0;
    std::size_t m_bytesBefore = 0; // The lines that were written last.
    RefusedRights m_refused;

    std::mutex m_mutex; // Guards all below.
    std::condition_variable m_changed;
    std::shared_ptr<ostrel::Descriptor> m_toSync;
    bool m_isSyncing = false;
    bool m_isEnding = false;
    int m_error = 0; // Of the last sync.
    std::jthread m_syncer;
};

} // namespace master
