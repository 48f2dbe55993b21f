#include "ostrel/FileLock.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <system_error>

#include "ostrel/Exception.h"

namespace ostrel
{

namespace
{

std::string LastError()
{
    return std::system_category().message(errno);
}

} // namespace

std::unique_ptr<FileLock> FileLock::Take(const Path &lockFile)
{
    std::unique_ptr<FileLock> lock(
        new FileLock(::open(lockFile.Text().c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)));
    if (!lock->m_file.IsOpen())
        throw new Exception("cannot open lock file " + lockFile.Text() + ": " + LastError());
    if (::flock(lock->m_file.Number(), LOCK_EX | LOCK_NB) == 0)
        return lock;
    if (errno == EWOULDBLOCK)
        return nullptr;
    throw new Exception("cannot lock " + lockFile.Text() + ": " + LastError());
}

} // namespace ostrel
