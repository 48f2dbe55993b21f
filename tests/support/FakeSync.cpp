#include "tests/support/FakeSync.h"

#include <array>
#include <cerrno>
#include <climits>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>

namespace
{

std::mutex s_ofFake;
FakeSync *s_fakeSync = nullptr;

std::string NameOfFile(int file)
{
    std::array<char, PATH_MAX> name = {};
    const std::string link = "/proc/self/fd/" + std::to_string(file);
    const ssize_t size = ::readlink(link.c_str(), name.data(), name.size());
    return {name.data(), std::size_t(size < 0 ? 0 : size)};
}

} // namespace

FakeSync::FakeSync(int error) : m_error(error)
{
    const std::lock_guard lock(s_ofFake);
    s_fakeSync = this;
}

FakeSync::~FakeSync()
{
    const std::lock_guard lock(s_ofFake);
    s_fakeSync = nullptr;
}

std::set<std::string> FakeSync::TakeSynced()
{
    const std::lock_guard lock(m_mutex);
    return std::exchange(m_synced, {});
}

int SyncOf(long call, int file)
{
    {
        const std::lock_guard lock(s_ofFake);
        if (s_fakeSync)
        {
            const std::lock_guard itsLock(s_fakeSync->m_mutex);
            s_fakeSync->m_synced.insert(NameOfFile(file));
            if (s_fakeSync->m_error != 0)
            {
                errno = s_fakeSync->m_error;
                return -1;
            }
        }
    }
    return int(syscall(call, file));
}

/// In the program itself, so that they stand before the C library's.
extern "C" int fsync(int file)
{
    return SyncOf(SYS_fsync, file);
}

extern "C" int fdatasync(int file)
{
    return SyncOf(SYS_fdatasync, file);
}
