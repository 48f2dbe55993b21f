#include "check/pictures/WholeLeftovers.h"

#include <algorithm>
#include <cmath>

#include "check/pictures/PictureRules.h"

namespace check
{

using namespace picture_rules;

namespace
{

class WholeBlocks
{
public:
    WholeBlocks(const PictureSequence &pictures, const SamePixels &pixels)
        : m_pictures(pictures), m_pixels(pixels)
    {
    }

    // The rectangle that has most tiles that moved of those that all are of so old a frame.
    Leftover BlockOf(std::size_t frame, std::size_t age) const
    {
        const int columns = m_pictures.Columns();
        std::vector<float> values(m_pictures.Tiles(), -float(m_pictures.Tiles()));
        Count all;
        for (std::size_t tile = 0; tile < values.size(); ++tile)
        {
            const bool isSame = m_pixels.IsSame(frame, frame - age, tile);
            const bool hasMoved = m_pixels.HasMoved(frame, tile);
            all.moved += hasMoved ? 1 : 0;
            all.same += hasMoved && isSame ? 1 : 0;
            if (isSame)
                values[tile] = hasMoved ? 1 : -k_LeftoverRest;
        }
        if (all.same == 0)
            return {};
        const TileRectangle place = GreatestRectangle(values, columns);
        if (!IsBlock(place, m_pictures))
            return {};
        TileGroup moved;
        for (const std::size_t tile : place.Tiles(columns))
            if (values[tile] > 0)
                moved.push_back(tile);
        const auto count = float(moved.size());
        const Count elsewhere{all.moved - count, all.same - count};
        if (elsewhere.same > k_LeftoverElsewhere * count || IsUsual(frame, age, moved))
            return {};
        const float rest = SumOf(values, columns, place) - count;
        return {place, age, (count * BitsOf(elsewhere) + rest) / k_LeftoverEvidence};
    }

private:
    struct Count
    {
        float moved = 0;
        float same = 0; // Of those the ones that have the older frame's pixels.
    };

    // What one tile says that moved and has them, where so many do elsewhere: of few not too much
    // is known (R. Krichevsky and V. Trofimov's estimate of a share).
    static float BitsOf(const Count &elsewhere)
    {
        const float share = (elsewhere.same + 0.5f) / (elsewhere.moved + 1);
        return std::min(-std::log2(share), k_LeftoverBits);
    }

    // Most of it is seen at other times, too, before and after.
    bool IsUsual(std::size_t frame, std::size_t age, const TileGroup &tiles) const
    {
        int before = 0;
        int after = 0;
        const auto isThere = [&](std::size_t other)
        {
            const auto count = std::ranges::count_if(
                tiles, [&](std::size_t tile) { return m_pixels.AreSame(frame, other, tile); });
            return float(count) > k_LeftoverAgain * float(tiles.size());
        };
        for (std::size_t step = k_YoungestStale; step <= k_OldestStale; ++step)
        {
            before += step != age && isThere(frame - step);
            after += isThere(frame + step);
        }
        return before > 0 && after > 0 && before + after >= k_UsualFrames;
    }

    const PictureSequence &m_pictures;
    const SamePixels &m_pixels;
};

} // namespace

std::vector<Leftover> FindWholeLeftovers(const PictureSequence &pictures, const SamePixels &pixels)
{
    const WholeBlocks blocks(pictures, pixels);
    return BestOfAges(pictures, [&](std::size_t frame, std::size_t age)
                      { return blocks.BlockOf(frame, age); });
}

} // namespace check
