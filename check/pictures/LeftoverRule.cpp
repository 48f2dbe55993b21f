#include "check/pictures/LeftoverRule.h"

#include <algorithm>
#include <fmt/format.h>

#include "check/pictures/PictureRules.h"
#include "check/pictures/TileLooks.h"
#include "check/pictures/TileRectangle.h"

namespace check
{

using namespace picture_rules;

namespace
{

class Leftovers
{
public:
    explicit Leftovers(const PictureSequence &pictures)
        : m_pictures(pictures), m_looks(pictures), m_blocks(pictures.Size())
    {
        for (std::size_t frame = 0; frame < pictures.Size(); ++frame)
            if (pictures.HasNeighbours(frame))
                m_blocks[frame] = BestIn(frame);
    }

    PictureFindings Find() const
    {
        PictureFindings findings;
        for (std::size_t frame = 0; frame < m_pictures.Size(); ++frame)
            if (const Block &block = m_blocks[frame];
                block.evidence >= k_LeftoverTiles &&
                block.evidence > k_UsualTimes * UsualAround(frame))
                findings[frame] = Told(frame, block);
        return findings;
    }

private:
    struct Block
    {
        TileRectangle place;
        std::size_t age = 0;
        float evidence = 0; ///< In tiles.
    };

    // Whether a tile has the same pixels in two frames that are known.
    bool IsSame(std::size_t one, std::size_t other, std::size_t tile) const
    {
        return m_pictures.At(one)->tiles[tile].mark == m_pictures.At(other)->tiles[tile].mark;
    }
    // The same of frames that there may be.
    bool AreSame(std::size_t one, std::size_t other, std::size_t tile) const
    {
        return one < m_pictures.Size() && other < m_pictures.Size() && m_pictures.At(one) &&
               m_pictures.At(other) && IsSame(one, other, tile);
    }

    bool HasMoved(std::size_t frame, std::size_t tile) const
    {
        const auto isOther = [&](std::size_t other) {
            return !IsSame(frame, other, tile) &&
                   m_looks.Distance(frame, other, tile) >= k_LeftoverMotion;
        };
        return isOther(frame - 1) && isOther(frame + 1);
    }

    // What is beside the frame is what is beside the older one: it goes round, or swings.
    bool IsLoop(std::size_t frame, std::size_t age, std::size_t tile) const
    {
        const std::size_t then = frame - age;
        return AreSame(frame + 1, then + 1, tile) || AreSame(frame - 1, then - 1, tile) ||
               AreSame(frame + 1, then - 1, tile) ||
               (age > k_YoungestStale && AreSame(frame - 1, then + 1, tile));
    }

    // It is seen at other times, too, before and after, as a wall is behind who passes.
    bool IsUsual(std::size_t frame, std::size_t age, std::size_t tile) const
    {
        int before = 0;
        int after = 0;
        for (std::size_t step = k_YoungestStale; step <= k_OldestStale; ++step)
        {
            before += step != age && AreSame(frame, frame - step, tile);
            after += AreSame(frame, frame + step, tile);
        }
        return before > 0 && after > 0 && before + after >= k_UsualFrames;
    }

    Block BestIn(std::size_t frame) const
    {
        Block best;
        for (std::size_t age = k_YoungestStale; age <= k_OldestStale && age <= frame; ++age)
            if (m_pictures.At(frame - age))
                if (const Block block = BlockOf(frame, age); block.evidence > best.evidence)
                    best = block;
        return best;
    }

    // The rectangle that has most tiles of so old a frame, less those that are elsewhere.
    Block BlockOf(std::size_t frame, std::size_t age) const
    {
        std::vector<float> values(m_pictures.Tiles());
        float all = 0;
        for (std::size_t tile = 0; tile < values.size(); ++tile)
        {
            const bool isSame = IsSame(frame, frame - age, tile);
            const bool saysSo = isSame && HasMoved(frame, tile) && !IsLoop(frame, age, tile) &&
                                !IsUsual(frame, age, tile);
            values[tile] = saysSo ? 1 : isSame ? -k_LeftoverRest : -k_LeftoverContrary;
            all += saysSo ? 1 : 0;
        }
        if (all == 0)
            return {};
        const TileRectangle place = GreatestRectangle(values, m_pictures.Columns());
        if (place.right == place.left || place.bottom == place.top ||
            float(place.Area()) > k_LargestStale * float(m_pictures.Tiles()))
            return {};
        float inside = 0;
        for (const std::size_t tile : place.Tiles(m_pictures.Columns()))
            inside += values[tile] > 0 ? 1 : 0;
        return {place, age, SumOf(values, m_pictures.Columns(), place) - (all - inside)};
    }

    // The most that any frame of the time around has. Not the second highest: here a fault that is
    // hidden by another is rarer than pixels that come again by themselves in some frames.
    float UsualAround(std::size_t frame) const
    {
        float most = 0;
        for (std::size_t step = 1; step <= std::size_t(k_History); ++step)
        {
            if (step <= frame)
                most = std::max(most, m_blocks[frame - step].evidence);
            if (frame + step < m_blocks.size())
                most = std::max(most, m_blocks[frame + step].evidence);
        }
        return most;
    }

    PictureFinding Told(std::size_t frame, const Block &block) const
    {
        const PicturePlace place =
            PlaceOf(*m_pictures.At(frame), block.place.Tiles(m_pictures.Columns()));
        return {CheckState::Patch,
                fmt::format("{} have the very pixels of the frame {} before it, not those of the "
                            "frames before and after",
                            PlaceText(place), block.age),
                place};
    }

    const PictureSequence &m_pictures;
    const TileLooks m_looks;
    std::vector<Block> m_blocks;
};

} // namespace

PictureFindings FindLeftovers(const PictureSequence &pictures)
{
    return Leftovers(pictures).Find();
}

} // namespace check
