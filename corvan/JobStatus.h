#pragma once

#include <optional>

#include "ostrel/String.h"

namespace corvan
{

/// How far a job or a task is; the numbers stand in messages and in the store.
enum class JobStatus : int
{
    Queued = 0,
    Running = 1,
    Done = 2,
    Failed = 3,
    Paused = 4,
    Cancelled = 5,
};

/// "Queued" and so on.
const char *StatusName(JobStatus status);

/// Reads a number of the table above; nothing for any other text.
std::optional<JobStatus> ParseStatus(const ostrel::String &text);

/// Reads a name as `StatusName` gives it, in any case; nothing for any other text.
std::optional<JobStatus> ParseStatusName(const ostrel::String &name);

/// Done, failed or cancelled: nothing more happens to it by itself.
bool IsOver(JobStatus status);

} // namespace corvan
