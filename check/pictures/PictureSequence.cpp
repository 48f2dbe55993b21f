#include "check/pictures/PictureSequence.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <tuple>

#include "check/pictures/PictureRules.h"

namespace check
{

using decode::LightOf;
using decode::PictureMeasures;
using decode::TileMeasure;

namespace
{

// Beyond so many missing frames the next one is no neighbour.
constexpr std::size_t k_farthest = 3;

auto GridOf(const PictureMeasures &measures)
{
    return std::tuple(measures.columns, measures.rows, measures.width, measures.height);
}

// The median light of tiles that are not black; some of them are enough.
double UsualLight(const std::vector<const PictureMeasures *> &frames)
{
    std::vector<std::uint16_t> levels;
    for (const PictureMeasures *const frame : frames)
        if (frame)
            for (const TileMeasure &tile : frame->tiles)
                if (tile.black < 128)
                    levels.push_back(tile.level);
    if (levels.empty())
        return 1;
    const auto middle = levels.begin() + std::ptrdiff_t(levels.size() / 2);
    std::ranges::nth_element(levels, middle);
    // Whatever a decoder says of a tile that is not black: what comes of it is a number.
    return std::max(LightOf(*middle), decode::k_BlackLight);
}

} // namespace

PictureSequence::PictureSequence(std::span<const Measures *const> frames)
    : m_frames(frames.begin(), frames.end()), m_means(frames.size())
{
    std::map<std::tuple<int, int, int, int>, std::size_t> grids;
    for (const Measures *const frame : frames)
        if (frame && !frame->tiles.empty())
            ++grids[GridOf(*frame)];
    if (grids.empty())
        return;
    const auto most = std::ranges::max_element(grids, [](const auto &one, const auto &other)
                                               { return one.second < other.second; });
    m_columns = std::get<0>(most->first);
    m_rows = std::get<1>(most->first);
    for (const Measures *&frame : m_frames)
        if (frame && (frame->tiles.empty() || GridOf(*frame) != most->first))
            frame = nullptr;

    const double usual = UsualLight(m_frames);
    m_light.resize(Size() * Tiles());
    for (std::size_t at = 0; at < Size(); ++at)
    {
        if (!m_frames[at])
            continue;
        for (std::size_t tile = 0; tile < Tiles(); ++tile)
        {
            const double light = LightOf(m_frames[at]->tiles[tile].level);
            m_means[at] += light / double(Tiles());
            m_light[at * Tiles() + tile] =
                float(std::log2(std::min(light / usual, double(picture_rules::k_Glare)) +
                                double(picture_rules::k_Darkness)));
        }
    }
}

float PictureSequence::WayAcross(std::size_t frame) const
{
    float sum = 0;
    for (std::size_t tile = 0; tile < Tiles(); ++tile)
        sum += std::abs(Light(frame + 1)[tile] - Light(frame - 1)[tile]);
    return sum / float(Tiles());
}

std::optional<std::size_t> PictureSequence::Before(std::size_t frame) const
{
    for (std::size_t back = 1; back <= k_farthest && back <= frame; ++back)
        if (m_frames[frame - back])
            return frame - back;
    return std::nullopt;
}

std::optional<std::size_t> PictureSequence::After(std::size_t frame) const
{
    for (std::size_t on = 1; on <= k_farthest && frame + on < Size(); ++on)
        if (m_frames[frame + on])
            return frame + on;
    return std::nullopt;
}

} // namespace check
