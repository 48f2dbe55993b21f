#pragma once

#include "master/door/MasterLock.h"
#include "ostrel/Path.h"

namespace master
{

/// The file of a socket that one Master listens at: its claim, and its removal at the end.
class SocketFile
{
public:
    /// Claims the place. A socket file that a Master left behind is removed. Throws
    /// `ostrel::Exception *` where somebody listens, where another Master has claimed it, and
    /// where another file is in the way.
    explicit SocketFile(const Path &file);
    /// Removes the socket file.
    ~SocketFile();
    SocketFile(const SocketFile &) = delete;
    SocketFile &operator=(const SocketFile &) = delete;

    enum class Others
    {
        Nobody,
        Everybody, ///< Who can reach its folder.
    };
    /// Once the socket is there: opens it to this user, and to these.
    void OpenTo(Others others) const;

private:
    Path m_file;
    MasterLock m_lock;
};

/// While this lives, files and sockets that the program makes are this user's alone. The setting is
/// the whole program's: only while no other thread makes files.
class PrivateFiles
{
public:
    PrivateFiles();
    ~PrivateFiles();
    PrivateFiles(const PrivateFiles &) = delete;
    PrivateFiles &operator=(const PrivateFiles &) = delete;

private:
    unsigned m_previous;
};

} // namespace master
