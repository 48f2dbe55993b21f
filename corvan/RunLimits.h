#pragma once

#include <cstdint>
#include <span>

#include "ostrel/String.h"

namespace corvan
{

using ostrel::String;

class Job;

/// What one command of a job, and all that it starts, may take. 0 is no limit but for the log.
struct RunLimits
{
    unsigned seconds = 0;    ///< From its start.
    unsigned memoryMb = 0;   ///< In MiB, of all its processes together.
    unsigned processes = 0;  ///< At once.
    unsigned logMb = 16;     ///< In MiB; of what it prints beyond, beginning and end are kept.
    unsigned nice = 0;       ///< How much it stands back behind other processes, 0 to 19.
    unsigned processors = 0; ///< So many of them, or as much time as they have.

    friend bool operator==(const RunLimits &, const RunLimits &) = default;
};

/// One of the limits: a key of a job type's section "Run", and a parameter by which a job tightens
/// what its type allows.
struct RunLimitName
{
    const char *name;
    unsigned RunLimits::*value;
    unsigned least;
    unsigned most;
    bool isTighterAbove; ///< A larger number is the tighter one.
};
std::span<const RunLimitName> RunLimitNames();

/// The limit of this name; null for none.
const RunLimitName *FindRunLimit(const String &name);

/// Why a text is no value of a limit, as a sentence that names it; empty where it is one. An empty
/// text is: it leaves the limit as it is.
String CheckRunLimit(const RunLimitName &limit, const String &text);

/// The number of a text that was checked; 0 for an empty one.
unsigned ReadRunLimit(const String &text);

/// What holds for a job: its type's limits, tightened by the job's parameters.
RunLimits RunLimitsOf(const Job &job);

} // namespace corvan
