// Preloaded into a program: each look at a file by its name waits for a millisecond first, as on a
// network. Every way to ask for size and time is covered.
#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace
{

void Wait()
{
    timespec left{0, 1'000'000};
    while (nanosleep(&left, &left) != 0 && errno == EINTR)
    {
    }
}

int SlowStat(int folder, const char *path, struct stat *status, int flags)
{
    Wait();
    return int(syscall(SYS_newfstatat, folder, path, status, flags));
}

} // namespace

extern "C" int stat(const char *path, struct stat *status) noexcept
{
    return SlowStat(AT_FDCWD, path, status, 0);
}

extern "C" int lstat(const char *path, struct stat *status) noexcept
{
    return SlowStat(AT_FDCWD, path, status, AT_SYMLINK_NOFOLLOW);
}

extern "C" int fstatat(int folder, const char *path, struct stat *status, int flags) noexcept
{
    return SlowStat(folder, path, status, flags);
}

extern "C" int statx(int folder, const char *path, int flags, unsigned mask,
                     struct statx *status) noexcept
{
    Wait();
    return int(syscall(SYS_statx, folder, path, flags, mask, status));
}
