#include "ostrel/File.h"

#include <algorithm>
#include <boost/filesystem.hpp>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ostrel/Descriptor.h"
#include "ostrel/Exception.h"
#include "ostrel/FileReplacement.h"
#include "ostrel/Trash.h"

namespace ostrel
{

namespace
{

// The system ends a path at a zero byte; it must not take "a" for "a\0b".
bool CanBePath(const Path &path)
{
    return path.Text().find('\0') == String::npos;
}

bool IsThere(const Path &path)
{
    struct stat status
    {
    };
    return lstat(path.Text().c_str(), &status) == 0 || (errno != ENOENT && errno != ENOTDIR);
}

bool IsReadableFile(const Path &path)
{
    return FileFinder().Find(path) &&
           faccessat(AT_FDCWD, path.Text().c_str(), R_OK, AT_EACCESS) == 0;
}

[[noreturn]] void Refuse(const char *what, const Path &path, const char *reason)
{
    throw new Exception(String("cannot ") + what + " " + path.Text() + ": " + reason);
}

// Follows symbolic links, also to a file that is missing.
Path TargetOf(const Path &path)
{
    constexpr int k_links_at_most = 40; // As the system counts.

    boost::filesystem::path target = path.Text();
    boost::system::error_code none;
    for (int i = 0; i < k_links_at_most; ++i)
    {
        const boost::filesystem::path next = boost::filesystem::read_symlink(target, none);
        if (next.empty())
            return Path(target.native());
        target = next.is_absolute() ? next : target.parent_path() / next;
    }
    Refuse("write", path, "too many symbolic links");
}

} // namespace

std::list<Path> File::s_AltPaths;

bool File::Delete(const Path &path, bool toTrash)
{
    if (!CanBePath(path))
        return true;
    // The call never removes a folder.
    const bool isDone = toTrash ? MoveToTrash(path) : unlink(path.Text().c_str()) == 0;
    return isDone || !IsThere(path);
}

std::optional<Path> File::FindInAltPaths(const String &leaf)
{
    for (const Path &folder : s_AltPaths)
    {
        Path candidate = folder / leaf;
        if (IsReadableFile(candidate))
            return candidate;
    }
    return std::nullopt;
}

void File::WriteWhole(const Path &path, std::string_view content)
{
    if (!CanBePath(path))
        Refuse("write", path, "a zero byte in its name");

    const Path target = TargetOf(path);
    boost::system::error_code none; // What is wrong with the folder shows when the file is made.
    boost::filesystem::create_directories(target.Parent().Text(), none);

    FileReplacement replacement(target);
    replacement.Write(content);
    replacement.TakePlace();
}

String File::ReadWhole(const Path &path, std::size_t maxBytes)
{
    if (!CanBePath(path))
        Refuse("read", path, "a zero byte in its name");

    // Not to wait for the writer of a pipe.
    const Descriptor file(open(path.Text().c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!file.IsOpen())
        Refuse("read", path, std::strerror(errno));

    String content;
    for (;;)
    {
        constexpr std::size_t k_chunk = 64u << 10;
        const std::size_t had = content.size();
        content.resize(had + k_chunk);
        const ssize_t got = read(file.Number(), content.data() + had, k_chunk);
        if (got < 0 && errno != EINTR)
            Refuse("read", path, std::strerror(errno));
        content.resize(had + std::size_t(std::max<ssize_t>(got, 0)));
        if (content.size() > maxBytes)
            Refuse("read", path, ("larger than " + std::to_string(maxBytes) + " bytes").c_str());
        if (got == 0)
            return content;
    }
}

bool FileFinder::Find(const Path &path)
{
    return CanBePath(path) && FindAt(AT_FDCWD, path.Text().c_str()) == 0;
}

int FileFinder::FindAt(int folder, const char *name)
{
    struct stat status; // All of it is written where the call succeeds.
    if (fstatat(folder, name, &status, 0) != 0)
        return errno;
    if (!S_ISREG(status.st_mode))
        return ENOENT;

    m_size = std::uint64_t(status.st_size);
    m_modified = Time(status.st_mtim);
    return 0;
}

} // namespace ostrel
