#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "analysis/ScanRules.h"

namespace check
{

/// What a check says of one frame: the verdict of the window, or what reading the file showed.
enum class CheckState : std::uint8_t
{
    Ok,
    Missing,
    TooSmall,
    Outlier,
    Undecodable, ///< Cannot be read as an image, or not to its end.
    OddImage,    ///< Another size or set of channels than its neighbours.
    Blank,       ///< All one colour.
    Nan,         ///< Holds numbers that are none, or infinite ones.
    Changed,     ///< Other bytes than those that were sealed; see `check/SealedFrames.h`.
};

/// All of them, in the order in which they are counted and shown.
inline constexpr std::array k_CheckStates = {
    CheckState::Ok,      CheckState::Missing,     CheckState::TooSmall,
    CheckState::Outlier, CheckState::Undecodable, CheckState::OddImage,
    CheckState::Blank,   CheckState::Nan,         CheckState::Changed,
};

/// States from here on come from reading files alone.
inline constexpr CheckState k_FirstDecoded = CheckState::Undecodable;

/// "ok", "missing", "too-small", "outlier", "undecodable", "odd-image", "blank", "nan",
/// "changed".
std::string_view StateText(CheckState state);

/// The state that a verdict of the scan is.
CheckState StateOf(analysis::FrameState verdict);

} // namespace check
