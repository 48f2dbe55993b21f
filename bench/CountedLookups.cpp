// Preloaded into a program: counts how often it looks at a file by its name. The number stands in
// the file that LOOKUPS_FILE names, eight bytes, from the first look on.
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace
{

using Count = std::atomic<std::uint64_t>;

Count &CountInFile()
{
    static Count fallback{0};
    const char *const path = std::getenv("LOOKUPS_FILE");
    const int file = path ? open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0600) : -1;
    if (file < 0)
        return fallback;
    void *const memory =
        ftruncate(file, sizeof(Count)) == 0
            ? mmap(nullptr, sizeof(Count), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0)
            : MAP_FAILED;
    close(file);
    return memory == MAP_FAILED ? fallback : *static_cast<Count *>(memory);
}

int CountedStat(int folder, const char *path, struct stat *status, int flags)
{
    static Count &count = CountInFile();
    ++count;
    return int(syscall(SYS_newfstatat, folder, path, status, flags));
}

} // namespace

extern "C" int stat(const char *path, struct stat *status) noexcept
{
    return CountedStat(AT_FDCWD, path, status, 0);
}

extern "C" int lstat(const char *path, struct stat *status) noexcept
{
    return CountedStat(AT_FDCWD, path, status, AT_SYMLINK_NOFOLLOW);
}

extern "C" int fstatat(int folder, const char *path, struct stat *status, int flags) noexcept
{
    return CountedStat(folder, path, status, flags);
}
