#pragma once

#include <functional>

namespace decode
{

/// A rectangle of a part's pixels as a reader gives it, rows from the top, all channels of a pixel
/// side by side in the type of the part.
struct PixelBlock
{
    const char *pixels = nullptr; ///< The reader's; good until it goes on.
    int x = 0;                    ///< Within the data window, from its left edge.
    int y = 0;                    ///< From its upper edge.
    int width = 0;
    int height = 0;
    int stride = 0; ///< From a row to the next, in pixels.
};

/// Takes a block after the other. Of a volume the slices come one after the other.
using TakePixels = std::function<void(const PixelBlock &)>;

} // namespace decode
