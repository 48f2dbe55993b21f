#pragma once

#include <map>
#include <optional>
#include <span>

#include "check/CheckTable.h"

namespace check
{

/// The bad frames of a job by what was found of them. The key is the same where the same was found:
/// the state, the size of the file and what its image has shown, in each of the job's formats. So
/// two looks tell whether rendering a frame again has changed anything.
using BadFrames = std::map<String, corvan::SequenceDistributor::Items>;

/// Of judged tables, by output number.
BadFrames FindBadFrames(std::span<const CheckTable> tables);

/// All of them.
corvan::SequenceDistributor::Items AllOf(const BadFrames &frames);

/// A line for each key, with its frames as a range.
String BadFramesText(const BadFrames &frames);
/// Nothing for what is no such text, or has more frames than a job has files.
std::optional<BadFrames> ParseBadFrames(const String &text);

/// Those of `now` of which something else was found before, or nothing.
corvan::SequenceDistributor::Items FindChanged(const BadFrames &before, const BadFrames &now);

} // namespace check
