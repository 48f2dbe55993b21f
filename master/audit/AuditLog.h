#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <thread>

#include "master/audit/AuditEntry.h"
#include "master/audit/RefusedRights.h"
#include "master/store/AuditStore.h"
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
    /// As `::pwrite`, of a file that is open for appending. Takes no room.
    virtual ssize_t Overwrite(int file, std::size_t at, std::string_view text);
    /// As `::ftruncate`.
    virtual int Truncate(int file, std::size_t bytes);
    /// As `::fdatasync`.
    virtual int Sync(int file);
    /// Whether a sync takes so long that it is worth a thread of its own, which calls it then.
    virtual bool TakesTime() const
    {
        return true;
    }
    /// Where it does not: whether what was just written is to be synced now.
    virtual bool IsSyncDue()
    {
        return false;
    }
};

/// The record of who changed what, and of what was refused for want of a right: one JSON object a
/// line, in the file "audit.log" of the data folder, readable by its owner alone.
///
/// The lines of a turn are part of its transaction (`AuditStore`), so what was answered is in the
/// record, through a power cut too, and what was not committed never is. Once they are committed
/// the file gets them; a thread of its own syncs it within a second, and what it has on disk the
/// store may forget. What a crash took of the file is written again from the store.
///
/// Where the file cannot be written, or not be synced, the lines stay in the store, and no further
/// turn is prepared before they are in the file, and on disk there. A disk that fails may take long
/// to say so: what it has lost is written anew once a second at most, and no turn waits for that
/// longer than `k_Patience`.
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
    static constexpr std::chrono::milliseconds k_Patience{100};

    /// Throws `ostrel::Exception *` where the file cannot be had. `fileBytes`: when to rotate.
    /// `disk` outlives it; null for the system's.
    explicit AuditLog(const Path &folder, std::size_t fileBytes = k_FileBytes,
                      AuditDisk *disk = nullptr);
    ~AuditLog();
    AuditLog(const AuditLog &) = delete;
    AuditLog &operator=(const AuditLog &) = delete;

    /// Writes what of these lines, which an earlier run has kept, the files have not. Before all
    /// else, once. What is at the end of the file is written anew, too: it may be there and not on
    /// disk. Throws `ostrel::Exception *` where it cannot read the files.
    void Restore(std::span<const AuditStore::Kept> kept);

    /// The lines of a turn, which are to be kept in its transaction; empty where it has none. Of
    /// many that were refused to a user some are left out, and counted. Before that, and without
    /// entries too, earlier lines are written that could not be. Throws `ostrel::Exception *` where
    /// they do not get into the file; a turn with entries is then not to be committed.
    std::string Prepare(std::span<const AuditEntry> entries);

    /// Writes lines that are kept under this number, which is above all before it. Where that is
    /// not possible yet it logs why, and they are written as soon as it is. They are what was
    /// prepared last, which is committed; may be empty, the number counts for nothing then.
    void Write(std::int64_t number, std::string lines);

    /// What is kept under numbers up to this one is on disk in the file. 0 for none of this run.
    std::int64_t OnDisk();

    /// Waits until all that was written is on disk. Throws `ostrel::Exception *` where it does not
    /// come there.
    void Sync();

private:
    void Open();
    void Rotate();
    void WriteWaiting();
    void TryToWrite();
    void WriteAnew();
    void Append(const std::string &text);
    void Overwrite(std::size_t at, std::string_view text);
    void CutTo(std::size_t bytes);
    void SyncSoon(std::int64_t number);
    int SyncWithin(std::chrono::milliseconds patience);
    void DropSynced();
    std::string EraseFound(std::string_view lines) const;
    void SyncNow();
    void RunSync();
    void NoteSync(int error, std::int64_t number, std::size_t bytes, bool isAnew);

    const Path m_folder;
    const std::size_t m_fileBytes;
    AuditDisk m_ofSystem;
    AuditDisk &m_disk;
    LoopThread m_thread;
    std::shared_ptr<ostrel::Descriptor> m_file; // Shared with a sync that is under way.
    std::size_t m_bytes = 0;
    bool m_endsWithinLine = false;
    // Not known to be on disk. The first so many of them are the end of the file.
    std::deque<AuditStore::Kept> m_kept;
    std::size_t m_written = 0;
    RefusedRights m_refused;
    RefusedRights m_refusedThen; // Once what was prepared last is committed.
    std::chrono::steady_clock::time_point m_nextTry{}; // To write anew what was lost.

    std::mutex m_mutex; // Guards all below.
    std::condition_variable m_changed;
    std::shared_ptr<ostrel::Descriptor> m_toSync;
    std::int64_t m_numberToSync = 0; // The last that was written, and so many bytes with it.
    std::size_t m_bytesToSync = 0;
    bool m_isAnew = false; // That writes anew what was lost.
    bool m_isSyncing = false;
    bool m_isUrgent = false; // Somebody waits for it.
    bool m_isEnding = false;
    std::int64_t m_numberOnDisk = 0;
    std::size_t m_bytesOnDisk = 0;
    int m_error = 0; // Of a sync; what it was to sync is not on disk before it is written anew.
    std::jthread m_syncer;
};

} // namespace master
