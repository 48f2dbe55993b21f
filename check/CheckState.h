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
    Nan,         ///< Holds numbers that are none, or infinite ones; or negative ones where asked.
    Duplicate,   ///< The pixels of the frame before or after, where others move.
    Black,       ///< Nearly all black, and the frames around are not on their way there.
    Patch,       ///< A block, a band or the rest of the picture is missing or stale.
    Pop,         ///< Level, noise or content jumps, and comes back.
    Sparks,      ///< Far more single bright pixels than in the frames around.
    Changed,     ///< Other bytes than those that were sealed; see `check/SealedFrames.h`.
};

/// All of them, in the order in which they are counted and shown.
inline constexpr std::array k_CheckStates = {
    CheckState::Ok,          CheckState::Missing,  CheckState::TooSmall, CheckState::Outlier,
    CheckState::Undecodable, CheckState::OddImage, CheckState::Blank,    CheckState::Nan,
    CheckState::Duplicate,   CheckState::Black,    CheckState::Patch,    CheckState::Pop,
    CheckState::Sparks,      CheckState::Changed,
};

/// How deep a check looks; each finds what those before it find, too.
enum class CheckDepth : std::uint8_t
{
    Sizes,    ///< Is each file there, and is its size that of those around it?
    Images,   ///< Every file is read whole.
    Pictures, ///< What is seen in it is held against the frames around.
};

/// How deep one has to look to find a state; not asked of `Changed`, which seals alone tell.
CheckDepth DepthOf(CheckState state);

/// "ok", "missing", "too-small", "outlier", "undecodable", "odd-image", "blank", "nan",
/// "duplicate", "black", "patch", "pop", "sparks", "changed".
std::string_view StateText(CheckState state);

/// The state that a verdict of the scan is.
CheckState StateOf(analysis::FrameState verdict);

} // namespace check
