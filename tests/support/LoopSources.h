#pragma once

#include <atomic>
#include <cstdint>

/// The timers and idle functions that GLib's main loop was given by its users (GTK, the toolkit,
/// the program): counted from the start of a program that links this, or has it preloaded. Any
/// thread.
///
/// A source that has done its work is freed as a rule. One whose reference was lost stays in the
/// loop's list for good, and each round of the loop walks over it.
struct LoopSources
{
    std::atomic<std::int64_t> added;
    std::atomic<std::int64_t> freed;

    /// In the loop's list, dead ones too.
    std::int64_t Held() const
    {
        return added - freed;
    }

    /// Those of this process. Where the environment names a file (LOOP_SOURCES_FILE), they are its
    /// 16 bytes, for others to read while the program runs.
    static LoopSources &Counts();
};
