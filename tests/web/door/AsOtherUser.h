#pragma once

#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

/// "nobody", who runs no web server of a test.
inline constexpr uid_t k_other_user = 65534;

/// Whether a test may become another user: root may.
inline bool MayBecomeOtherUser()
{
    return ::geteuid() == 0;
}

/// Runs it on a thread of its own, which is that user. The C library's own call would have all
/// threads change; the system knows users of threads.
template <typename Work> void AsOtherUser(Work work)
{
    std::thread thread(
        [&]
        {
            const long id = k_other_user;
            if (::syscall(SYS_setresgid, id, id, id) == 0 &&
                ::syscall(SYS_setresuid, id, id, id) == 0)
                work();
        });
    thread.join();
}
