#pragma once

#include <chrono>
#include <functional>
#include <string>

#include "check/CheckException.h"
#include "check/TableDecoder.h"
#include "web/jobs/FrameSnapshot.h"

namespace web
{

/// The time for a look is over. What was read is remembered, so asked again it goes on.
class MoreToRead : public check::CheckException
{
public:
    using CheckException::CheckException;
};

/// What a look at one picture among those around it may take.
struct PictureVerdictLimits
{
    /// Rows on each side that are read, too: with fewer a strobe would be accused that the whole
    /// shot clears.
    std::size_t reach = check::PictureJudge::k_Reach;
    decode::DecodeLimits decode{.jobs = 2, .time = std::chrono::seconds(15), .memoryMib = 2048};
    /// All together. What is read when it is over is remembered.
    std::chrono::milliseconds all{20'000};
};

/// Holds the picture of a frame against those around it, as `corvan check --pictures` does of these
/// frames alone: JSON.
///
///     {"state": "pop", "detail": "…", "place": {"x": 0, "y": 0, "width": 64, "height": 32},
///      "range": "1-81", "notLookedAt": "", "trouble": ""}
///
/// "state" is that of the snapshot where its sizes have accused it; "place" is null where there is
/// none, and of the picture's pixels; "range" are the frames that were read, this one among them;
/// "notLookedAt" those around that are there and could not be; "trouble" why this one could not:
/// its state is that of its size then.
///
/// The frame is there, and the snapshot seen. `decoder` remembers what was read; `getsOn` is called
/// after each file. Takes as long as the limits let it, or a disk that hangs. Throws
/// `MoreToRead *` where the time is over, and `check::CheckException *` where no decoder can be
/// started. Without a line end.
std::string PictureVerdictJson(check::TableDecoder &decoder, const FrameSnapshot &snapshot,
                               std::size_t row, int frameOffset, const PictureVerdictLimits &limits,
                               const std::function<void()> &getsOn);

} // namespace web
