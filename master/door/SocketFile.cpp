#include "master/door/SocketFile.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <system_error>
#include <unistd.h>

#include "ostrel/CallEntry.h"
#include "ostrel/Exception.h"
#include "ostrel/Folders.h"

namespace master
{

using ostrel::_CallEntry;
using ostrel::Exception;

namespace
{

// The address was checked for its length when it was read.
bool SomebodyListens(const Path &file)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, file.Text().c_str(), sizeof(address.sun_path) - 1);

    const int probe = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool listens =
        ::connect(probe, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) == 0;
    ::close(probe);
    return listens;
}

// Where clients look by themselves, nobody else may have been first: he could be their Master. A
// folder that was chosen, and is there, may be open to others; the socket itself is not.
Path PrepareFolder(const Path &file)
{
    const Path folder = file.Parent();
    if (folder == ostrel::RuntimeFolder() || !std::filesystem::exists(folder.Text().c_str()))
        ostrel::MakePrivateFolder(folder);
    return file.Text() + ".lock";
}

} // namespace

SocketFile::SocketFile(const Path &file)
    : m_file(file), m_lock(PrepareFolder(file), "address " + file.Text())
{
    _CallEntry call("SocketFile::SocketFile", __FILE__, __LINE__);

    struct stat found
    {
    };
    if (::lstat(file.Text().c_str(), &found) != 0)
        return;
    if (!S_ISSOCK(found.st_mode))
        throw new Exception("cannot listen at " + file.Text() + ": another file is there");
    if (SomebodyListens(file))
        throw new Exception("cannot listen at " + file.Text() + ": somebody does already");
    ::unlink(file.Text().c_str());
}

SocketFile::~SocketFile()
{
    _CallEntry call("SocketFile::~SocketFile", __FILE__, __LINE__);

    ::unlink(m_file.Text().c_str());
}

void SocketFile::OpenTo(Others others) const
{
    _CallEntry call("SocketFile::OpenTo", __FILE__, __LINE__);

    if (::chmod(m_file.Text().c_str(), others == Others::Everybody ? 0666 : 0600) != 0)
        throw new Exception("cannot set who may use " + m_file.Text() + ": " +
                            std::system_category().message(errno));
}

PrivateFiles::PrivateFiles() : m_previous(::umask(0077))
{
    _CallEntry call("PrivateFiles::PrivateFiles", __FILE__, __LINE__);
}

PrivateFiles::~PrivateFiles()
{
    _CallEntry call("PrivateFiles::~PrivateFiles", __FILE__, __LINE__);

    ::umask(m_previous);
}

} // namespace master
