#include "ostrel/FileReplacement.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "ostrel/Exception.h"
#include "ostrel/UID.h"

namespace ostrel
{

FileReplacement::FileReplacement(const Path &target)
    : m_target(target), m_old(FindOld()),
      m_path(target.Parent() / (".new-" + UID(true).ToString())), m_file(Create())
{
    if (!m_file.IsOpen())
        Refuse(errno);
    if (m_old)
        TakeOverPermissions();
}

FileReplacement::~FileReplacement()
{
    if (!m_isInPlace)
        unlink(m_path.Text().c_str());
}

void FileReplacement::Write(std::string_view content)
{
    while (!content.empty())
    {
        const ssize_t written = write(m_file.Number(), content.data(), content.size());
        if (written >= 0)
            content.remove_prefix(std::size_t(written));
        else if (errno != EINTR)
            Refuse(errno);
    }
}

void FileReplacement::TakePlace()
{
    if (fsync(m_file.Number()) != 0 ||
        std::rename(m_path.Text().c_str(), m_target.Text().c_str()) != 0)
        Refuse(errno);
    m_isInPlace = true;
    SyncFolder();
}

void FileReplacement::Refuse(int reason) const
{
    throw new Exception("cannot write " + m_target.Text() + ": " + std::strerror(reason));
}

std::optional<struct stat> FileReplacement::FindOld() const
{
    struct stat status
    {
    };
    if (stat(m_target.Text().c_str(), &status) != 0)
        return std::nullopt;

    if (S_ISDIR(status.st_mode))
        Refuse(EISDIR);
    if (!S_ISREG(status.st_mode))
        throw new Exception("cannot write " + m_target.Text() + ": it is no regular file");
    // A rename needs no permission of the file itself; who took it away meant it.
    if (faccessat(AT_FDCWD, m_target.Text().c_str(), W_OK, AT_EACCESS) != 0)
        Refuse(errno);
    return status;
}

int FileReplacement::Create() const
{
    // The permissions of an old file are set before anything is written; until then nobody else's.
    const mode_t mode = m_old ? S_IRUSR | S_IWUSR : 0666;
    return open(m_path.Text().c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
}

void FileReplacement::TakeOverPermissions()
{
    // Only the administrator may give a file away. Before the mode, which this call may cut.
    [[maybe_unused]] const int ignored = fchown(m_file.Number(), m_old->st_uid, m_old->st_gid);
    if (fchmod(m_file.Number(), m_old->st_mode & 07777) == 0)
        return;
    const int reason = errno;
    unlink(m_path.Text().c_str()); // The destructor does not run for a constructor that fails.
    Refuse(reason);
}

void FileReplacement::SyncFolder() const
{
    // Best effort: the new file is in place already, and not every file system takes this.
    const Path folder = m_target.Parent();
    const Descriptor handle(
        open(folder.IsEmpty() ? "." : folder.Text().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (handle.IsOpen())
        fsync(handle.Number());
}

} // namespace ostrel
