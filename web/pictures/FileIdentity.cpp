#include "web/pictures/FileIdentity.h"

#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <sys/stat.h>

namespace web
{

FileIdentity IdentityOf(const Path &path)
{
    struct stat file = {};
    if (stat(path.Text().c_str(), &file) != 0)
        return {{}, errno == ENOENT ? "there is no such file" : std::strerror(errno)};
    if (!S_ISREG(file.st_mode))
        return {{}, "it is no file"}; // A pipe would be waited for, and a device never ends.
    return {fmt::format("{} {}.{:09}", file.st_size, file.st_mtim.tv_sec, file.st_mtim.tv_nsec),
            {}};
}

} // namespace web
