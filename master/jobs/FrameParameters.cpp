#include "master/jobs/FrameParameters.h"

#include "corvan/FrameChecking.h"
#include "corvan/Parameters.h"
#include "corvan/RequeueJob.h"

namespace master
{

using corvan::FrameChecking;

namespace
{

// Followers are told it each time.
constexpr std::size_t k_most_range_bytes = 256u << 10;

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
    if (frames->badRange.size() <= k_most_range_bytes)
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

FrameVerdict VerdictOnFrames(JobStore &store, JobCache &cache, const UID &job)
{
    const std::optional<JobState> state = store.FindState(job);
    const std::shared_ptr<const JobCache::Entry> entry = cache.Get(job);
    if (!state || !entry->job || !AsksForIt(*entry->job))
        return FrameVerdict::NotAsked;
    if (!IsLookedAt(store, cache, *entry->job))
        return VerdictOnFrames(store, cache, corvan::OriginOf(*entry->job));
    const std::optional<JobFrames> frames = store.Frames().Find(*state);
    if (!frames || frames->phase != JobFrames::Phase::Done)
        return FrameVerdict::ToCome;
    return frames->bad == 0 ? FrameVerdict::Good : FrameVerdict::Bad;
}

} // namespace master
