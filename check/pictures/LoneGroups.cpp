#include "check/pictures/LoneGroups.h"

#include <algorithm>

#include "check/pictures/PictureRules.h"
#include "check/pictures/StandingOut.h"

namespace check
{

using namespace picture_rules;

namespace
{

// What is in the outermost tiles may have looked in for a moment.
bool IsAtEdge(const PictureSequence &pictures, std::size_t tile)
{
    const auto columns = std::size_t(pictures.Columns());
    const std::size_t column = tile % columns;
    return column == 0 || column + 1 == columns || tile < columns ||
           tile + columns >= pictures.Tiles();
}

} // namespace

LoneGroups::LoneGroups(const PictureSequence &pictures, int reach)
    : m_pictures(pictures), m_looks(pictures), m_alone(pictures.Size(), pictures.Tiles()),
      m_groups(pictures.Size()), m_counts(pictures.Size())
{
    for (std::size_t frame = 0; frame < pictures.Size(); ++frame)
    {
        if (!pictures.HasNeighbours(frame))
            continue;
        const std::span<float> alone = m_alone.Fill(frame);
        for (std::size_t tile = 0; tile < alone.size(); ++tile)
            alone[tile] = check::AloneBy(m_looks, frame, tile);
    }
    SpikeSeries around = m_alone;
    SpreadOverPlaces(around, pictures.Columns(), reach);
    for (std::size_t frame = 0; frame < pictures.Size(); ++frame)
        if (m_alone.IsKnown(frame))
            Measure(frame, around);
}

// What goes on there from frame to frame both before and after: where a camera turns round, a frame
// is as far from both its neighbours as they are from theirs.
float LoneGroups::MotionBeside(std::size_t frame, std::size_t tile) const
{
    const auto isKnown = [this](std::size_t other)
    { return other < m_pictures.Size() && m_pictures.At(other); };
    if (frame < 2 || !isKnown(frame - 2) || !isKnown(frame + 2))
        return 0;
    return std::min(m_looks.Distance(frame - 2, frame - 1, tile),
                    m_looks.Distance(frame + 1, frame + 2, tile));
}

void LoneGroups::Measure(std::size_t frame, const SpikeSeries &around)
{
    const std::span<const float> alone = m_alone.At(frame);
    std::vector<float> beyond(alone.size());
    std::vector<bool> isBeyond(alone.size());
    for (std::size_t tile = 0; tile < alone.size(); ++tile)
    {
        if (alone[tile] <= k_StrayFloor)
            continue;
        const float expected =
            std::max(k_UsualTimes * UsualAt(around, frame, tile), MotionBeside(frame, tile));
        const float more = alone[tile] - expected - k_StrayFloor;
        if (more <= 0)
            continue;
        ++m_counts[frame];
        if (!IsHabit(m_alone, frame, tile, alone[tile]))
        {
            isBeyond[tile] = true;
            beyond[tile] = more;
        }
    }
    for (TileGroup &tiles : FindGroups(isBeyond, m_pictures.Columns()))
    {
        LoneGroup group;
        for (const std::size_t tile : tiles)
        {
            group.beyond += beyond[tile];
            group.inside += IsAtEdge(m_pictures, tile) ? 0 : beyond[tile];
        }
        group.tiles = std::move(tiles);
        m_groups[frame].push_back(std::move(group));
    }
}

bool LoneGroups::HasPlaces(std::size_t frame) const
{
    return m_pictures.HasNeighbours(frame) &&
           float(m_counts[frame]) <= k_LargestStray * float(m_pictures.Tiles());
}

const LoneGroup *
LoneGroups::StrongestIn(std::size_t frame,
                        const std::function<bool(const TileGroup &tiles)> &isMeant) const
{
    const LoneGroup *found = nullptr;
    float most = k_LeastStray;
    for (const LoneGroup &group : m_groups[frame])
        if (group.tiles.size() > 1 &&
            float(group.tiles.size()) <= k_LargestStray * float(m_pictures.Tiles()) &&
            group.inside > most && isMeant(group.tiles))
        {
            found = &group;
            most = group.inside;
        }
    return found;
}

FoundAgain LoneGroups::FindAgain(std::size_t frame, const TileGroup &tiles) const
{
    return check::FindAgain(m_pictures, m_looks, frame, tiles);
}

float LoneGroups::StandingOut(std::size_t frame, const TileGroup &tiles) const
{
    return check::StandingOut(m_pictures, m_looks, frame, tiles);
}

bool LoneGroups::HasCompanion(std::size_t frame, const TileGroup &tiles, float share,
                              Companions which) const
{
    float own = 0;
    for (const std::size_t tile : tiles)
        own += AloneBy(frame, tile);
    // What is nothing has no share that something could be as large as.
    if (own <= 0)
        return false;
    const TileLook odd = OddityOf(m_looks, frame, tiles);
    const auto isOneIn = [&](std::size_t other)
    {
        const auto isOne = [&](const LoneGroup &group)
        {
            return group.beyond >= share * own &&
                   (which == Companions::All ||
                    GapBetween(tiles, group.tiles, m_pictures.Columns()) < k_CompanionWay ||
                    (which == Companions::NearOrAlike &&
                     LikenessOf(odd, OddityOf(m_looks, other, group.tiles)) >= k_Alike));
        };
        return std::ranges::any_of(m_groups[other], isOne);
    };
    return (frame > 0 && isOneIn(frame - 1)) || (frame + 1 < m_groups.size() && isOneIn(frame + 1));
}

} // namespace check
