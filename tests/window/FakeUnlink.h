#pragma once

#include <chrono>
#include <map>
#include <string>

/// A file system that waits, or refuses: for as long as one of these lives, this program's calls of
/// `unlink` come here, as they would with a library that is loaded before the system's. One at a
/// time.
class FakeUnlink
{
public:
    FakeUnlink();
    ~FakeUnlink();
    FakeUnlink(const FakeUnlink &) = delete;
    FakeUnlink &operator=(const FakeUnlink &) = delete;

    /// Before each file.
    std::chrono::microseconds wait{0};
    /// Paths that are refused, with the system's error number.
    std::map<std::string, int> errors;
    /// How many files were asked for.
    int calls = 0;
};
