#include "master/MasterLock.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "ostrel/CallEntry.h"
#include "ostrel/Exception.h"

namespace master
{

using ostrel::_CallEntry;
using ostrel::Exception;

namespace
{

std::string LastError()
{
    return std::system_category().message(errno);
}

} // namespace

MasterLock::MasterLock(const Path &lockFile, const String &claimed)
    : m_file(::open(lockFile.Text().c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600))
{
    _CallEntry call("MasterLock::MasterLock", __FILE__, __LINE__);

    if (m_file < 0)
        throw new Exception("cannot open lock file " + lockFile.Text() + ": " + LastError());
    if (::flock(m_file, LOCK_EX | LOCK_NB) == 0)
        return;

    const bool isTaken = errno == EWOULDBLOCK;
    const std::string reason = LastError();
    ::close(m_file);
    if (isTaken)
        throw new Exception("another Master uses " + claimed);
    throw new Exception("cannot lock " + lockFile.Text() + ": " + reason);
}

MasterLock::~MasterLock()
{
    _CallEntry call("MasterLock::~MasterLock", __FILE__, __LINE__);

    ::close(m_file);
}

void MakePrivateFolder(const Path &folder)
{
    if (folder.IsEmpty() || std::filesystem::is_directory(folder.Text().c_str()))
        return;
    MakePrivateFolder(folder.Parent());
    if (::mkdir(folder.Text().c_str(), 0700) != 0 && errno != EEXIST)
        throw new Exception("cannot make folder " + folder.Text() + ": " + LastError());
}

} // namespace master
