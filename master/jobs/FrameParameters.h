#pragma once

#include <optional>
#include <utility>
#include <vector>

#include "master/jobs/JobCache.h"
#include "master/store/FrameStore.h"

namespace master
{

/// "FramesBadRange" is no longer than this: followers are told it each time.
constexpr std::size_t k_MostBadRangeBytes = 256u << 10;

/// What the parameters say of a job's frames that the Master alone sets: "FramesChecked",
/// "FramesBad", "FramesBadRange", "FrameCounts", always all of them. One that is empty is not
/// there.
using FrameParameters = std::vector<std::pair<String, String>>;

/// `isLookedAt`: `IsLookedAt` the job. `frames` are nothing where nobody has begun to.
///
/// "FramesChecked" is "no", "waiting", "looking", "done", or "could not look: REASON". It is "done"
/// with "FramesBad" 0 where all frames are good. A range too long to be told is empty.
FrameParameters FrameParametersOf(bool isLookedAt, const std::optional<JobFrames> &frames);

/// Whether the frames of this job are to be looked at once its tasks are over. Those of a requeue
/// are not where its origin looks at its own, which are the same files.
bool IsLookedAt(JobStore &store, JobCache &cache, const Job &job);

} // namespace master
