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
    /// Makes what is told by the table: counts and sheet.
    void Complete();
};
using SnapshotPointer = std::shared_ptr<const FrameSnapshot>;

/// That a job has only so many formats, as a sentence.
String NoSuchFormat(const corvan::Job &job, std::size_t formats);

/// What a job says of the frames to look for, as one text: another one where they are others.
String FramesToLookFor(const corvan::Job &job);

/// The frames to expect, not looked at yet. Throws `HttpError *` where there is no such format, for
/// a job that has nothing to look for (404) and for too many frames (413). `passes`: that have
/// ended before.
SnapshotPointer ListFramesOf(const corvan::Job &job, std::size_t format, std::uint64_t passes);

/// Sizes from one frame to another: see docs/api.md. `columns`: at least 1.
std::string SizesJson(const FrameSnapshot &snapshot, const analysis::ScanRules &rules, int first,
                      int last, std::size_t columns);

/// Why a frame is bad, as a sentence; empty where it is not.
String WhyBad(const FrameSnapshot &snapshot, const analysis::ScanRules &rules, std::size_t row);

/// Most frames whose sizes are told one by one.
inline constexpr std::size_t k_MostExactSizes = 100'000;
/// Most bad frames that are told one by one beside columns; of more, the worst of each column.
inline constexpr std::size_t k_MostExactBad = 10'000;

} // namespace web
