#pragma once

#include <vector>

#include "decode/ImageReport.h"

namespace decode
{

/// What is wrong with the image in a file, the gravest thing that is.
enum class ImageState
{
    Ok,
    Undecodable, ///< It cannot be read to its end.
    OddImage,    ///< Another size, channels or format than its neighbours.
    Nan,         ///< Pixels with values that are not numbers, or infinite.
    Blank,       ///< All pixels have one colour.
};

/// All that was found in one image.
struct ImageFinding
{
    ImageState state = ImageState::Ok;
    /// Everything that was found, one line, parts joined by "; ": also of things less grave than
    /// the state, and that the content is of another format than the name says, which is no fault
    /// alone. Empty when there is nothing to say.
    String detail;
    /// Why nothing is known of it, where that is so; the rest is as of one that is ok.
    String trouble = {};

    bool operator==(const ImageFinding &) const = default;
};

/// Which numbers of a picture are let pass.
struct NumberRules
{
    /// So many pixels may hold values that are no numbers, or infinite ones.
    std::uint64_t nanLimit = 0;
    /// Whether a negative value of a colour is a fault: `ImageState::Nan`.
    bool isNegativeBad = false;
};

/// Judges images by what reading them has shown and by those around them. `reports` are rows in
/// display order, null where there is no file.
std::vector<ImageFinding> JudgeImages(const std::vector<const ImageReport *> &reports,
                                      int frameOffset, const NumberRules &rules = {});

} // namespace decode
