#include "decode/MemoryWatch.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <unistd.h>

#include "decode/ServeDecoder.h"

namespace decode
{

namespace
{

std::atomic<bool> s_isRefused = false;

void OnCrash(int signal)
{
    if (s_isRefused)
        _exit(k_OutOfMemory);
    std::signal(signal, SIG_DFL);
    raise(signal); // Comes once this handler has returned.
}

} // namespace

bool IsMemoryRefused()
{
    return s_isRefused;
}

void ForgetRefusedMemory()
{
    s_isRefused = false;
}

void TellCrashesForLackOfMemory()
{
    for (const int signal : {SIGSEGV, SIGBUS, SIGABRT})
        std::signal(signal, OnCrash);
}

} // namespace decode

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

// By these names the C library offers its own functions to those who take their places.
extern "C"
{
    void *__libc_malloc(std::size_t size);
    void *__libc_calloc(std::size_t count, std::size_t size);
    void *__libc_realloc(void *memory, std::size_t size);
    void *__libc_memalign(std::size_t alignment, std::size_t size);

    void *malloc(std::size_t size)
    {
        void *const memory = __libc_malloc(size);
        if (!memory)
            decode::s_isRefused = true;
        return memory;
    }

    void *calloc(std::size_t count, std::size_t size)
    {
        void *const memory = __libc_calloc(count, size);
        if (!memory)
            decode::s_isRefused = true;
        return memory;
    }

    void *realloc(void *old, std::size_t size)
    {
        void *const memory = __libc_realloc(old, size);
        if (!memory && size > 0)
            decode::s_isRefused = true;
        return memory;
    }

    void *aligned_alloc(std::size_t alignment, std::size_t size)
    {
        void *const memory = __libc_memalign(alignment, size);
        if (!memory)
            decode::s_isRefused = true;
        return memory;
    }

    int posix_memalign(void **memory, std::size_t alignment, std::size_t size)
    {
        if (alignment % sizeof(void *) != 0 || (alignment & (alignment - 1)) != 0)
            return EINVAL;
        void *const got = aligned_alloc(alignment, size);
        if (!got)
            return ENOMEM;
        *memory = got;
        return 0;
    }
}

#endif
