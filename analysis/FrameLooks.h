#pragma once

#include <functional>
#include <span>

#include "analysis/FrameNames.h"
#include "analysis/FrameRecord.h"
#include "analysis/NameFinder.h"

namespace analysis
{

constexpr unsigned k_MostLookers = 64;

/// Told now and then, on the calling thread, how many frames were looked at so far.
using LooksDone = std::function<void(std::size_t done)>;

/// Looks at the files of all frames and stores what was seen.
///
/// By as many threads as there are processors; where looking means waiting (a network, a disk that
/// has to fetch) by up to `k_MostLookers`, which all wait at once. Returns when all have been
/// looked at; what is kept does not grow with their number.
///
/// Returns the reason, with folder and file and what the system said, at the first that could not
/// be looked at; the rest is then left as it is. Empty when all went well.
String LookAtFrames(const FrameNames &names, const MakeNameFinder &makeFinder,
                    std::span<FrameRecord> frames, const LooksDone &done);

} // namespace analysis
