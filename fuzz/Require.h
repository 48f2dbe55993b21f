#pragma once

#include <cstdio>
#include <cstdlib>

/// Ends a fuzz run, which keeps the input, when what must always hold does not.
inline void Require(bool holds, const char *what)
{
    if (holds)
        return;
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
}
