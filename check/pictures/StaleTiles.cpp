#include "check/pictures/StaleTiles.h"

#include <algorithm>
#include <cmath>

#include "check/pictures/PictureRules.h"

namespace check
{

using namespace picture_rules;

StaleTiles::StaleTiles(const PictureSequence &pictures)
    : m_pictures(pictures), m_tiles(pictures.Tiles()), m_looks(pictures), m_levels(pictures.Size()),
      m_motion(pictures.Size() * m_tiles)
{
    for (std::size_t frame = 0; frame < pictures.Size(); ++frame)
    {
        if (!pictures.At(frame) || m_tiles == 0)
            continue;
        const std::span<const float> light = pictures.Light(frame);
        std::vector<float> sorted(light.begin(), light.end());
        const auto middle = sorted.begin() + std::ptrdiff_t(sorted.size() / 2);
        std::ranges::nth_element(sorted, middle);
        m_levels[frame] = *middle;
    }
    for (std::size_t frame = 0; frame < pictures.Size(); ++frame)
        if (pictures.HasNeighbours(frame))
            for (std::size_t tile = 0; tile < m_tiles; ++tile)
                m_motion[frame * m_tiles + tile] = std::min(MotionFrom(frame, frame - 1, tile),
                                                            MotionFrom(frame, frame + 1, tile));
}

// How unlike another frame a tile is, be it as it is or with that frame's light, less what the
// light of all changes by: where a fire or a lamp flickers all is unlike, and nothing moves.
float StaleTiles::MotionFrom(std::size_t frame, std::size_t other, std::size_t tile) const
{
    TileLook lit = m_looks.At(other, tile);
    const float brighter = m_levels[frame] - m_levels[other];
    lit[k_Light] += brighter;
    lit[k_Detail] += brighter / k_CoarseWeight;
    lit[k_Greatest] += brighter / k_CoarseWeight;
    const float unlike =
        std::min(m_looks.Distance(frame, other, tile), DistanceOf(m_looks.At(frame, tile), lit));
    return std::max(0.0f, unlike - std::abs(brighter));
}

// As it is, be it for the light alone: so it goes round where a lamp flickers.
bool StaleTiles::IsUnlikeBoth(std::size_t frame, std::size_t tile) const
{
    return m_looks.Distance(frame, frame - 1, tile) >= k_StaleMotion &&
           m_looks.Distance(frame, frame + 1, tile) >= k_StaleMotion;
}

// Within what distance other frames are as much alike as these two.
float StaleTiles::LikewiseOf(std::size_t frame, std::size_t age, std::size_t tile) const
{
    return k_LikewiseRest + k_LikewiseTimes * m_looks.Distance(frame, frame - age, tile);
}

bool StaleTiles::AreLike(std::ptrdiff_t one, std::ptrdiff_t other, std::size_t tile,
                         float most) const
{
    const auto end = std::ptrdiff_t(m_pictures.Size());
    if (one < 0 || other < 0 || one >= end || other >= end)
        return false;
    const auto first = std::size_t(one);
    const auto second = std::size_t(other);
    return m_pictures.At(first) && m_pictures.At(second) &&
           m_looks.Distance(first, second, tile) < most;
}

// That what is beside the frame is like what is beside the older one: it goes round, or swings.
// Where that cannot be told it may.
bool StaleTiles::IsLoop(std::size_t frame, std::size_t age, std::size_t tile) const
{
    const std::size_t then = frame - age;
    if (!m_pictures.HasNeighbours(then))
        return true;
    const float most = LikewiseOf(frame, age, tile);
    const auto areLike = [&](std::size_t one, std::size_t other)
    { return m_looks.Distance(one, other, tile) < most; };
    return areLike(frame + 1, then + 1) || areLike(frame - 1, then - 1) ||
           areLike(frame + 1, then - 1) || (age > k_YoungestStale && areLike(frame - 1, then + 1));
}

// That other frames of the time around are as far apart and alike.
bool StaleTiles::IsHabit(std::size_t frame, std::size_t age, std::size_t tile) const
{
    const std::size_t first = frame > k_OldestStale ? frame - k_OldestStale : 0;
    const std::size_t last = std::min(frame + k_OldestStale, m_pictures.Size() - 1);
    const float most = LikewiseOf(frame, age, tile);
    for (std::size_t other = first; other <= last; ++other)
        if (other != frame && other != frame + age && m_pictures.HasNeighbours(other) &&
            IsUnlikeBoth(other, tile) &&
            AreLike(std::ptrdiff_t(other), std::ptrdiff_t(other) - std::ptrdiff_t(age), tile, most))
            return true;
    return false;
}

// That the tile shows what it shows at other times, too, as a wall does behind who passes.
bool StaleTiles::IsUsual(std::size_t frame, std::size_t age, std::size_t tile) const
{
    constexpr auto k_reach = std::ptrdiff_t(k_OldestStale);
    const float most = LikewiseOf(frame, age, tile);
    int count = 0;
    for (std::ptrdiff_t step = -k_reach; step <= k_reach; ++step)
        if (std::abs(step) > 1 && step != -std::ptrdiff_t(age) &&
            AreLike(std::ptrdiff_t(frame) + step, std::ptrdiff_t(frame), tile, most) &&
            ++count == k_UsualFrames)
            return true;
    return false;
}

float StaleTiles::EvidenceOf(std::size_t frame, std::size_t age, std::size_t tile) const
{
    const float motion = m_motion[frame * m_tiles + tile];
    if (motion < k_StaleMotion)
        return 0;
    const float rest = m_looks.Distance(frame, frame - age, tile);
    if (rest >= k_StaleRest + k_StaleShare * motion)
        return -k_StaleContrary;
    return std::log2(motion / (rest + k_StaleRounding)) - k_StaleChance;
}

std::vector<float> StaleTiles::EvidenceOf(std::size_t frame, std::size_t age) const
{
    std::vector<float> evidence(m_tiles);
    bool isAny = false;
    for (std::size_t tile = 0; tile < m_tiles; ++tile)
    {
        evidence[tile] = EvidenceOf(frame, age, tile);
        isAny = isAny || evidence[tile] > 0;
    }
    return isAny ? evidence : std::vector<float>();
}

std::vector<float> StaleTiles::LessItsWay(std::size_t frame, std::size_t age,
                                          std::vector<float> evidence) const
{
    for (std::size_t tile = 0; tile < evidence.size(); ++tile)
        if (evidence[tile] > 0 &&
            (IsLoop(frame, age, tile) || IsHabit(frame, age, tile) || IsUsual(frame, age, tile)))
            evidence[tile] = -k_StaleWay;
    return evidence;
}

} // namespace check
