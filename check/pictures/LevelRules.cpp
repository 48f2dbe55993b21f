#include <algorithm>
#include <cmath>
#include <fmt/format.h>

#include "check/pictures/JumpRules.h"
#include "check/pictures/PictureRules.h"
#include "check/pictures/Spikes.h"
#include "check/pictures/TileArea.h"

namespace check
{

using namespace picture_rules;

namespace
{

// The value that so many of them are not above; 0 of none.
float Quantile(std::vector<float> values, double share)
{
    if (values.empty())
        return 0;
    const auto at = std::min(std::size_t(double(values.size()) * share), values.size() - 1);
    const auto place = values.begin() + std::ptrdiff_t(at);
    std::ranges::nth_element(values, place);
    return *place;
}

// A frame and those around it that a value is held against.
struct Around
{
    std::size_t at;
    std::size_t before;
    std::size_t after;
    std::optional<std::size_t> farBefore;
    std::optional<std::size_t> farAfter;
};

// How far a tile's value is above or below all that its neighbours have, also where they go on as
// they came: a fade and a step give 0.
template <typename ValueOf> float JumpOf(const Around &frames, std::size_t tile, ValueOf valueOf)
{
    const float value = valueOf(frames.at, tile);
    const float before = valueOf(frames.before, tile);
    const float after = valueOf(frames.after, tile);
    float low = std::min(before, after);
    float high = std::max(before, after);
    const auto goOn = [&](float near, std::optional<std::size_t> far)
    {
        if (!far)
            return;
        const float expected = 2 * near - valueOf(*far, tile);
        low = std::min(low, expected);
        high = std::max(high, expected);
    };
    goOn(before, frames.farBefore);
    goOn(after, frames.farAfter);
    return value > high ? value - high : value < low ? value - low : 0;
}

// By how much most tiles jump in one direction, with its sign, less the way between the neighbours.
class WholeJumps
{
public:
    WholeJumps(const PictureSequence &pictures, double share)
        : m_pictures(pictures), m_share(share), m_sizes(pictures.Size(), 1),
          m_signed(pictures.Size())
    {
    }

    template <typename ValueOf> void Measure(ValueOf valueOf)
    {
        for (std::size_t frame = 1; frame + 1 < m_pictures.Size(); ++frame)
        {
            const auto before = m_pictures.Before(frame);
            const auto after = m_pictures.After(frame);
            if (m_pictures.At(frame) && before && after)
                Measure(
                    {frame, *before, *after, m_pictures.Before(*before), m_pictures.After(*after)},
                    valueOf);
        }
    }

    template <typename TellJump> void Visit(float least, TellJump tell) const
    {
        for (std::size_t frame = 0; frame < m_sizes.Frames(); ++frame)
        {
            if (!m_sizes.IsKnown(frame))
                continue;
            const float usual = UsualAt(m_sizes, frame, 0);
            const float size = m_sizes.At(frame)[0];
            if (size > k_UsualTimes * usual + least && !IsHabit(m_sizes, frame, 0, size))
                tell(frame, m_signed[frame], usual);
        }
    }

private:
    template <typename ValueOf> void Measure(const Around &frames, ValueOf valueOf)
    {
        std::vector<float> jumps;
        std::vector<float> ways;
        for (std::size_t tile = 0; tile < m_pictures.Tiles(); ++tile)
        {
            ways.push_back(valueOf(frames.after, tile) - valueOf(frames.before, tile));
            if (!IsBlack(frames.at, tile) || !IsBlack(frames.before, tile))
                jumps.push_back(JumpOf(frames, tile, valueOf));
        }
        const float up = Quantile(jumps, 1 - m_share);
        const float down = Quantile(std::move(jumps), m_share);
        const float jump = up > -down ? up : down;
        m_signed[frames.at] = jump;
        m_sizes.Set(frames.at, 0,
                    std::max(0.0f, std::abs(jump) - std::abs(Quantile(std::move(ways), 0.5))));
    }

    bool IsBlack(std::size_t frame, std::size_t tile) const
    {
        return float(m_pictures.At(frame)->tiles[tile].black) > 255 * k_BlackTile;
    }

    const PictureSequence &m_pictures;
    const double m_share;
    SpikeSeries m_sizes;
    std::vector<float> m_signed;
};

} // namespace

PictureFindings FindLevelJumps(const PictureSequence &pictures)
{
    WholeJumps jumps(pictures, k_LevelTiles);
    jumps.Measure([&](std::size_t frame, std::size_t tile) { return pictures.Light(frame)[tile]; });
    PictureFindings findings;
    jumps.Visit(
        k_LevelJump,
        [&](std::size_t frame, float jump, float usual)
        {
            findings[frame] = {
                CheckState::Pop,
                fmt::format("{:.2f} stops {} than the frames before and after, {:.2f} would "
                            "be usual",
                            std::abs(jump), jump > 0 ? "brighter" : "darker", usual),
                WholeOf(*pictures.At(frame))};
        });
    return findings;
}

PictureFindings FindNoiseJumps(const PictureSequence &pictures)
{
    WholeJumps jumps(pictures, k_NoiseTiles);
    jumps.Measure(
        [&](std::size_t frame, std::size_t tile)
        {
            const std::uint8_t detail = pictures.At(frame)->tiles[tile].detail;
            return float(std::log2(std::exp2(decode::StopsOf(detail)) + k_LeastDetail));
        });
    PictureFindings findings;
    jumps.Visit(k_NoiseJump,
                [&](std::size_t frame, float jump, float usual)
                {
                    findings[frame] = {
                        CheckState::Pop,
                        fmt::format("fine detail is {:.2f} stops {} than in the frames before and "
                                    "after, {:.2f} would be usual",
                                    std::abs(jump), jump > 0 ? "stronger" : "weaker", usual),
                        WholeOf(*pictures.At(frame))};
                });
    return findings;
}

} // namespace check
