#include "master/door/MasterLock.h"

#include <filesystem>

#include "ostrel/CallEntry.h"
#include "ostrel/Exception.h"
#include "ostrel/Folders.h"

namespace master
{

using ostrel::_CallEntry;
using ostrel::Exception;

MasterLock::MasterLock(const Path &lockFile, const String &claimed)
    : m_lock(ostrel::FileLock::Take(lockFile))
{
    _CallEntry call("MasterLock::MasterLock", __FILE__, __LINE__);

    if (!m_lock)
        throw new Exception("another Master uses " + claimed);
}

MasterLock MasterLock::OfDataFolder(const Path &data)
{
    _CallEntry call("MasterLock::OfDataFolder", __FILE__, __LINE__);

    // One that is there already was made by somebody who runs a Master and said who may read it.
    if (!std::filesystem::is_directory(data.Text().c_str()))
        ostrel::MakePrivateFolder(data);
    return {data / "master.lock", "data folder " + data.Text()};
}

} // namespace master
