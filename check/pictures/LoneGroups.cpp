#include "check/pictures/LoneGroups.h"

#include <algorithm>

#include "check/pictures/PassingThings.h"
#include "check/pictures/PictureRules.h"

namespace check
{

using namespace picture_rules;

LoneGroups::LoneGroups(const PictureSequence &pictures)
    : m_pictures(pictures), m_looks(pictures), m_alone(pictures.Size(), pictures.Tiles()),
      m_beyond(pictures.Size(), pictures.Tiles()), m_groups(pictures.Size()),
      m_counts(pictures.Size())
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
    SpreadOverPlaces(around, pictures.Columns(), k_StrayReach);
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
    const std::span<float> beyond = m_beyond.Fill(frame);
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
        float sum = 0;
        for (const std::size_t tile : tiles)
            sum += beyond[tile];
        m_groups[frame].push_back({std::move(tiles), sum});
    }
}

bool LoneGroups::IsWhole(std::size_t frame) const
{
    return float(m_counts[frame]) > k_LargestStray * float(m_pictures.Tiles());
}

float LoneGroups::ShareFoundAgain(std::size_t frame, const TileGroup &tiles) const
{
    return PassingShare(m_pictures, m_looks, frame, tiles);
}

bool LoneGroups::HasCompanion(std::size_t frame, const TileGroup &tiles, float share) const
{
    float own = 0;
    for (const std::size_t tile : tiles)
        own += AloneBy(frame, tile);
    const auto isOne = [least = share * own](const LoneGroup &group)
    { return group.beyond >= least; };
    return (frame > 0 && std::ranges::any_of(m_groups[frame - 1], isOne)) ||
           (frame + 1 < m_groups.size() && std::ranges::any_of(m_groups[frame + 1], isOne));
}

} // namespace check
