#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "check/BadFrames.h"

namespace check
{

/// What `corvan-check` has found.
struct LookAnswer
{
    /// Why the frames could not be looked at; all else counts only where it is empty.
    String trouble;
    /// Names what the files are like: the same as long as all of them have the same size and date.
    String print;

    bool isJudged = false; ///< What follows is there.
    String counts{};       ///< Files of each state that there is: "ok 94, missing 2".
    BadFrames bad{};
    /// There are more bad frames than can be told one by one: `bad` has them all, under one key.
    bool areTooMany = false;

    friend bool operator==(const LookAnswer &, const LookAnswer &) = default;
};

/// More bad frames than these are too many.
inline constexpr std::size_t k_MostBadFrames = 100'000;

/// As text, from one process to the other.
std::string PackAnswer(const LookAnswer &answer);
/// Nothing for what is no such text, or not all of it. What follows its end is passed over.
std::optional<LookAnswer> ParseAnswer(std::string_view text);

} // namespace check
