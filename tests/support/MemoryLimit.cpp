#include "tests/support/MemoryLimit.h"

#include <atomic>
#include <cstdlib>
#include <limits>
#include <new>

namespace
{

constexpr std::size_t k_no_limit = std::numeric_limits<std::size_t>::max();
std::atomic<std::size_t> s_mostBytes = k_no_limit;

} // namespace

MemoryLimit::MemoryLimit(std::size_t mostBytes)
{
    s_mostBytes = mostBytes;
}

MemoryLimit::~MemoryLimit()
{
    s_mostBytes = k_no_limit;
}

void *operator new(std::size_t bytes, const std::nothrow_t & /*tag*/) noexcept
{
    return bytes > s_mostBytes ? nullptr : std::malloc(bytes == 0 ? 1 : bytes);
}

void *operator new(std::size_t bytes)
{
    void *block = operator new(bytes, std::nothrow);
    if (!block)
        throw std::bad_alloc();
    return block;
}

void operator delete(void *block) noexcept
{
    std::free(block);
}

void operator delete(void *block, std::size_t /*bytes*/) noexcept
{
    std::free(block);
}

void operator delete(void *block, const std::nothrow_t & /*tag*/) noexcept
{
    std::free(block);
}
