#include "decode/PictureMeasures.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace decode
{

namespace
{

constexpr std::string_view k_digits = "0123456789abcdef";

double StepOf(double light, int steps)
{
    return light > 0 ? (std::log2(light) + k_LevelsBelow) * steps : 0;
}

class HexWriter
{
public:
    template <typename Number> void Add(Number number)
    {
        const auto bits = std::make_unsigned_t<Number>(number);
        for (int shift = int(sizeof bits) * 8 - 4; shift >= 0; shift -= 4)
            m_text += k_digits[std::size_t((bits >> shift) & 15)];
    }

    std::string Take()
    {
        return std::move(m_text);
    }

private:
    std::string m_text;
};

class HexReader
{
public:
    explicit HexReader(std::string_view text) : m_text(text) {}

    template <typename Number> void Take(Number &number)
    {
        std::make_unsigned_t<Number> bits = 0;
        for (std::size_t i = 0; i < 2 * sizeof bits; ++i)
        {
            const std::size_t digit =
                m_text.empty() ? std::string_view::npos : k_digits.find(m_text.front());
            if (digit == std::string_view::npos)
            {
                m_isGood = false;
                return;
            }
            bits = std::make_unsigned_t<Number>((bits << 4) | digit);
            m_text.remove_prefix(1);
        }
        number = Number(bits);
    }

    bool IsGood() const
    {
        return m_isGood;
    }
    std::size_t Left() const
    {
        return m_text.size();
    }

private:
    std::string_view m_text;
    bool m_isGood = true;
};

// The order of the numbers in a message.
template <typename Head, typename Take> void VisitHead(Head &measures, Take &&take)
{
    take(measures.width);
    take(measures.height);
    take(measures.columns);
    take(measures.rows);
    take(measures.hash);
}

template <typename Tile, typename Take> void VisitTile(Tile &tile, Take &&take)
{
    take(tile.level);
    take(tile.detail);
    take(tile.greatest);
    take(tile.black);
    take(tile.across);
    take(tile.down);
    take(tile.mark);
}

template <typename Point, typename Take> void VisitPeak(Point &peak, Take &&take)
{
    take(peak.x);
    take(peak.y);
    take(peak.greatest);
}

constexpr std::size_t k_peak_digits = 10;

} // namespace

std::uint16_t LevelOf(double light)
{
    return std::uint16_t(std::clamp(std::round(StepOf(light, k_LevelSteps)), 0.0, 65535.0));
}

double LightOf(std::uint16_t level)
{
    return level == 0 ? 0 : std::exp2(double(level) / k_LevelSteps - k_LevelsBelow);
}

std::uint8_t CoarseLevelOf(double light)
{
    return std::uint8_t(std::clamp(std::round(StepOf(light, k_CoarseSteps)), 0.0, 255.0));
}

double StopsOf(std::uint8_t coarse)
{
    return double(coarse) / k_CoarseSteps - k_LevelsBelow;
}

std::vector<int> TileEdges(int pixels, int count)
{
    std::vector<int> edges;
    for (int i = 0; i <= count; ++i)
        edges.push_back(int(std::int64_t(pixels) * i / count));
    return edges;
}

int TileCount(int pixels, int longerSide)
{
    const auto longest = std::int64_t(std::min(k_MostTiles, longerSide / k_LeastTilePixels));
    const auto share = (longest * pixels + longerSide / 2) / std::max(longerSide, 1);
    return int(std::clamp<std::int64_t>(share, 1, k_MostTiles));
}

std::string PackMeasures(const PictureMeasures &measures)
{
    if (measures.tiles.empty())
        return {};
    HexWriter out;
    const auto add = [&out](auto number) { out.Add(number); };
    VisitHead(measures, add);
    for (const TileMeasure &tile : measures.tiles)
        VisitTile(tile, add);
    for (const Peak &peak : measures.peaks)
        VisitPeak(peak, add);
    return out.Take();
}

std::optional<PictureMeasures> ParseMeasures(std::string_view text)
{
    PictureMeasures measures;
    if (text.empty())
        return measures;
    HexReader in(text);
    const auto take = [&in](auto &number) { in.Take(number); };
    VisitHead(measures, take);
    const auto isSide = [](int pixels, int tiles)
    {
        return pixels > 0 && pixels <= k_MostPictureSide && tiles > 0 &&
               tiles <= std::min(pixels, k_MostTiles);
    };
    if (!in.IsGood() || !isSide(measures.width, measures.columns) ||
        !isSide(measures.height, measures.rows))
        return std::nullopt;
    measures.tiles.resize(std::size_t(measures.columns) * std::size_t(measures.rows));
    for (TileMeasure &tile : measures.tiles)
        VisitTile(tile, take);
    if (!in.IsGood() || in.Left() % k_peak_digits != 0 || in.Left() / k_peak_digits > k_MostPeaks)
        return std::nullopt;
    measures.peaks.resize(in.Left() / k_peak_digits);
    for (Peak &peak : measures.peaks)
        VisitPeak(peak, take);
    const auto isInside = [&](const Peak &peak)
    { return peak.x < measures.width && peak.y < measures.height; };
    if (!in.IsGood() || !std::ranges::all_of(measures.peaks, isInside))
        return std::nullopt;
    return measures;
}

} // namespace decode
