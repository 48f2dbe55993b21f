#pragma once

#include <optional>

#include "decode/StripWish.h"

namespace decode
{

/// How one of the three pictures of a strip is made. As the image lies in the file: it is turned
/// last.
struct StripLayout
{
    StripPlace shown;  ///< What is cut out: the place and its surroundings, all within the image.
    StripPlace marked; ///< The place, in pixels of the picture; empty where it is the whole image.
    int cellsAcross = 0; ///< Means over areas of what is cut out; a cell is no less than a pixel.
    int cellsDown = 0;
    int cellWidth = 1; ///< Pixels of the picture that show a cell. More than 1 only where a cell is
                       ///< a pixel of the image.
    int cellHeight = 1;

    int Width() const
    {
        return cellsAcross * cellWidth;
    }
    int Height() const
    {
        return cellsDown * cellHeight;
    }
};

/// The image that a place is of.
struct StripImage
{
    int width = 0; ///< Pixels of the display window.
    int height = 0;
    double pixelAspect = 1; ///< How wide a pixel is by its height, as it is looked at.
};

/// Lays it out to fit into a square of `side` pixels. The surroundings are half of the place's size
/// on each side, and make it 32 pixels wide and high at least, and no more than three times as long
/// as it is broad. Nothing where the place has no pixel of the image.
std::optional<StripLayout> LayOutStrip(const StripPlace &place, const StripImage &image, int side);

} // namespace decode
