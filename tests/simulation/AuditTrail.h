#pragma once

#include <map>
#include <string>
#include <vector>

#include "master/AuditLog.h"
#include "ostrel/Path.h"
#include "tests/simulation/Chance.h"
#include "tests/simulation/Ledger.h"
#include "tests/simulation/Verdict.h"
#include "tests/support/FaultyDisk.h"

namespace simulation
{

/// The audit log, on a disk that is as full as that of the store and stops when it does, and
/// forgets with it what was not synced. What stands in it is held against what clients were
/// answered.
class AuditTrail : public master::AuditDisk
{
public:
    /// `folder` is the Master's.
    AuditTrail(const ostrel::Path &folder, const FaultyDisk &disk, Chance &chance,
               Verdict &verdict);
    /// Leaves no file.
    ~AuditTrail() override;

    ssize_t Write(int file, std::string_view text) override;
    int Sync(int file) override;
    /// Else nobody knew whether it comes before the commit or after it.
    bool TakesTime() const override
    {
        return false;
    }

    /// The Master was killed, or the power cut; call it once it is gone.
    void Crash(FaultyDisk::Restart restart);

    /// Every change that was accepted, and every right that was refused, stands in it; and nothing
    /// that was refused stands there as if it had been done.
    void Compare(const std::vector<Ledger::Wish> &wishes);

    /// Lines that say so, of turns that were not committed.
    long CountTakenBack() const
    {
        return m_takenBack;
    }

private:
    using Counts = std::map<std::string, int>;

    void Read(Counts &done, Counts &refused);

    const std::string m_file;
    const FaultyDisk &m_disk;
    Chance &m_chance;
    Verdict &m_verdict;
    std::size_t m_synced = 0;
    int m_powerCuts = 0; // Each may leave a line that ends in its midst.
    long m_takenBack = 0;
};

} // namespace simulation
