#include "keeper/Claim.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "keeper/ArrayFolder.h"

namespace keeper
{

namespace
{

bool IsMasters(const std::string &file)
{
    const int open = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (open < 0)
        return false;
    char text[64];
    const ssize_t count = ::read(open, text, sizeof text);
    ::close(open);
    return count > 0 && std::string(text, std::size_t(count)) == k_MastersClaim;
}

} // namespace

Claim::~Claim()
{
    if (m_open >= 0)
        ::close(m_open);
}

bool Claim::Make(const std::string &file, int flags, const std::string &text)
{
    const int open = ::open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | flags, 0600);
    if (open < 0)
        return false;
    if (::write(open, text.data(), text.size()) != ssize_t(text.size()))
    {
        const int error = errno;
        ::close(open);
        ::unlink(file.c_str());
        errno = error;
        return false;
    }
    if (m_open >= 0)
        ::close(m_open);
    m_open = open;
    return true;
}

Claim::Outcome Claim::TakeFree(const std::string &text)
{
    if (Make(m_file, O_EXCL, text))
        return Outcome::Won;
    return errno == EEXIST ? Outcome::TookOver : Outcome::Failed;
}

Claim::Outcome Claim::Take(const std::string &text)
{
    if (const Outcome outcome = TakeFree(text); outcome != Outcome::TookOver)
        return outcome;
    if (text != k_MastersClaim && IsMasters(m_file))
        return Outcome::Barred;
    char host[256] = "";
    ::gethostname(host, sizeof host - 1);
    const std::string fresh = m_file + "." + host + "." + std::to_string(::getpid());
    if (!Make(fresh, O_TRUNC, text))
        return Outcome::Failed;
    if (::rename(fresh.c_str(), m_file.c_str()) == 0)
        return Outcome::TookOver;
    ::unlink(fresh.c_str());
    return Outcome::Failed;
}

bool Claim::IsOurs() const
{
    struct stat ours
    {
    };
    struct stat there
    {
    };
    // Opened, and not looked at by its name: only then is a share asked anew.
    const int open = ::open(m_file.c_str(), O_RDONLY | O_CLOEXEC);
    if (open < 0)
        return errno != ENOENT && errno != ESTALE && errno != ENOTDIR;
    const bool isTold = ::fstat(open, &there) == 0 && ::fstat(m_open, &ours) == 0;
    const bool isStale = !isTold && errno == ESTALE;
    ::close(open);
    return isTold ? ours.st_dev == there.st_dev && ours.st_ino == there.st_ino : !isStale;
}

} // namespace keeper
