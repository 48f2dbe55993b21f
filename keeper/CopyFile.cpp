#include "keeper/CopyFile.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace keeper
{

namespace
{

constexpr std::size_t k_part = 4u << 20;

// Within one server the data need not come here at all.
bool CopyOnServer(int from, int to, const std::function<bool()> &isOver)
{
    while (!isOver())
    {
        const ssize_t count = ::copy_file_range(from, nullptr, to, nullptr, k_part, 0);
        if (count <= 0)
            return count == 0;
    }
    return false;
}

bool CopyHere(int from, int to, const std::function<bool()> &isOver)
{
    if (::lseek(from, 0, SEEK_SET) < 0 || ::lseek(to, 0, SEEK_SET) < 0 || ::ftruncate(to, 0) != 0)
        return false;
    std::vector<char> part(1u << 20);
    while (!isOver())
    {
        const ssize_t count = ::read(from, part.data(), part.size());
        if (count <= 0)
            return count == 0;
        for (ssize_t done = 0; done < count;)
        {
            const ssize_t written = ::write(to, part.data() + done, std::size_t(count - done));
            if (written <= 0)
                return false;
            done += written;
        }
    }
    return false;
}

bool CopyContent(int from, int to, const std::function<bool()> &isOver)
{
    if (::ioctl(to, FICLONE, from) == 0)
        return true;
    struct stat source
    {
    };
    struct stat copy
    {
    };
    if (::fstat(from, &source) != 0)
        return false;
    // Some file systems say that all is done and have copied nothing.
    if (CopyOnServer(from, to, isOver) && ::fstat(to, &copy) == 0 && copy.st_size == source.st_size)
        return true;
    if (errno == ENOSPC || errno == EDQUOT || isOver())
        return false;
    return CopyHere(from, to, isOver);
}

bool CopyOpenFile(int from, const std::string &to, const std::function<bool()> &isOver)
{
    struct stat found
    {
    };
    if (::fstat(from, &found) != 0)
        return false;
    const int copy = ::open(to.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (copy < 0)
        return false;
    const timespec times[] = {found.st_atim, found.st_mtim};
    const bool isCopied = CopyContent(from, copy, isOver) &&
                          ::fchmod(copy, found.st_mode & 07777) == 0 &&
                          ::futimens(copy, times) == 0;
    const int error = errno;
    // A server may say only now that it has no room.
    const bool isClosed = ::close(copy) == 0;
    if (isCopied && isClosed)
        return true;
    const int why = isCopied ? errno : error;
    ::unlink(to.c_str());
    errno = why;
    return false;
}

} // namespace

bool CopyFile(const std::string &from, const std::string &to, const std::function<bool()> &isOver,
              std::string *reason)
{
    errno = 0;
    const int file = ::open(from.c_str(), O_RDONLY | O_CLOEXEC);
    const bool isCopied = file >= 0 && CopyOpenFile(file, to, isOver);
    if (!isCopied)
        *reason = isOver() ? std::string("it was ended before it began")
                           : "cannot keep " + from +
                                 " while it is rendered again: " + std::strerror(errno);
    if (file >= 0)
        ::close(file);
    return isCopied;
}

} // namespace keeper
