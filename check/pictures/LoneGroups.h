#pragma once

#include <functional>

#include "check/PicturePlace.h"
#include "check/pictures/PassingThings.h"
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
    float inside = 0; ///< The same of those that are not at the edge of the picture.
};

/// Which of what the frame before or after has alone may be the same thing.
enum class Companions
{
    Near,        ///< What is near, however it looks.
    NearOrAlike, ///< That, and what looks alike, wherever it is.
    All,
};

/// What each frame of a sequence alone has, or lacks, and whether something that moves explains it.
class LoneGroups
{
public:
    /// So many tiles to each side have a say in what is usual. The sequence has to live as long.
    LoneGroups(const PictureSequence &pictures, int reach);

    /// That a frame can be judged for what it alone has: it has both neighbours, and not so much of
    /// it is other than beside it, be it a habit of the shot, that it is no place of it.
    bool HasPlaces(std::size_t frame) const;
    /// That the frames next to it have both neighbours, so that it is known what they have alone.
    bool KnowsBeside(std::size_t frame) const
    {
        return frame > 0 && frame + 1 < m_groups.size() && m_alone.IsKnown(frame - 1) &&
               m_alone.IsKnown(frame + 1);
    }
    /// The group that says most for itself of those that something holds for; null for none. More
    /// than one tile says it, and not much of the picture.
    const LoneGroup *StrongestIn(std::size_t frame,
                                 const std::function<bool(const TileGroup &tiles)> &isMeant) const;
    /// How unlike both neighbours a tile is, in stops.
    float AloneBy(std::size_t frame, std::size_t tile) const
    {
        return m_alone.At(frame)[tile];
    }
    /// How much of it is found again somewhere near in a neighbour.
    FoundAgain FindAgain(std::size_t frame, const TileGroup &tiles) const;
    /// How much it stands out, as a share of how much it does beside; see `check::StandingOut`.
    float StandingOut(std::size_t frame, const TileGroup &tiles) const;
    /// That the frame before or after has something alone, too, of so much of its stops at least:
    /// two frames in succession are seldom wrong, so this is one thing that moves, and changes.
    bool HasCompanion(std::size_t frame, const TileGroup &tiles, float share,
                      Companions which) const;

private:
    float MotionBeside(std::size_t frame, std::size_t tile) const;
    void Measure(std::size_t frame, const SpikeSeries &around);

    const PictureSequence &m_pictures;
    const TileLooks m_looks;
    SpikeSeries m_alone;
    std::vector<std::vector<LoneGroup>> m_groups;
    std::vector<std::size_t> m_counts; // Of tiles beyond the usual, habits among them.
};

} // namespace check
