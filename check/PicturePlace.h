#pragma once

namespace check
{

/// A rectangle of a picture, in pixels from the upper left corner of its display window.
struct PicturePlace
{
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    bool operator==(const PicturePlace &) const = default;
};

} // namespace check
