#include "check/pictures/Leftovers.h"

#include <fmt/format.h>

#include "check/pictures/PictureRules.h"

namespace check
{

using namespace picture_rules;

bool SamePixels::AreSame(std::size_t one, std::size_t other, std::size_t tile) const
{
    return one < m_pictures.Size() && other < m_pictures.Size() && m_pictures.At(one) &&
           m_pictures.At(other) && IsSame(one, other, tile);
}

bool SamePixels::HasMoved(std::size_t frame, std::size_t tile) const
{
    const auto isOther = [&](std::size_t other) {
        return !IsSame(frame, other, tile) &&
               m_looks.Distance(frame, other, tile) >= k_LeftoverMotion;
    };
    return isOther(frame - 1) && isOther(frame + 1);
}

bool IsBlock(const TileRectangle &place, const PictureSequence &pictures)
{
    return place.right > place.left && place.bottom > place.top &&
           float(place.Area()) <= k_LargestStale * float(pictures.Tiles());
}

std::vector<Leftover>
BestOfAges(const PictureSequence &pictures,
           const std::function<Leftover(std::size_t frame, std::size_t age)> &find)
{
    std::vector<Leftover> leftovers(pictures.Size());
    for (std::size_t frame = 0; frame < pictures.Size(); ++frame)
    {
        if (!pictures.HasNeighbours(frame))
            continue;
        for (std::size_t age = k_YoungestStale; age <= k_OldestStale && age <= frame; ++age)
            if (pictures.At(frame - age))
                if (const Leftover leftover = find(frame, age);
                    leftover.evidence > leftovers[frame].evidence)
                    leftovers[frame] = leftover;
    }
    return leftovers;
}

PictureFinding FindingOf(const PictureSequence &pictures, std::size_t frame,
                         const Leftover &leftover)
{
    const PicturePlace place =
        PlaceOf(*pictures.At(frame), leftover.place.Tiles(pictures.Columns()));
    return {CheckState::Patch,
            fmt::format("{} have the very pixels of the frame {} before it, not those of the "
                        "frames before and after",
                        PlaceText(place), leftover.age),
            place};
}

} // namespace check
