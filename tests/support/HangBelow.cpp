// Preloaded into a program: each look at what lies in the folder $HANG_BELOW never ends, as on a
// share whose server is gone. That it came to it stands in the file $HANG_BELOW.touched. With
// $HANG_WHEN it hangs as long as that file is there.
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace
{

bool IsHanging()
{
    const char *when = std::getenv("HANG_WHEN");
    return !when || syscall(SYS_faccessat, AT_FDCWD, when, F_OK) == 0;
}

void LookAt(const char *path)
{
    const char *folder = std::getenv("HANG_BELOW");
    if (!folder || !path || std::strncmp(path, folder, std::strlen(folder)) != 0 || !IsHanging())
        return;
    char note[4096];
    std::snprintf(note, sizeof note, "%s.touched", folder);
    if (std::strcmp(path, note) == 0)
        return;
    const long file = syscall(SYS_openat, AT_FDCWD, note, O_WRONLY | O_CREAT | O_APPEND, 0600);
    syscall(SYS_write, file, path, std::strlen(path));
    syscall(SYS_write, file, "\n", 1);
    const timespec pause{0, 10'000'000};
    while (IsHanging())
        syscall(SYS_nanosleep, &pause, nullptr);
}

template <typename Function> Function *Next(const char *name)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

} // namespace

// NOLINTBEGIN: the names and forms are the C library's.
#define HANG(result, name, parameters, path, arguments, ...)                                       \
    extern "C" result name parameters __VA_ARGS__                                                  \
    {                                                                                              \
        LookAt(path);                                                                              \
        return Next<result parameters>(#name) arguments;                                           \
    }

HANG(int, stat, (const char *path, struct stat *status), path, (path, status), noexcept)
HANG(int, lstat, (const char *path, struct stat *status), path, (path, status), noexcept)
HANG(int, fstatat, (int folder, const char *path, struct stat *status, int flags), path,
     (folder, path, status, flags), noexcept)
HANG(int, statx, (int folder, const char *path, int flags, unsigned mask, struct statx *status),
     path, (folder, path, flags, mask, status), noexcept)
HANG(int, access, (const char *path, int mode), path, (path, mode), noexcept)
HANG(int, faccessat, (int folder, const char *path, int mode, int flags), path,
     (folder, path, mode, flags), noexcept)
HANG(ssize_t, readlink, (const char *path, char *target, size_t size), path, (path, target, size),
     noexcept)
HANG(char *, realpath, (const char *path, char *target), path, (path, target), noexcept)
HANG(int, mkdir, (const char *path, mode_t mode), path, (path, mode), noexcept)
HANG(int, remove, (const char *path), path, (path), noexcept)
HANG(int, rename, (const char *path, const char *to), path, (path, to), noexcept)
HANG(int, unlink, (const char *path), path, (path), noexcept)
HANG(int, chdir, (const char *path), path, (path), noexcept)
HANG(DIR *, opendir, (const char *path), path, (path))
HANG(FILE *, fopen, (const char *path, const char *mode), path, (path, mode))
HANG(FILE *, fopen64, (const char *path, const char *mode), path, (path, mode))

// The mode is read in any case: what lies where it would be is passed on and not looked at.
extern "C" int open(const char *path, int flags, ...)
{
    LookAt(path);
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = va_arg(rest, mode_t);
    va_end(rest);
    return int(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

extern "C" int open64(const char *path, int flags, ...) __attribute__((alias("open")));

extern "C" int openat(int folder, const char *path, int flags, ...)
{
    LookAt(path);
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = va_arg(rest, mode_t);
    va_end(rest);
    return int(syscall(SYS_openat, folder, path, flags, mode));
}

extern "C" int openat64(int folder, const char *path, int flags, ...)
    __attribute__((alias("openat")));
// NOLINTEND
