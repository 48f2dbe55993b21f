#pragma once

#include <memory>

#include "ostrel/Descriptor.h"
#include "ostrel/Path.h"

namespace ostrel
{

/// A lock among processes, on a file, for as long as it lives; a crash gives it up too. Two locks
/// of one process keep each other out as well. Any thread.
class FileLock
{
public:
    /// Takes the lock of `lockFile`, which is made where it is missing, open to this user alone,
    /// and stays behind. Null when somebody else has it. Throws `Exception *` with the reason when
    /// the file cannot be opened or locked.
    static std::unique_ptr<FileLock> Take(const Path &lockFile);

private:
    explicit FileLock(int file) : m_file(file) {}

    const Descriptor m_file;
};

} // namespace ostrel
