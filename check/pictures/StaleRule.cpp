#include "check/pictures/StaleRule.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <fmt/format.h>
#include <limits>
#include <map>

#include "check/pictures/PictureRules.h"
#include "check/pictures/Spikes.h"
#include "check/pictures/TileArea.h"

namespace check
{

using namespace picture_rules;

namespace
{

constexpr std::size_t k_youngest = 2;

// What tells tiles apart, in stops or parts of them.
using Features = std::array<float, 5>;
enum Feature : std::size_t
{
    k_light,
    k_across,
    k_down,
    k_detail,
    k_greatest,
};
// What they are divided by: a half of the slopes, a quarter of the others.
constexpr float k_slope_weight = 2 * 32;
constexpr float k_coarse_weight = 4;

float Distance(const Features &one, const Features &other)
{
    float sum = 0;
    for (std::size_t i = 0; i < one.size(); ++i)
        sum += std::abs(one[i] - other[i]);
    return sum;
}

class StaleBlocks
{
public:
    explicit StaleBlocks(const PictureSequence &pictures)
        : m_pictures(pictures), m_tiles(pictures.Tiles()), m_features(pictures.Size() * m_tiles),
          m_motion(pictures.Size() * m_tiles), m_levels(pictures.Size()),
          m_evidence(pictures.Size(), m_tiles)
    {
        for (std::size_t frame = 0; frame < pictures.Size(); ++frame)
            if (pictures.At(frame))
                Describe(frame);
        for (std::size_t frame = 0; frame < pictures.Size(); ++frame)
            if (pictures.HasNeighbours(frame))
                for (std::size_t tile = 0; tile < m_tiles; ++tile)
                    m_motion[frame * m_tiles + tile] = std::min(MotionFrom(frame, frame - 1, tile),
                                                                MotionFrom(frame, frame + 1, tile));
        for (std::size_t frame = 0; frame < pictures.Size(); ++frame)
            if (pictures.HasNeighbours(frame))
                Measure(frame);
    }

    PictureFindings Find() const
    {
        SpikeSeries around = m_evidence;
        SpreadOverPlaces(around, m_pictures.Columns(), k_StaleReach);
        PictureFindings findings;
        for (const auto &[frame, groups] : m_groups)
            for (const Group &group : groups)
                if (group.evidence > Worst(around, frame, group) && !findings.contains(frame))
                    findings[frame] = Told(frame, group);
        return findings;
    }

private:
    struct Group
    {
        TileGroup tiles;
        std::size_t age;
        float evidence;
    };

    void Describe(std::size_t frame)
    {
        const std::span<const float> light = m_pictures.Light(frame);
        std::vector<float> sorted(light.begin(), light.end());
        const auto middle = sorted.begin() + std::ptrdiff_t(sorted.size() / 2);
        std::ranges::nth_element(sorted, middle);
        m_levels[frame] = *middle;
        for (std::size_t tile = 0; tile < m_tiles; ++tile)
        {
            const decode::TileMeasure &measure = m_pictures.At(frame)->tiles[tile];
            m_features[frame * m_tiles + tile] = {
                m_pictures.Light(frame)[tile], float(measure.across) / k_slope_weight,
                float(measure.down) / k_slope_weight,
                float(decode::StopsOf(measure.detail)) / k_coarse_weight,
                float(decode::StopsOf(measure.greatest)) / k_coarse_weight};
        }
    }

    float Distance(std::size_t frame, std::size_t other, std::size_t tile) const
    {
        return check::Distance(m_features[frame * m_tiles + tile],
                               m_features[other * m_tiles + tile]);
    }

    // How unlike another frame a tile is, be it as it is or with that frame's light, less what the
    // light of all changes by: where a fire or a lamp flickers all is unlike, and nothing moves.
    float MotionFrom(std::size_t frame, std::size_t other, std::size_t tile) const
    {
        const Features &one = m_features[frame * m_tiles + tile];
        Features two = m_features[other * m_tiles + tile];
        const float brighter = m_levels[frame] - m_levels[other];
        two[k_light] += brighter;
        two[k_detail] += brighter / k_coarse_weight;
        two[k_greatest] += brighter / k_coarse_weight;
        const float unlike = std::min(Distance(frame, other, tile), check::Distance(one, two));
        return std::max(0.0f, unlike - std::abs(brighter));
    }

    // As it is, be it for the light alone: so it goes round where a lamp flickers.
    bool IsUnlikeBoth(std::size_t frame, std::size_t tile) const
    {
        return Distance(frame, frame - 1, tile) >= k_StaleMotion &&
               Distance(frame, frame + 1, tile) >= k_StaleMotion;
    }

    float MotionOf(std::size_t frame, std::size_t tile) const
    {
        return m_motion[frame * m_tiles + tile];
    }

    // Like the frame so many before, and unlike its neighbours.
    bool IsLikeOlder(std::size_t frame, std::size_t age, std::size_t tile) const
    {
        const float motion = MotionOf(frame, tile);
        return motion >= k_StaleMotion &&
               Distance(frame, frame - age, tile) < k_StaleRest + k_StaleShare * motion;
    }

    // Within what distance other frames are as much alike as these two.
    float LikewiseOf(std::size_t frame, std::size_t age, std::size_t tile) const
    {
        return k_LikewiseRest + k_LikewiseTimes * Distance(frame, frame - age, tile);
    }

