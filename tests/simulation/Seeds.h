#pragma once

#include <cstdlib>
#include <optional>
#include <ostream>

namespace simulation
{

/// Which histories are to be run; none where the first is behind the last.
struct Seeds
{
    unsigned long first = 1;
    unsigned long last = 0;

    /// Reads "4711" or "1-10000".
    static std::optional<Seeds> Parse(const char *text)
    {
        char *end = nullptr;
        Seeds seeds;
        seeds.first = seeds.last = std::strtoul(text, &end, 10);
        if (*end == '-')
            seeds.last = std::strtoul(end + 1, &end, 10);
        if (end == text || *end != '\0' || seeds.last < seeds.first)
            return std::nullopt;
        return seeds;
    }
};

/// As `Parse` reads it.
inline void PrintTo(const Seeds &seeds, std::ostream *stream)
{
    *stream << seeds.first << "-" << seeds.last;
}

} // namespace simulation
