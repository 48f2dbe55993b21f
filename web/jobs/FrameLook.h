#pragma once

#include <chrono>
#include <functional>

#include "web/jobs/FrameSnapshot.h"

namespace web
{

/// What a pass has found so far.
struct FramePart
{
    std::string changes; ///< Since what was told of this pass before: as `ChangesJson` gives it.
    std::string counts;  ///< Of all frames, those that it has not come to as they were.
    std::shared_ptr<const std::string> sheet; ///< The same of all frames.
};

/// How a pass gets on, on the thread that makes it.
struct LookCourse
{
    std::function<void()> getsOn = [] {}; ///< Not called where nothing was found for a while.
    std::function<void(FramePart)> tell = [](const FramePart &) {};
    std::chrono::milliseconds between{500}; ///< Least time from one part to the next.
};

/// Looks at all frames once. Throws `check::CheckException *`. Takes as long as the disk does; a
/// folder that hangs holds one thread.
SnapshotPointer LookAtFramesOf(const FrameSnapshot &before, const analysis::ScanRules &rules,
                               const LookCourse &course = {});

/// The frames that are not as they were (their state, size or date), as ranges by state: JSON. The
/// same frames were looked for.
std::string ChangesJson(const FrameSnapshot &before, const FrameSnapshot &now);

} // namespace web
