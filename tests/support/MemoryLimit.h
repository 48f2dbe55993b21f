#pragma once

#include <cstddef>

/// While this lives, no block of more than so many bytes is to be had from `new`, on any thread of
/// the program: `std::bad_alloc`. One at a time.
class MemoryLimit
{
public:
    explicit MemoryLimit(std::size_t mostBytes);
    ~MemoryLimit();
    MemoryLimit(const MemoryLimit &) = delete;
    MemoryLimit &operator=(const MemoryLimit &) = delete;
};
