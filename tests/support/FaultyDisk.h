#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <vector>

#include <sqlite3.h>

#include "tests/support/DiskFile.h"

/// A disk in memory for SQLite, which fails and forgets as it is told. Databases are opened on it
/// by `Name()`, under any path; all of its files are in one folder.
///
/// Each time that SQLite asks something of the disk is an operation. What is written is only seen
/// until it is synced, and the name of a new file until its folder is; a power cut takes it away.
/// Where the power is cut, or the program killed, nothing works any more, and nothing is changed by
/// what the program still does, until `Start`. One thread.
class FaultyDisk
{
public:
    enum class Fault
    {
        Error, ///< Of any operation.
        Full,  ///< Of those that need room.
    };

    /// How much of what was not synced is there after `Start`.
    enum class Restart
    {
        AfterKill, ///< All of it: only the program has ended.
        AfterPowerCut,
        AfterMessyPowerCut, ///< Some of it, in parts.
    };

    using Contents = std::map<std::string, std::string>; ///< By name.

    explicit FaultyDisk(std::uint64_t seed = 1, const Contents &contents = {});
    ~FaultyDisk();
    FaultyDisk(const FaultyDisk &) = delete;
    FaultyDisk &operator=(const FaultyDisk &) = delete;

    const char *Name() const
    {
        return m_name.c_str();
    }
    /// As programs see it.
    Contents Seen() const;

    /// Databases are checkpointed whenever their log has so many pages, and not after 1,000.
    void SetCheckpoint(int pages)
    {
        m_checkpointPages = pages;
    }
    /// Syncs do nothing and say that all is well.
    void ForgetSyncs()
    {
        m_syncs = false;
    }

    /// Operations so far.
    long Count() const
    {
        return m_count;
    }
    /// The operations from this one on fail, counted as `Count` does, so many of them.
    void Fail(long from, long count, Fault fault);
    /// It stops at this operation, which is not carried out, or a write in part.
    void StopAt(long operation)
    {
        m_stopAt = operation;
    }
    void Stop()
    {
        m_isStopped = true;
    }
    /// Nothing that needs room would be carried out now.
    bool IsFull() const
    {
        return m_fault == Fault::Full && m_count + 1 >= m_failFrom &&
               m_count + 1 - m_failFrom < m_failCount;
    }
    bool IsStopped() const
    {
        return m_isStopped;
    }
    /// All databases have been closed. No fault is left over.
    void Start(Restart restart);
    /// Nothing fails any more, nor stops.
    void Heal();
    /// What is done meanwhile is no operation, and does not fail: the test itself looks at
    /// something.
    void SetAside(bool isAside)
    {
        m_isAside = isAside;
    }

private:
    struct Vfs;
    struct Handle;
    struct Shared;
    using Names = std::map<std::string, std::shared_ptr<DiskFile>>;

    enum class Operation
    {
        Open,
        Read,
        Write,
        Truncate,
        Sync,
        Size,
        Delete,
        Look,
        Map,
    };

    int Begin(Operation operation);
    static int ErrorOf(Operation operation);
    int HighestLockOfOthers(const Handle &handle) const;

    static constexpr long k_never = std::numeric_limits<long>::max();

    std::string m_name;
    DiskFile::Random m_random;
    std::unique_ptr<sqlite3_vfs> m_vfs;
    Names m_seen;
    Names m_kept;
    std::map<std::string, std::shared_ptr<Shared>> m_shared; // The memory of the logs' indexes.
    std::vector<Handle *> m_handles;
    int m_checkpointPages = 0;
    bool m_syncs = true;
    bool m_isStopped = false;
    bool m_isAside = false;
    long m_count = 0;
    long m_stopAt = k_never;
    long m_failFrom = k_never;
    long m_failCount = 0;
    Fault m_fault = Fault::Error;
};
