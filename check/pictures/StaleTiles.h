#pragma once

#include "check/pictures/TileLooks.h"

namespace check
{

/// How far tiles of a frame look as if they were left over from a frame some way back.
class StaleTiles
{
public:
    /// The sequence has to live as long.
    explicit StaleTiles(const PictureSequence &pictures);

    /// For each tile the bits it says for being of the frame so many before: how much more it is
    /// like that one than like its neighbours, to base 2, less what chance gives; 0 where nothing
    /// moves; below 0 where what moves is not of that frame. Empty where no tile says anything for
    /// it. The frame has both neighbours.
    std::vector<float> EvidenceOf(std::size_t frame, std::size_t age) const;
    /// The same, below 0 where it is the way of the shot to show the same again: it goes round, it
    /// swings, or this is what is seen there as a rule.
    std::vector<float> LessItsWay(std::size_t frame, std::size_t age,
                                  std::vector<float> evidence) const;

private:
    float MotionFrom(std::size_t frame, std::size_t other, std::size_t tile) const;
    bool IsUnlikeBoth(std::size_t frame, std::size_t tile) const;
    float LikewiseOf(std::size_t frame, std::size_t age, std::size_t tile) const;
    bool AreLike(std::ptrdiff_t one, std::ptrdiff_t other, std::size_t tile, float most) const;
    bool IsLoop(std::size_t frame, std::size_t age, std::size_t tile) const;
    bool IsHabit(std::size_t frame, std::size_t age, std::size_t tile) const;
    bool IsUsual(std::size_t frame, std::size_t age, std::size_t tile) const;
    float EvidenceOf(std::size_t frame, std::size_t age, std::size_t tile) const;

    const PictureSequence &m_pictures;
    const std::size_t m_tiles;
    const TileLooks m_looks;
    std::vector<float> m_levels; // The median light of the tiles of each frame.
    std::vector<float> m_motion; // How unlike the more alike of its neighbours a tile is.
};

} // namespace check
