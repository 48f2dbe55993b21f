#pragma once

#include <functional>

#include "check/pictures/PictureFinding.h"
#include "check/pictures/TileLooks.h"
#include "check/pictures/TileRectangle.h"

namespace check
{

/// A rectangle of a frame that has the pixels of an older one.
struct Leftover
{
    TileRectangle place;
    std::size_t age = 0;
    float evidence = 0; ///< 1 and more is enough.
};

/// Which tiles have the same pixels in which frames of a sequence. It has to live as long.
class SamePixels
{
public:
    explicit SamePixels(const PictureSequence &pictures) : m_pictures(pictures), m_looks(pictures)
    {
    }

    /// Of two frames that are known.
    bool IsSame(std::size_t one, std::size_t other, std::size_t tile) const
    {
        return m_pictures.At(one)->tiles[tile].mark == m_pictures.At(other)->tiles[tile].mark;
    }
    /// Of two that there may be.
    bool AreSame(std::size_t one, std::size_t other, std::size_t tile) const;
    /// That a tile has other pixels than in the frames beside, and one sees that. Both are known.
    bool HasMoved(std::size_t frame, std::size_t tile) const;

private:
    const PictureSequence &m_pictures;
    const TileLooks m_looks;
};

/// That a rectangle is no single row or column of tiles, and no large part of the picture.
bool IsBlock(const TileRectangle &place, const PictureSequence &pictures);
/// What `find` gives of the ages that there may be, by frame: that with the most evidence.
std::vector<Leftover>
BestOfAges(const PictureSequence &pictures,
           const std::function<Leftover(std::size_t frame, std::size_t age)> &find);
PictureFinding FindingOf(const PictureSequence &pictures, std::size_t frame,
                         const Leftover &leftover);

} // namespace check
