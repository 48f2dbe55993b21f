#pragma once

#include <map>
#include <string>
#include <vector>

#include "master/audit/AuditLog.h"
#include "ostrel/Path.h"
#include "tests/simulation/Chance.h"
#include "tests/simulation/Ledger.h"
#include "tests/simulation/Verdict.h"
#include "tests/support/FaultyDisk.h"

namespace simulation
{

/// The audit log, on a disk that is as full as that of the store and stops when it does, and
/// forgets with it what was not synced. Some syncs fail: what they were to sync is seen until the
/// power is cut, and no later one brings it to disk. What stands in it is held against what clients
/// were answered.
class AuditTrail : public master::AuditDisk
{
public:
    /// `folder` is the Master's.
    AuditTrail(const ostrel::Path &folder, const FaultyDisk &disk, Chance &chance,
               Verdict &verdict);
    /// Leaves no file.
    ~AuditTrail() override;

    /// How many syncs fail, in percent.
    void SetFailures(unsigned percent)
    {
        m_failures = percent;
    }

    ssize_t Write(int file, std::string_view text) override;
    ssize_t Overwrite(int file, std::size_t at, std::string_view text) override;
    int Truncate(int file, std::size_t bytes) override;
    int Sync(int file) override;
    /// Else nobody knew when it comes.
    bool TakesTime() const override
    {
        return false;
    }
    bool IsSyncDue() override
    {
        return m_chance.IsOneIn(4);
    }

    /// The Master was killed, or the power cut; call it once it is gone.
    void Crash(FaultyDisk::Restart restart);

    /// Every change that was accepted, and every right that was refused, stands in it; and nothing
    /// that was refused stands there as if it had been done.
    void Compare(const Ledger &ledger);

    /// How often a power cut took lines of it.
    long CountCuts() const
    {
        return m_cuts;
    }

private:
    using Counts = std::map<std::string, int>;

    void Read(Counts &done, Counts &refused);

    const std::string m_file;
    const FaultyDisk &m_disk;
    Chance &m_chance;
    Verdict &m_verdict;
    unsigned m_failures = 0;
    std::size_t m_synced = 0;
    std::size_t m_lost = 0; // What is seen from there on up to here no sync brings to disk.
    long m_cuts = 0;
};

} // namespace simulation
