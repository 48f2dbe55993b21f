#include "master/MasterLock.h"

#include <cerrno>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>

#include "ostrel/CallEntry.h"
#include "ostrel/Exception.h"

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

void MakePrivateFolder(const Path &folder)
{
    if (folder.IsEmpty() || std::filesystem::is_directory(folder.Text().c_str()))
        return;
    MakePrivateFolder(folder.Parent());
    if (::mkdir(folder.Text().c_str(), 0700) != 0 && errno != EEXIST)
        throw new Exception("cannot make folder " + folder.Text() + ": " +
                            std::system_category().message(errno));
}

} // namespace master
