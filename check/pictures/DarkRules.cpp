#include "check/pictures/DarkRules.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>

#include "check/pictures/PictureRules.h"
#include "check/pictures/Spikes.h"
#include "check/pictures/TileRectangle.h"

namespace check
{

using decode::PictureMeasures;
using namespace picture_rules;

namespace
{

// Light that a picture has in any case, so that its logarithm is a number.
constexpr double k_least_light = 1e-6;

// The light that a frame would have that goes on from `far` over `near`.
double LightAfter(const PictureSequence &pictures, std::optional<std::size_t> far, std::size_t near)
{
    const double light = pictures.MeanLight(near);
    return far ? 2 * light - pictures.MeanLight(*far) : light;
}

float BlackShare(const PictureMeasures &measures, std::size_t tile)
{
    return float(measures.tiles[tile].black) / 255;
}

// The frames that a picture's black is held against: both neighbours, and at an end of the shot the
// one, where it hardly moves from there. Over a gap all that moves goes farther.
std::vector<std::size_t> ComparedWith(const PictureSequence &pictures, std::size_t frame)
{
    if (pictures.HasNeighbours(frame))
        return {frame - 1, frame + 1};
    const bool isFirst = frame == 0 && pictures.Size() > 1;
    const bool isLast = frame > 0 && frame + 1 == pictures.Size();
    if (!isFirst && !isLast)
        return {};
    const std::size_t other = isFirst ? frame + 1 : frame - 1;
    if (!pictures.At(frame) || !pictures.At(other))
        return {};
    std::size_t still = 0;
    for (std::size_t tile = 0; tile < pictures.Tiles(); ++tile)
        still += std::abs(pictures.Light(frame)[tile] - pictures.Light(other)[tile]) < k_StillStops;
    return 2 * still > pictures.Tiles() ? std::vector{other} : std::vector<std::size_t>();
}

// How much of a tile is black that is so in none of the others; less than 0 where that is less.
float RiseOf(const PictureSequence &pictures, std::size_t frame,
             const std::vector<std::size_t> &others, std::size_t tile)
{
    const float share = BlackShare(*pictures.At(frame), tile);
    float rise = share;
    for (const std::size_t other : others)
        rise = std::min(rise, share - BlackShare(*pictures.At(other), tile));
    return rise;
}

SpikeSeries VoidsOf(const PictureSequence &pictures)
{
    SpikeSeries voids(pictures.Size(), pictures.Tiles());
    for (std::size_t frame = 0; frame < pictures.Size(); ++frame)
    {
        const std::vector<std::size_t> others = ComparedWith(pictures, frame);
        if (others.empty())
            continue;
        const std::span<float> rises = voids.Fill(frame);
        for (std::size_t tile = 0; tile < rises.size(); ++tile)
            rises[tile] = std::max(RiseOf(pictures, frame, others, tile), 0.0f);
    }
    return voids;
}

// A tile and those to the right of it and below.
TileGroup BlockAt(const PictureSequence &pictures, std::size_t tile)
{
    const auto columns = std::size_t(pictures.Columns());
    const std::size_t right = tile % columns + 1 < columns ? tile + 1 : tile;
    const bool isLowest = tile + columns >= pictures.Tiles();
    TileGroup block{tile};
    if (right != tile)
        block.push_back(right);
    if (!isLowest)
        block.push_back(tile + columns);
    if (!isLowest && right != tile)
        block.push_back(right + columns);
    return block;
}

// How many tiles' worth becomes black in each block.
SpikeSeries SumOfBlocks(const PictureSequence &pictures, const SpikeSeries &voids)
{
    SpikeSeries blocks(voids.Frames(), voids.Places());
    for (std::size_t frame = 0; frame < voids.Frames(); ++frame)
    {
        if (!voids.IsKnown(frame))
            continue;
        const std::span<float> sums = blocks.Fill(frame);
        const auto isNone = [](float rise) { return rise == 0; };
        if (std::ranges::all_of(voids.At(frame), isNone))
            continue;
        for (std::size_t tile = 0; tile < sums.size(); ++tile)
            for (const std::size_t one : BlockAt(pictures, tile))
                sums[tile] += voids.At(frame)[one];
    }
    return blocks;
}

// That a tile of which so much is black was lit there: what was all but black before is not missed.
bool IsMissed(const PictureSequence &pictures, std::size_t frame, std::size_t tile, float share)
{
    return std::ranges::all_of(
        ComparedWith(pictures, frame),
        [&](std::size_t other) {
            return pictures.Light(other)[tile] - pictures.Light(frame)[tile] > share * k_VoidStops;
        });
}

} // namespace

PictureFindings FindBlackFrames(const PictureSequence &pictures)
{
    PictureFindings findings;
    for (std::size_t frame = 0; frame < pictures.Size(); ++frame)
    {
        const auto before = pictures.Before(frame);
        const auto after = pictures.After(frame);
        if (!pictures.At(frame) || !before || !after)
            continue;
        const double around =
            std::min(pictures.MeanLight(*before), pictures.MeanLight(*after)) + k_least_light;
        const double stops = std::log2(around / (pictures.MeanLight(frame) + k_least_light));
        const double expected = std::min(LightAfter(pictures, pictures.Before(*before), *before),
                                         LightAfter(pictures, pictures.After(*after), *after));
        if (stops > k_BlackStops && expected > k_StillLit * around)
            findings[frame] = {
                CheckState::Black,
                fmt::format("{:.1f} stops darker than the frames before and after", stops),
                WholeOf(*pictures.At(frame))};
    }
    return findings;
}

PictureFindings FindVoids(const PictureSequence &pictures)
{
    const SpikeSeries voids = VoidsOf(pictures);
    const SpikeSeries blocks = SumOfBlocks(pictures, voids);
    SpikeSeries around = blocks;
    SpreadOverPlaces(around, pictures.Columns(), k_VoidReach);

    PictureFindings findings;
    for (std::size_t frame = 0; frame < pictures.Size(); ++frame)
    {
        if (!voids.IsKnown(frame))
            continue;
        const std::span<const float> rises = voids.At(frame);
        const float least = pictures.HasNeighbours(frame) ? k_VoidTiles : k_VoidTilesAtEnd;
        std::vector<bool> isVoid(rises.size());
        for (std::size_t tile = 0; tile < rises.size(); ++tile)
        {
            const float sum = blocks.At(frame)[tile];
            if (sum < least || sum < k_VoidTiles + k_UsualTimes * UsualAt(around, frame, tile))
                continue;
            const TileGroup block = BlockAt(pictures, tile);
            const auto riseOf = [&](std::size_t one) { return rises[one]; };
            const std::size_t most = *std::ranges::max_element(block, {}, riseOf);
            for (const std::size_t one : block)
                if ((one == most || rises[one] > k_VoidShare) &&
                    IsMissed(pictures, frame, one, rises[one]))
                    isVoid[one] = true;
        }
        TileGroup tiles;
        for (const TileGroup &group : FindGroups(isVoid, pictures.Columns()))
            if (FillOf(group, pictures.Columns()) > k_BlockFill)
                tiles.insert(tiles.end(), group.begin(), group.end());
        if (tiles.empty())
            continue;
        const PicturePlace place = PlaceOf(*pictures.At(frame), tiles);
        findings[frame] = {
            CheckState::Patch,
            fmt::format("{} are black, and not so in the frames beside it", PlaceText(place)),
            place};
    }
    return findings;
}

bool IsBlackRectangle(const PictureSequence &pictures, std::size_t frame, const TileGroup &tiles)
{
    const auto columns = std::size_t(pictures.Columns());
    const auto rows = std::size_t(pictures.Rows());
    TileRectangle around = RectangleAround(tiles, pictures.Columns());
    around.left -= around.left > 0 ? 1 : 0;
    around.top -= around.top > 0 ? 1 : 0;
    around.right += around.right + 1 < columns ? 1 : 0;
    around.bottom += around.bottom + 1 < rows ? 1 : 0;
    const TileGroup all = around.Tiles(pictures.Columns());

    const std::vector<std::size_t> others = ComparedWith(pictures, frame);
    std::vector<float> across(columns);
    std::vector<float> down(rows);
    for (const std::size_t tile : all)
    {
        const float rise = RiseOf(pictures, frame, others, tile);
        across[tile % columns] = std::max(across[tile % columns], rise);
        down[tile / columns] = std::max(down[tile / columns], rise);
    }
    const float most = *std::ranges::max_element(down);
    if (most < k_FullTile)
        return false;
    // A rectangle has of each tile what it has of its column, times what it has of its row.
    return std::ranges::all_of(
        all,
        [&](std::size_t tile)
        {
            const float expected = across[tile % columns] * down[tile / columns] / most;
            return expected > RiseOf(pictures, frame, others, tile) - k_SharpShare &&
                   expected < BlackShare(*pictures.At(frame), tile) + k_SharpShare;
        });
}

} // namespace check
