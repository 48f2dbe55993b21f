#include "master/jobs/FrameParameters.h"

#include "corvan/FrameChecking.h"
#include "corvan/Parameters.h"
#include "corvan/RequeueJob.h"

namespace master
{

using corvan::FrameChecking;

namespace
{

String FramesCheckedText(const std::optional<JobFrames> &frames)
{
    if (!frames)
        return "no";
    switch (frames->phase)
    {
    case JobFrames::Phase::Waiting:
        return "waiting";
    case JobFrames::Phase::Looking:
        return "looking";
    case JobFrames::Phase::Done:
        return "done";
    case JobFrames::Phase::Failed:
        break;
    }
    return "could not look: " + frames->trouble;
}

bool AsksForIt(const Job &job)
{
    return corvan::FrameCheckingOf(job).kind != FrameChecking::Kind::None;
}

} // namespace

FrameParameters FrameParametersOf(bool isLookedAt, const std::optional<JobFrames> &frames)
{
    FrameParameters parameters{{corvan::p_FramesChecked, {}},
                               {corvan::p_FramesBad, {}},
                               {corvan::p_FramesBadRange, {}},
                               {corvan::p_FrameCounts, {}}};
    if (!isLookedAt)
        return parameters;
    parameters[0].second = FramesCheckedText(frames);
    if (!frames || !frames->isJudged)
        return parameters;
    parameters[1].second = std::to_string(frames->bad);
    // An earlier version kept it however long.
    if (frames->badRange.size() <= k_MostBadRangeBytes)
        parameters[2].second = frames->badRange;
    parameters[3].second = frames->counts;
    return parameters;
}

bool IsLookedAt(JobStore &store, JobCache &cache, const Job &job)
{
    if (!AsksForIt(job))
        return false;
    const UID origin = corvan::OriginOf(job);
    if (origin.IsNil() || !store.FindState(origin))
        return true;
    const std::shared_ptr<const JobCache::Entry> entry = cache.Get(origin);
    return !entry->job || !AsksForIt(*entry->job);
}

} // namespace master
