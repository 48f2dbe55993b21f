#include "master/door/PrivateFile.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "ostrel/Descriptor.h"
#include "ostrel/Exception.h"

namespace master
{

using ostrel::Descriptor;
using ostrel::Exception;
using ostrel::String;

namespace
{

[[noreturn]] void FailToWrite(const Path &file)
{
    throw new Exception("cannot write " + file.Text() + ": " +
                        std::system_category().message(errno));
}

bool WriteAll(int file, std::string_view content)
{
    while (!content.empty())
    {
        const ssize_t written = ::write(file, content.data(), content.size());
        if (written < 0 && errno != EINTR)
            return false;
        content.remove_prefix(std::size_t(std::max<ssize_t>(written, 0)));
    }
    return true;
}

bool GiveToOwnerOf(int folder, int file)
{
    struct stat owner
    {
    };
    return ::geteuid() != 0 || ::fstat(folder, &owner) != 0 ||
           ::fchown(file, owner.st_uid, owner.st_gid) == 0;
}

bool WriteAt(int folder, const char *leaf, std::string_view content, mode_t mode)
{
    const Descriptor file(
        ::openat(folder, leaf, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600));
    return file.IsOpen() && WriteAll(file.Number(), content) &&
           GiveToOwnerOf(folder, file.Number()) && ::fchmod(file.Number(), mode) == 0 &&
           ::fsync(file.Number()) == 0;
}

} // namespace

void WriteFileFor(const Path &file, std::string_view content, mode_t mode)
{
    const Descriptor folder(
        ::open(file.Parent().Text().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder.IsOpen())
        FailToWrite(file);
    const String leaf = file.Leaf(true);
    const String fresh = "." + leaf + ".new";
    ::unlinkat(folder.Number(), fresh.c_str(), 0);
    if (WriteAt(folder.Number(), fresh.c_str(), content, mode) &&
        ::renameat(folder.Number(), fresh.c_str(), folder.Number(), leaf.c_str()) == 0 &&
        ::fsync(folder.Number()) == 0)
        return;
    const int error = errno;
    ::unlinkat(folder.Number(), fresh.c_str(), 0);
    errno = error;
    FailToWrite(file);
}

void RequirePrivate(const Path &file, const char *what)
{
    struct stat status
    {
    };
    if (::stat(file.Text().c_str(), &status) == 0 && (status.st_mode & (S_IRWXG | S_IRWXO)) != 0)
        throw new Exception(String("cannot use ") + what + " " + file.Text() +
                            ": it is open to others than its owner (chmod 600)");
}

} // namespace master
