#pragma once

#include <cstdint>
#include <functional>
#include <span>

#include "analysis/FrameRecord.h"
#include "ostrel/String.h"

namespace check
{

using ostrel::String;

/// Which files are looked at again before they are judged.
struct LookAgainRules
{
    /// A file changed less than that ago; 0 for none. One with a time in the future, from a server
    /// whose clock runs ahead, is stable once it was seen unchanged for as long.
    std::int64_t stableAfterNs = 0;
    /// How often a missing file is looked for again, a second apart.
    unsigned retriesOfMissing = 0;
};

/// The time, and the waiting for it. The machine's, or that of a test.
class LookClock
{
public:
    virtual ~LookClock() = default;
    /// Nanoseconds since 1970.
    virtual std::int64_t Now() = 0;
    virtual void SleepUntil(std::int64_t moment) = 0;
};

class SystemClock : public LookClock
{
public:
    std::int64_t Now() override;
    void SleepUntil(std::int64_t moment) override;
};

/// Looks at some frames and stores what was seen; the reason where it could not.
using LookAtSome = std::function<String(std::span<analysis::FrameRecord>)>;

/// Looks again, by the rules, at frames that were looked at once, until there is none left to wait
/// for. Ends early, with the reason, where looking failed.
String LookAgain(std::span<analysis::FrameRecord> frames, const LookAgainRules &rules,
                 LookClock &clock, const LookAtSome &look);

} // namespace check
