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

// Jumps below say nothing, and most are.
constexpr float k_least_told = 0.05f;

class ContentJumps
{
public:
    explicit ContentJumps(const PictureSequence &pictures)
        : m_pictures(pictures), m_columns(std::size_t(pictures.Columns())),
          m_rows(std::size_t(pictures.Rows())), m_tiles(pictures.Size(), pictures.Tiles()),
          m_blocks(pictures.Size(), pictures.Tiles()), m_means(pictures.Size(), 1)
    {
        for (std::size_t frame = 1; frame + 1 < pictures.Size(); ++frame)
            // Over a gap all that moves goes farther than usual.
            if (pictures.HasNeighbours(frame))
                Measure(frame);
        m_around = m_passing = m_blocks;
        SpreadOverPlaces(*m_around, pictures.Columns(), k_BlockReach);
        SpreadOverPlaces(*m_passing, pictures.Columns(), k_PassingReach);
    }

    PictureFindings FindBlocks() const
    {
        return FindEach(&ContentJumps::FindBlock);
    }
    PictureFindings FindWholes() const
    {
        return FindEach(&ContentJumps::FindWhole);
    }

private:
    template <typename Find> PictureFindings FindEach(Find find) const
    {
        PictureFindings findings;
        for (std::size_t frame = 0; frame < m_pictures.Size(); ++frame)
            if (std::optional<PictureFinding> finding = (this->*find)(frame))
                findings[frame] = std::move(*finding);
        return findings;
    }

    std::optional<PictureFinding> FindBlock(std::size_t frame) const
    {
        // Of the second frame nobody knows whether something passes.
        if (!m_blocks.IsKnown(frame) || !m_blocks.IsKnown(frame - 1) ||
            frame + 1 >= m_blocks.Frames() || !m_blocks.IsKnown(frame + 1))
            return std::nullopt;
        const float whip = WhipOf(frame);
        float most = k_BlockJump;
        float usual = 0;
        std::optional<std::size_t> found;
        // What is at the edge may have looked in for a moment.
        for (std::size_t row = 1; row + 2 < m_rows; ++row)
            for (std::size_t column = 1; column + 2 < m_columns; ++column)
            {
                const std::size_t tile = row * m_columns + column;
                const float jump = m_blocks.At(frame)[tile];
                if (jump < k_least_told)
                    continue;
                const float expected = ExpectedAt(frame, tile) + whip;
                if (jump - expected > most && !IsHabit(m_blocks, frame, tile, jump))
                {
                    most = jump - expected;
                    usual = expected;
                    found = tile;
                }
            }
        if (!found)
            return std::nullopt;
        return Told(frame, *found, usual);
    }

    std::optional<PictureFinding> FindWhole(std::size_t frame) const
    {
        if (!m_means.IsKnown(frame))
            return std::nullopt;
        const float usual = UsualAt(m_means, frame, 0);
        const float jump = m_means.At(frame)[0];
        if (jump <= k_UsualTimes * usual + std::max(k_ContentJump, MotionBeside(frame)) ||
            IsHabit(m_means, frame, 0, jump))
            return std::nullopt;
        return PictureFinding{
            CheckState::Pop,
            fmt::format("another picture than before and after: {:.2f} stops in the mean of all "
                        "tiles, {:.2f} would be usual",
                        jump, usual),
            WholeOf(*m_pictures.At(frame))};
    }

    void Measure(std::size_t frame)
    {
        const std::span<float> jumps = m_tiles.Fill(frame);
        float sum = 0;
        for (std::size_t tile = 0; tile < jumps.size(); ++tile)
        {
            jumps[tile] = SpikeOf(m_pictures.Light(frame - 1)[tile], m_pictures.Light(frame)[tile],
                                  m_pictures.Light(frame + 1)[tile]);
            sum += jumps[tile];
        }
        m_means.Set(frame, 0, sum / float(jumps.size()));
        const std::span<float> blocks = m_blocks.Fill(frame);
        for (std::size_t tile = 0; tile < blocks.size(); ++tile)
        {
            const std::size_t right = tile % m_columns + 1 < m_columns ? 1 : 0;
            const std::size_t below = tile / m_columns + 1 < m_rows ? m_columns : 0;
            blocks[tile] = (jumps[tile] + jumps[tile + right] + jumps[tile + below] +
                            jumps[tile + right + below]) /
                           4;
        }
    }

