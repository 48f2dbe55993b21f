#include "check/pictures/LoneLeftovers.h"

#include "check/pictures/PictureRules.h"

namespace check
{

using namespace picture_rules;

namespace
{

class LoneTiles
{
public:
    LoneTiles(const PictureSequence &pictures, const SamePixels &pixels)
        : m_pictures(pictures), m_pixels(pixels)
    {
    }

    // The rectangle that has most tiles of so old a frame, less those that are elsewhere.
    Leftover BlockOf(std::size_t frame, std::size_t age) const
    {
        std::vector<float> values(m_pictures.Tiles());
        float all = 0;
        for (std::size_t tile = 0; tile < values.size(); ++tile)
        {
            const bool isSame = m_pixels.IsSame(frame, frame - age, tile);
            const bool saysSo = isSame && m_pixels.HasMoved(frame, tile) &&
                                !IsLoop(frame, age, tile) && !IsUsual(frame, age, tile);
            values[tile] = saysSo ? 1 : isSame ? -k_LeftoverRest : -k_LeftoverContrary;
            all += saysSo ? 1 : 0;
        }
        if (all == 0)
            return {};
        const TileRectangle place = GreatestRectangle(values, m_pictures.Columns());
        if (!IsBlock(place, m_pictures))
            return {};
        float inside = 0;
        for (const std::size_t tile : place.Tiles(m_pictures.Columns()))
            inside += values[tile] > 0 ? 1 : 0;
        const float tiles = SumOf(values, m_pictures.Columns(), place) - (all - inside);
        return {place, age, tiles / k_LeftoverTiles};
    }

private:
    // What is beside the frame is what is beside the older one: it goes round, or swings.
    bool IsLoop(std::size_t frame, std::size_t age, std::size_t tile) const
    {
        const std::size_t then = frame - age;
        return m_pixels.AreSame(frame + 1, then + 1, tile) ||
               m_pixels.AreSame(frame - 1, then - 1, tile) ||
               m_pixels.AreSame(frame + 1, then - 1, tile) ||
               (age > k_YoungestStale && m_pixels.AreSame(frame - 1, then + 1, tile));
    }

    // It is seen at other times, too, before and after, as a wall is behind who passes.
    bool IsUsual(std::size_t frame, std::size_t age, std::size_t tile) const
    {
        int before = 0;
        int after = 0;
        for (std::size_t step = k_YoungestStale; step <= k_OldestStale; ++step)
        {
            before += step != age && m_pixels.AreSame(frame, frame - step, tile);
            after += m_pixels.AreSame(frame, frame + step, tile);
        }
        return before > 0 && after > 0 && before + after >= k_UsualFrames;
    }

    const PictureSequence &m_pictures;
    const SamePixels &m_pixels;
};

} // namespace

std::vector<Leftover> FindLoneLeftovers(const PictureSequence &pictures, const SamePixels &pixels)
{
    const LoneTiles tiles(pictures, pixels);
    return BestOfAges(pictures, [&](std::size_t frame, std::size_t age)
                      { return tiles.BlockOf(frame, age); });
}

} // namespace check
