#pragma once

#include <optional>
#include <vector>

#include "ostrel/String.h"

namespace decode
{

using ostrel::String;

/// What the images of one sequence have in common.
struct ImageKind
{
    int width = 0;
    int height = 0;
    String channels;
    String format;

    auto operator<=>(const ImageKind &) const = default;
};

/// Finds the images that are of another kind than those around them.
///
/// `kinds` are the rows in display order, nothing where no image could be read. An image is odd
/// when more than half of the other images within `frameOffset` rows of it are of one kind that is
/// not its own. So where a sequence changes its size for good, neither side is odd, unless one of
/// them is shorter than the offset. A negative offset has no neighbours.
///
/// Gives the kind of that majority for each odd row, null for every other; it points into `kinds`.
/// The cost does not depend on the frame offset.
std::vector<const ImageKind *> FindOddImages(const std::vector<std::optional<ImageKind>> &kinds,
                                             int frameOffset);

} // namespace decode
