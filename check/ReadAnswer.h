#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "check/LookAnswer.h"
#include "check/LookRequest.h"

namespace check
{

/// No answer is longer, in bytes: a million frames that are named one by one.
inline constexpr std::size_t k_MostAnswerBytes = 16u << 20;

/// What a process has answered to a request, for whoever does not take its word for it: what it
/// reads comes from others, and may have made something else of it.
///
/// Nothing for what is no answer to this request: a verdict that nobody asked for, or on other
/// files than those that were there; frames that the job does not write; counts that say another
/// thing than the frames. Where frames are bad it walks through all that the
/// job writes, a million at most.
std::optional<LookAnswer> ReadAnswer(const LookRequest &request, std::string_view text);

} // namespace check
