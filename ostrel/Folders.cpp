#include "ostrel/Folders.h"

#include <boost/filesystem.hpp>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "ostrel/Descriptor.h"
#include "ostrel/Exception.h"

namespace ostrel
{

namespace
{

// The XDG rules have relative folders ignored.
Path AbsoluteFromEnvironment(const char *name)
{
    const char *text = std::getenv(name);
    return text && *text == '/' ? Path(text) : Path();
}

Path HomeFolder()
{
    Path home = AbsoluteFromEnvironment("HOME");
    if (!home.IsEmpty())
        return home;

    const passwd *user = getpwuid(getuid());
    return user && user->pw_dir ? Path(user->pw_dir) : Path("/");
}

Path BaseFolder(const char *name, const char *belowHome)
{
    const Path folder = AbsoluteFromEnvironment(name);
    return folder.IsEmpty() ? HomeFolder() / belowHome : folder;
}

Path TemporaryFolder()
{
    const Path folder = AbsoluteFromEnvironment("TMPDIR");
    return folder.IsEmpty() ? Path("/tmp") : folder;
}

} // namespace

Path ConfigFolder()
{
    return BaseFolder("XDG_CONFIG_HOME", ".config");
}

Path StateFolder()
{
    return BaseFolder("XDG_STATE_HOME", ".local/state");
}

Path CacheFolder()
{
    return BaseFolder("XDG_CACHE_HOME", ".cache");
}

Path DataFolder()
{
    return BaseFolder("XDG_DATA_HOME", ".local/share");
}

Path RuntimeFolder()
{
    Path folder = AbsoluteFromEnvironment("XDG_RUNTIME_DIR");
    if (!folder.IsEmpty())
        return folder;
    return TemporaryFolder() / ("ordwick-" + std::to_string(getuid()));
}

Path ProgramFolder()
{
    boost::system::error_code error;
    const boost::filesystem::path program =
        boost::filesystem::read_symlink("/proc/self/exe", error);
    return Path(program.native()).Parent();
}

Path ShareFolder()
{
    const char *given = std::getenv("ORDWICK_SHARE");
    if (given && *given)
        return given;
    return ProgramFolder().Parent() / "share/ordwick";
}

namespace
{

// A folder and those above it, as far as they are not there.
std::vector<Path> MissingFolders(Path folder)
{
    std::vector<Path> missing;
    for (; !folder.IsEmpty() && access(folder.Text().c_str(), F_OK) != 0; folder = folder.Parent())
        missing.push_back(folder);
    return missing;
}

// A new name is on disk once the folder that it is in is. False, with `errno`, where that fails.
bool SyncFolder(const Path &folder)
{
    const Path named = folder.IsEmpty() ? Path(".") : folder;
    const Descriptor open(::open(named.Text().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!open.IsOpen())
        // One may be entered and not read.
        return errno == EACCES;
    // Some file systems have nothing to sync there, and say so.
    return fsync(open.Number()) == 0 || errno == EINVAL || errno == ENOTSUP;
}

} // namespace

void MakePrivateFolder(const Path &folder)
{
    const auto refuse = [&](const String &reason)
    { throw new Exception("cannot use folder " + folder.Text() + ": " + reason); };

    boost::system::error_code error;
    const std::vector<Path> missing = MissingFolders(folder);
    boost::filesystem::create_directories(folder.Parent().Text(), error);
    if (mkdir(folder.Text().c_str(), S_IRWXU) != 0 && errno != EEXIST)
        refuse(std::strerror(errno));

    // Somebody else may have made it first, to read what is put there.
    struct stat status
    {
    };
    if (lstat(folder.Text().c_str(), &status) != 0)
        refuse(std::strerror(errno));
    if (!S_ISDIR(status.st_mode))
        refuse("it is no folder");
    if (status.st_uid != geteuid())
        refuse("it belongs to another user");
    if ((status.st_mode & (S_IRWXG | S_IRWXO)) != 0)
        refuse("other users may enter it");
    for (const Path &made : missing)
        if (!SyncFolder(made.Parent()))
            refuse(std::strerror(errno));
}

} // namespace ostrel