    bool AreLike(std::ptrdiff_t one, std::ptrdiff_t other, std::size_t tile, float most) const
    {
        const auto end = std::ptrdiff_t(m_pictures.Size());
        if (one < 0 || other < 0 || one >= end || other >= end)
            return false;
        const auto first = std::size_t(one);
        const auto second = std::size_t(other);
        return m_pictures.At(first) && m_pictures.At(second) &&
               Distance(first, second, tile) < most;
    }

    // That what is beside the frame is like what is beside the older one: it goes round, or swings.
    // Where that cannot be told it may.
    bool IsLoop(std::size_t frame, std::size_t age, std::size_t tile) const
    {
        const std::size_t then = frame - age;
        if (!m_pictures.HasNeighbours(then))
            return true;
        const float most = LikewiseOf(frame, age, tile);
        const auto areLike = [&](std::size_t one, std::size_t other)
        { return Distance(one, other, tile) < most; };
        return areLike(frame + 1, then + 1) || areLike(frame - 1, then - 1) ||
               areLike(frame + 1, then - 1) || (age > k_youngest && areLike(frame - 1, then + 1));
    }

    // That other frames of the time around are as far apart and alike.
    bool IsHabit(std::size_t frame, std::size_t age, std::size_t tile) const
    {
        const std::size_t first = frame > std::size_t(k_OldestStale) ? frame - k_OldestStale : 0;
        const std::size_t last = std::min(frame + k_OldestStale, m_pictures.Size() - 1);
        const float most = LikewiseOf(frame, age, tile);
        for (std::size_t other = first; other <= last; ++other)
            if (other != frame && other != frame + age && m_pictures.HasNeighbours(other) &&
                IsUnlikeBoth(other, tile) &&
                AreLike(std::ptrdiff_t(other), std::ptrdiff_t(other) - std::ptrdiff_t(age), tile,
                        most))
                return true;
        return false;
    }

    // That the tile shows what it shows at other times, too, as a wall does behind who passes.
    bool IsUsual(std::size_t frame, std::size_t age, std::size_t tile) const
    {
        const float most = LikewiseOf(frame, age, tile);
        int count = 0;
        for (std::ptrdiff_t step = -k_OldestStale; step <= k_OldestStale; ++step)
            if (std::abs(step) > 1 && step != -std::ptrdiff_t(age) &&
                AreLike(std::ptrdiff_t(frame) + step, std::ptrdiff_t(frame), tile, most) &&
                ++count == k_UsualFrames)
                return true;
        return false;
    }

    void Measure(std::size_t frame)
    {
        const std::span<float> evidence = m_evidence.Fill(frame);
        std::vector<bool> isStale(m_tiles);
        for (std::size_t age = k_youngest; age <= k_OldestStale && age <= frame; ++age)
        {
            if (!m_pictures.At(frame - age))
                continue;
            bool isAny = false;
            for (std::size_t tile = 0; tile < m_tiles; ++tile)
            {
                isStale[tile] = IsLikeOlder(frame, age, tile) && !IsLoop(frame, age, tile) &&
                                !IsHabit(frame, age, tile) && !IsUsual(frame, age, tile);
                isAny = isAny || isStale[tile];
            }
            if (!isAny)
                continue;
            for (TileGroup &tiles : FindGroups(isStale, m_pictures.Columns()))
                Keep(frame, {std::move(tiles), age, 0}, evidence);
        }
    }

    void Keep(std::size_t frame, Group group, std::span<float> evidence)
    {
        if (float(group.tiles.size()) > k_LargestStale * float(m_tiles) ||
            FillOf(group.tiles, m_pictures.Columns()) <= k_BlockFill)
            return;
        for (const std::size_t tile : group.tiles)
            group.evidence +=
                std::log2(MotionOf(frame, tile) /
                          (Distance(frame, frame - group.age, tile) + k_StaleRounding)) -
                k_StaleChance;
        for (const std::size_t tile : group.tiles)
            evidence[tile] = std::max(evidence[tile], group.evidence);
        if (group.evidence > k_StaleEvidence)
            m_groups[frame].push_back(std::move(group));
    }

    // What it takes where other frames seem to have stale blocks in this place, too.
    static float Worst(const SpikeSeries &around, std::size_t frame, const Group &group)
    {
        float least = std::numeric_limits<float>::max();
        for (const std::size_t tile : group.tiles)
            least = std::min(least, UsualAt(around, frame, tile));
        return k_UsualTimes * least + k_StaleEvidence;
    }

    PictureFinding Told(std::size_t frame, const Group &group) const
    {
        const PicturePlace place = PlaceOf(*m_pictures.At(frame), group.tiles);
        return {CheckState::Patch,
                fmt::format("{1} are as {0} frames before, and unlike the frames before and after",
                            group.age, PlaceText(place)),
                place};
    }

    const PictureSequence &m_pictures;
    const std::size_t m_tiles;
    std::vector<Features> m_features;
    std::vector<float> m_motion; // How unlike the more alike of its neighbours a tile is.
    std::vector<float> m_levels; // The median light of the tiles of each frame.
    SpikeSeries m_evidence;
    std::map<std::size_t, std::vector<Group>> m_groups;
};

} // namespace

PictureFindings FindStaleBlocks(const PictureSequence &pictures)
{
    return StaleBlocks(pictures).Find();
}

} // namespace check
