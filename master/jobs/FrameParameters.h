#pragma once

#include <optional>
#include <utility>
#include <vector>

#include "master/jobs/JobCache.h"
#include "master/store/FrameStore.h"

namespace master
{

/// What the parameters say of a job's frames that the Master alone sets: "FramesChecked",
/// "FramesBad", "FramesBadRange", "FrameCounts", always all of them. One that is empty is not
/// there.
using FrameParameters = std::vector<std::pair<String, String>>;

/// `isLookedAt`: `IsLookedAt` the job. `frames` are nothing where nobody has begun to.
///
/// "FramesChecked" is "no", "waiting", "looking", "done", or "could not look: REASON". It is "done"
/// with "FramesBad" 0 where all frames are good. A range too long to be told is empty.
FrameParameters FrameParametersOf(bool isLookedAt, const std::optional<JobFrames> &frames);

/// Whether the frames of this job are to be looked at once it is done. Those of a requeue are not
/// where its origin looks at its own, which are the same files.
bool IsLookedAt(JobStore &store, JobCache &cache, const Job &job);

/// Whether the frames of a job are good, for whoever waits for that.
enum class FrameVerdict
{
    NotAsked, ///< Nobody looks at them.
    ToCome,   ///< They are still to be looked at, or could not be.
    Good,
    Bad, ///< Some stay bad.
};
FrameVerdict VerdictOnFrames(JobStore &store, JobCache &cache, const UID &job);

} // namespace master
