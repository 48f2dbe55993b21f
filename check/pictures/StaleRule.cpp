#include "check/pictures/StaleRule.h"

#include <algorithm>
#include <fmt/format.h>

#include "check/pictures/PictureRules.h"
#include "check/pictures/StaleTiles.h"
#include "check/pictures/TileRectangle.h"

namespace check
{

using namespace picture_rules;

namespace
{

class StaleBlocks
{
public:
    explicit StaleBlocks(const PictureSequence &pictures)
        : m_pictures(pictures), m_tiles(pictures), m_evidence(pictures.Size() * k_ages)
    {
        for (std::size_t frame = 0; frame < pictures.Size(); ++frame)
            if (pictures.HasNeighbours(frame))
                for (std::size_t age = k_YoungestStale; age <= k_OldestStale && age <= frame; ++age)
                    if (pictures.At(frame - age))
                        Evidence(frame, age) = m_tiles.EvidenceOf(frame, age);
    }

    PictureFindings Find() const
    {
        PictureFindings findings;
        for (std::size_t frame = 0; frame < m_pictures.Size(); ++frame)
            if (const std::optional<Block> block = FindIn(frame))
                findings[frame] = Told(frame, *block);
        return findings;
    }

private:
    static constexpr std::size_t k_ages = k_OldestStale - k_YoungestStale + 1;

    struct Block
    {
        TileRectangle place;
        std::size_t age;
        float beyond; ///< Bits beyond what it takes.
    };

    // Of each tile, for being so old; empty where there is none.
    std::vector<float> &Evidence(std::size_t frame, std::size_t age)
    {
        return m_evidence[frame * k_ages + age - k_YoungestStale];
    }
    const std::vector<float> &Evidence(std::size_t frame, std::size_t age) const
    {
        return m_evidence[frame * k_ages + age - k_YoungestStale];
    }

    std::optional<Block> FindIn(std::size_t frame) const
    {
        std::optional<Block> found;
        for (std::size_t age = k_YoungestStale; age <= k_OldestStale; ++age)
        {
            if (MostOf(Evidence(frame, age)) <= k_StaleEvidence)
                continue;
            const std::vector<float> evidence =
                m_tiles.LessItsWay(frame, age, Evidence(frame, age));
            if (MostOf(evidence) <= k_StaleEvidence)
                continue;
            const TileRectangle place = GreatestRectangle(evidence, m_pictures.Columns());
            const float bits = SumOf(evidence, m_pictures.Columns(), place);
            if (bits <= k_StaleEvidence || !IsBlock(evidence, place) ||
                IsNextTo(frame, age, k_StaleCompanion * bits))
                continue;
            const float beyond = bits - k_StaleEvidence - k_UsualTimes * UsualAt(frame, place);
            if (beyond > (found ? found->beyond : 0))
                found = Block{place, age, beyond};
        }
        return found;
    }

    // That a frame next to it has so much evidence for the same age, be it elsewhere: what is
    // repeated in itself, as the windows of a train are, goes by.
    bool IsNextTo(std::size_t frame, std::size_t age, float bits) const
    {
        for (const std::size_t other : {frame - 2, frame - 1, frame + 1, frame + 2})
        {
            if (other >= m_pictures.Size() || !m_pictures.HasNeighbours(other) || age > other)
                continue;
            const std::vector<float> &evidence = Evidence(other, age);
            if (MostOf(evidence) > bits &&
                SumOf(evidence, m_pictures.Columns(),
                      GreatestRectangle(evidence, m_pictures.Columns())) > bits)
                return true;
        }
        return false;
    }

    // What any rectangle has at most.
    static float MostOf(const std::vector<float> &evidence)
    {
        float most = 0;
        for (const float bits : evidence)
            most += std::max(bits, 0.0f);
        return most;
    }

    // Not so large that the shot has been here before, and not by one tile or two alone; nor a mere
    // strip, which what is repeated in itself has by chance where it goes by.
    bool IsBlock(const std::vector<float> &evidence, const TileRectangle &place) const
    {
        int count = 0;
        for (const std::size_t tile : place.Tiles(m_pictures.Columns()))
            count += evidence[tile] > 0;
        return place.right > place.left && place.bottom > place.top && count >= k_LeastStaleTiles &&
               float(place.Area()) <= k_LargestStale * float(m_pictures.Tiles());
    }

    // The most that other frames of the time around say for being of an older one in this place:
    // two blocks seldom are left over in the same place.
    float UsualAt(std::size_t frame, const TileRectangle &place) const
    {
        const std::size_t first = frame > k_OldestStale ? frame - k_OldestStale : 0;
        const std::size_t last = std::min(frame + k_OldestStale, m_pictures.Size() - 1);
        float most = 0;
        for (std::size_t other = first; other <= last; ++other)
            for (std::size_t age = k_YoungestStale; age <= k_OldestStale; ++age)
                // What is left over here is seen once more when its own frame is the older one.
                if (other != frame && other != frame + age && !Evidence(other, age).empty())
                    most = std::max(most, SumOf(Evidence(other, age), m_pictures.Columns(), place));
        return most;
    }

    PictureFinding Told(std::size_t frame, const Block &block) const
    {
        const PicturePlace place =
            PlaceOf(*m_pictures.At(frame), block.place.Tiles(m_pictures.Columns()));
        return {CheckState::Patch,
                fmt::format("{1} are as {0} frames before, and unlike the frames before and after",
                            block.age, PlaceText(place)),
                place};
    }

    const PictureSequence &m_pictures;
    const StaleTiles m_tiles;
    std::vector<std::vector<float>> m_evidence;
};

} // namespace

PictureFindings FindStaleBlocks(const PictureSequence &pictures)
{
    return StaleBlocks(pictures).Find();
}

} // namespace check
