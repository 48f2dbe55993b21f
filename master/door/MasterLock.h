#pragma once

#include <memory>

#include "ostrel/FileLock.h"

namespace master
{

using ostrel::Path;
using ostrel::String;

/// The claim of one Master on a folder or an address, for as long as it lives; a crash gives it
/// up too.
class MasterLock
{
public:
    /// `claimed` is what the claim is on, for people: "data folder /server". Throws
    /// `ostrel::Exception *` when another Master has it ("another Master uses data folder
    /// /server"), which takes a second, and when the lock file, which stays behind, cannot be made.
    MasterLock(const Path &lockFile, const String &claimed);

    /// The claim on a data folder, which is made, open to this user alone, where it is missing.
    static MasterLock OfDataFolder(const Path &data);

private:
    std::unique_ptr<ostrel::FileLock> m_lock;
};

} // namespace master
