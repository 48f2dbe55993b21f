#pragma once

#include <cstdint>

#include "ostrel/Time.h"

namespace analysis
{

/// One frame file that is expected: a `_FileInfo` without its path, which its pattern gives. 32
/// bytes, for tables that nobody searches by path.
struct FrameRecord
{
    std::uint64_t size = 0; ///< Bytes at the last look.
    ostrel::Time modified;  ///< At the last look.
    int frame = 0;          ///< The output number that stands in the file's name.
    bool exists = false;    ///< Found at the last look.
};

} // namespace analysis
