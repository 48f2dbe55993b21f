#pragma once

#include "check/PicturePlace.h"
#include "check/pictures/Spikes.h"
#include "check/pictures/TileArea.h"
#include "check/pictures/TileLooks.h"

namespace check
{

/// Tiles side by side that are as in neither neighbour, beyond what is usual there.
struct LoneGroup
{
    TileGroup tiles;
    float beyond = 0; ///< Stops beyond the usual, of all tiles together.
};

/// What each frame of a sequence alone has, or lacks, and whether something that moves explains it.
class LoneGroups
{
public:
    /// The sequence has to live as long.
    explicit LoneGroups(const PictureSequence &pictures);

    /// None of a frame without both neighbours.
    const std::vector<LoneGroup> &In(std::size_t frame) const
    {
        return m_groups[frame];
    }
    /// That so much of a frame is other than beside it, be it a habit of the shot, that it is no
    /// place of it: that is judged as a whole.
    bool IsWhole(std::size_t frame) const;
    /// How unlike both neighbours a tile is, in stops.
    float AloneBy(std::size_t frame, std::size_t tile) const
    {
        return m_alone.At(frame)[tile];
    }
    /// How far a tile is beyond what is usual in it and beside it; 0 where it is a habit of the
    /// shot.
    float BeyondAt(std::size_t frame, std::size_t tile) const
    {
        return m_beyond.At(frame)[tile];
    }
    /// How much of it is found again somewhere near in a neighbour; see `PassingShare`.
    float ShareFoundAgain(std::size_t frame, const TileGroup &tiles) const;
    /// That the frame before or after has something alone, too, of so much of its stops at least: two
    /// frames in succession are seldom wrong, so this is one thing that moves, and changes.
    bool HasCompanion(std::size_t frame, const TileGroup &tiles, float share) const;

private:
    float MotionBeside(std::size_t frame, std::size_t tile) const;
    void Measure(std::size_t frame, const SpikeSeries &around);

    const PictureSequence &m_pictures;
    const TileLooks m_looks;
    SpikeSeries m_alone;
    SpikeSeries m_beyond;
    std::vector<std::vector<LoneGroup>> m_groups;
    std::vector<std::size_t> m_counts; // Of tiles beyond the usual, habits among them.
};

} // namespace check
