#pragma once

#include <span>
#include <vector>

#include "check/pictures/PictureFinding.h"
#include "decode/PictureMeasures.h"

namespace check
{

/// Judges pictures by those around them. `frames` are in the order of time, null where nothing is
/// known; gives a finding for each that is not as it should be, by its index. The time it takes
/// grows with the number of frames, the memory it takes does not.
PictureFindings JudgePictures(std::span<const decode::PictureMeasures *const> frames);

} // namespace check
