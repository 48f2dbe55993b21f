#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace decode
{

/// What a tile of a picture looks like, in few numbers. Light is the luminance of linear values
/// (ITU-R BT.709); whole numbers without a sign are taken for sRGB.
struct TileMeasure
{
    std::uint16_t level = 0;   ///< Mean light; see `LevelOf`.
    std::uint8_t detail = 0;   ///< Mean of the absolute Laplacian; see `CoarseLevelOf`.
    std::uint8_t greatest = 0; ///< The brightest pixel; see `CoarseLevelOf`.
    std::uint8_t black = 0;    ///< The share of pixels that have no light to speak of, of 255.
    /// By how much the right half is brighter than the left one, and the lower than the upper: in
    /// 32nds of a stop, from -127 to 127.
    std::int8_t across = 0;
    std::int8_t down = 0;
    /// Of the light of each column: the same where all pixels are, and seldom elsewhere.
    std::uint16_t mark = 0;

    bool operator==(const TileMeasure &) const = default;
};

/// A pixel far brighter than at least seven of the eight around it.
struct Peak
{
    std::uint16_t x = 0; ///< In pixels of the display window.
    std::uint16_t y = 0;
    std::uint8_t greatest = 0; ///< Its light; see `CoarseLevelOf`.

    bool operator==(const Peak &) const = default;
};

inline constexpr int k_MostTiles = 32;          ///< Along the longer side of a picture.
inline constexpr int k_LeastTilePixels = 4;     ///< Of a tile's side, where there is more than one.
inline constexpr int k_MostPictureSide = 65535; ///< Of one that is measured, in pixels.
inline constexpr std::size_t k_MostPeaks = 192;
/// Light below which a pixel counts as black: codes 0 to 3 of an 8 bit picture.
inline constexpr double k_BlackLight = 1.0 / 1024;
/// How far a pixel is above those around it to be a peak: one stop.
inline constexpr float k_PeakRatio = 2;

/// Small measures of a picture, to be held against those of the frames around it.
struct PictureMeasures
{
    int width = 0; ///< Of the picture that the tiles lie over, in pixels.
    int height = 0;
    int columns = 0;
    int rows = 0;
    std::uint64_t hash = 0;         ///< Of all values of all parts.
    std::vector<TileMeasure> tiles; ///< Row by row from the upper left corner.
    std::vector<Peak> peaks;        ///< The brightest that there are, `k_MostPeaks` at most.

    bool operator==(const PictureMeasures &) const = default;
};

/// Steps of a level: 2,048 a stop, from 20 stops below 1 to 12 above it.
inline constexpr int k_LevelSteps = 2048;
inline constexpr int k_LevelsBelow = 20;
inline constexpr int k_CoarseSteps = 8;
std::uint16_t LevelOf(double light);
/// The light at the middle of a step; that of step 0 is 0.
double LightOf(std::uint16_t level);
/// The same in 8 steps a stop.
std::uint8_t CoarseLevelOf(double light);
/// The light of a coarse step as a number of stops above or below 1.
double StopsOf(std::uint8_t coarse);

/// Where the tiles of so many pixels begin: `count` + 1 numbers, the last is `pixels`.
std::vector<int> TileEdges(int pixels, int count);
/// How many tiles a side of a picture has.
int TileCount(int pixels, int longerSide);

/// As one field of a message between processes; empty for no measures.
std::string PackMeasures(const PictureMeasures &measures);
/// Nothing for what are no measures, whatever was sent.
std::optional<PictureMeasures> ParseMeasures(std::string_view text);

} // namespace decode
