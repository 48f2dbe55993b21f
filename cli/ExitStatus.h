#pragma once

#include <array>

namespace cli
{

/// What `corvan` ends with.
enum ExitStatus : int
{
    k_Done = 0,
    k_Refused = 1,    ///< The Master or the disk said no, or a job failed.
    k_WrongUsage = 2, ///< The arguments make no sense, or name no job.
    k_NoMaster = 3,   ///< Nobody to ask.

    // Of what looks at frames.
    k_BadFrames = 1,
    k_CannotLook = 4, ///< Nothing is known of some frames, or of all.
};

/// One row of the table of exit statuses.
struct ExitStatusText
{
    ExitStatus status;
    const char *text;
};

/// The table, as the help prints it and the pages show it.
inline constexpr std::array<ExitStatusText, 5> k_ExitStatuses = {{
    {k_Done, "done; of check: no frame is bad"},
    {k_Refused, "refused or failed; of check: some frames are bad"},
    {k_WrongUsage, "wrong usage, or no one job fits"},
    {k_NoMaster, "no Master, or one that does not take this client"},
    {k_CannotLook, "could not look at all frames; check and plot end so where others end with 1"},
}};

} // namespace cli
