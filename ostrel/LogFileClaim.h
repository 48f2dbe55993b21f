#pragma once

#include <memory>

#include "ostrel/FileLock.h"

namespace ostrel
{

/// A log file that this process alone writes, for as long as it lives: two that rotate one file
/// would lose each other's lines.
class LogFileClaim
{
public:
    /// Claims `wanted`, or where another process has it the first free one of "Ordwick-2.log",
    /// "Ordwick-3.log" and so on beside it. Where `k_most` are taken, or no lock can be had, the
    /// wanted file is shared. The folder is made where it is missing.
    explicit LogFileClaim(const Path &wanted);

    const Path &File() const
    {
        return m_file;
    }

    static constexpr int k_most = 20;

private:
    Path m_file;
    std::unique_ptr<FileLock> m_lock;
};

} // namespace ostrel
