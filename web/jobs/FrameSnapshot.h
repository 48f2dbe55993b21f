#pragma once

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "check/CheckSubject.h"
#include "corvan/Job.h"

namespace web
{

using ostrel::String;

/// The frames of one format of a job as a pass has found them. Never changed, so any thread may
/// read it. Rows ascend by their numbers.
struct FrameSnapshot
{
    explicit FrameSnapshot(check::CheckTable ofTable) : table(std::move(ofTable)) {}

    ostrel::UID job;
    std::size_t format = 0;
    std::uint64_t pass = 0;    ///< How many passes have ended.
    check::CheckTable table;   ///< `states` is empty where none has looked at these frames.
    std::string range;         ///< Of all numbers.
    std::string counts = "{}"; ///< As JSON, of the states that there are.
    std::shared_ptr<const std::string> sheet; ///< See docs/api.md.

    bool IsSeen() const
    {
        return !table.states.empty();
    }
    std::optional<std::size_t> FindRow(int frame) const;
};
using SnapshotPointer = std::shared_ptr<const FrameSnapshot>;

/// What a job says of the frames to look for, as one text: another one where they are others.
String FramesToLookFor(const corvan::Job &job);

/// The frames to expect, not looked at yet. Throws `HttpError *` where there is no such format, for
/// a job that has nothing to look for (404) and for too many frames (413). `passes`: that have
/// ended before.
SnapshotPointer ListFramesOf(const corvan::Job &job, std::size_t format, std::uint64_t passes);

/// Looks at all of them once. Throws `check::CheckException *`. Takes as long as the disk does.
SnapshotPointer LookAtFramesOf(const FrameSnapshot &before, const analysis::ScanRules &rules);

/// The frames that are not as they were (their state, size or date), as ranges by state: JSON. The
/// same frames were looked for.
std::string ChangesJson(const FrameSnapshot &before, const FrameSnapshot &now);

/// Sizes from one frame to another: see docs/api.md. `columns`: at least 1.
std::string SizesJson(const FrameSnapshot &snapshot, const analysis::ScanRules &rules, int first,
                      int last, std::size_t columns);

/// Why a frame is bad, as a sentence; empty where it is not.
String WhyBad(const FrameSnapshot &snapshot, const analysis::ScanRules &rules, std::size_t row);

/// Most frames whose sizes are told one by one.
inline constexpr std::size_t k_MostExactSizes = 100'000;

} // namespace web