    // What a block may jump: twice what is usual around it, or what passes through the picture.
    float ExpectedAt(std::size_t frame, std::size_t tile) const
    {
        const float usual = k_UsualTimes * UsualAt(*m_around, frame, tile);
        const float motion = k_MotionTimes * MotionAround(frame, tile);
        return std::max(usual + motion, k_PassingTimes * PassingAt(frame, tile));
    }

    float PassingAt(std::size_t frame, std::size_t tile) const
    {
        float first = 0;
        float second = 0;
        for (int step = -k_PassingFrames; step <= k_PassingFrames; ++step)
        {
            const auto other = std::ptrdiff_t(frame) + step;
            if (step == 0 || other < 0 || other >= std::ptrdiff_t(m_passing->Frames()) ||
                !m_passing->IsKnown(std::size_t(other)))
                continue;
            const float jump = m_passing->At(std::size_t(other))[tile];
            second = std::max(second, std::min(first, jump));
            first = std::max(first, jump);
        }
        return second;
    }

    float WayOf(std::size_t frame, std::size_t tile) const
    {
        return std::abs(m_pictures.Light(frame + 1)[tile] - m_pictures.Light(frame - 1)[tile]);
    }

    // Mean stops from the frame before to the one after, over the tiles around a block.
    float MotionAround(std::size_t frame, std::size_t tile) const
    {
        constexpr std::size_t k_reach = 3;
        const std::size_t column = tile % m_columns;
        const std::size_t row = tile / m_columns;
        float sum = 0;
        float count = 0;
        for (std::size_t y = row > k_reach ? row - k_reach : 0;
             y <= std::min(row + 1 + k_reach, m_rows - 1); ++y)
            for (std::size_t x = column > k_reach ? column - k_reach : 0;
                 x <= std::min(column + 1 + k_reach, m_columns - 1); ++x)
            {
                sum += WayOf(frame, y * m_columns + x);
                ++count;
            }
        return sum / count;
    }

    // Mean stops from a frame to the next, both known, over all tiles.
    float StepOf(std::size_t frame) const
    {
        float sum = 0;
        for (std::size_t tile = 0; tile < m_pictures.Tiles(); ++tile)
            sum += std::abs(m_pictures.Light(frame + 1)[tile] - m_pictures.Light(frame)[tile]);
        return sum / float(m_pictures.Tiles());
    }

    // How much goes on from frame to frame both before and after one: where a camera turns round,
    // or whips, a picture is as far from its neighbours as they are from theirs.
    float MotionBeside(std::size_t frame) const
    {
        const auto isKnown = [this](std::size_t other)
        { return other < m_pictures.Size() && m_pictures.At(other); };
        if (frame < 2 || !isKnown(frame - 2) || !isKnown(frame + 2))
            return 0;
        return std::min(StepOf(frame - 2), StepOf(frame + 1));
    }

    float WhipOf(std::size_t frame) const
    {
        return k_WhipTimes * std::max(0.0f, m_pictures.WayAcross(frame) - k_Whip);
    }

    // All that jumps with the block, at least half as far.
    PictureFinding Told(std::size_t frame, std::size_t block, float usual) const
    {
        const std::span<const float> jumps = m_tiles.At(frame);
        const float jump = m_blocks.At(frame)[block];
        std::vector<bool> isFar(jumps.size());
        std::size_t farthest = block;
        for (const std::size_t tile : {block, block + 1, block + m_columns, block + m_columns + 1})
            farthest = jumps[tile] > jumps[farthest] ? tile : farthest;
        for (std::size_t tile = 0; tile < jumps.size(); ++tile)
            isFar[tile] = 2 * jumps[tile] >= jump;
        const PicturePlace place =
            PlaceOf(*m_pictures.At(frame), GroupAround(isFar, m_pictures.Columns(), farthest));
        return {
            CheckState::Pop,
            fmt::format("{} are {:.2f} stops away from both the frame before and the one after, "
                        "{:.2f} would be usual",
                        PlaceText(place), jump, usual),
            place};
    }

    const PictureSequence &m_pictures;
    const std::size_t m_columns;
    const std::size_t m_rows;
    SpikeSeries m_tiles;
    SpikeSeries m_blocks;
    SpikeSeries m_means;
    std::optional<SpikeSeries> m_around;
    std::optional<SpikeSeries> m_passing;
};

} // namespace

PictureFindings FindOtherPictures(const PictureSequence &pictures)
{
    return ContentJumps(pictures).FindWholes();
}

PictureFindings FindContentJumps(const PictureSequence &pictures)
{
    return ContentJumps(pictures).FindBlocks();
}

} // namespace check
