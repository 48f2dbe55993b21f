#include "tests/window/FakeUnlink.h"

#include <cerrno>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

namespace
{

FakeUnlink *s_fake = nullptr;

int Ask(FakeUnlink &fake, const char *path)
{
    ++fake.calls;
    if (fake.wait.count() > 0)
        std::this_thread::sleep_for(fake.wait);
    const auto error = fake.errors.find(path);
    return error == fake.errors.end() ? 0 : error->second;
}

} // namespace

FakeUnlink::FakeUnlink()
{
    s_fake = this;
}

FakeUnlink::~FakeUnlink()
{
    s_fake = nullptr;
}

/// In the program itself, so that it stands before the C library's.
extern "C" int unlink(const char *path) noexcept
{
    if (const int error = s_fake ? Ask(*s_fake, path) : 0)
    {
        errno = error;
        return -1;
    }
    return int(syscall(SYS_unlink, path));
}
