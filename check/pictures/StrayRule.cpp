#include "check/pictures/StrayRule.h"

#include <algorithm>
#include <fmt/format.h>

#include "check/pictures/PictureRules.h"

namespace check
{

using namespace picture_rules;

namespace
{

// Tiles at the edge of the picture, so many deep: what is there may have looked in for a moment.
constexpr std::size_t k_edge = 2;

bool IsAtEdge(const PictureSequence &pictures, std::size_t tile)
{
    const auto columns = std::size_t(pictures.Columns());
    const auto rows = std::size_t(pictures.Rows());
    const std::size_t column = tile % columns;
    const std::size_t row = tile / columns;
    return column < k_edge || row < k_edge || column + k_edge >= columns || row + k_edge >= rows;
}

// The group that says most for itself.
const LoneGroup *FindStray(const PictureSequence &pictures, const LoneGroups &lone,
                           std::size_t frame)
{
    const LoneGroup *found = nullptr;
    float most = k_LeastStray;
    for (const LoneGroup &group : lone.In(frame))
    {
        float evidence = 0;
        for (const std::size_t tile : group.tiles)
            evidence += IsAtEdge(pictures, tile) ? 0 : lone.BeyondAt(frame, tile);
        if (group.tiles.size() > 1 &&
            float(group.tiles.size()) <= k_LargestStray * float(pictures.Tiles()) &&
            evidence > most && !lone.HasCompanion(frame, group.tiles, k_CompanionShare) &&
            lone.ShareFoundAgain(frame, group.tiles) < k_Passing)
        {
            found = &group;
            most = evidence;
        }
    }
    return found;
}

PictureFinding Told(const PictureSequence &pictures, const LoneGroups &lone, std::size_t frame,
                    const LoneGroup &stray)
{
    const PicturePlace place = PlaceOf(*pictures.At(frame), stray.tiles);
    float most = 0;
    for (const std::size_t tile : stray.tiles)
        most = std::max(most, lone.AloneBy(frame, tile));
    return {CheckState::Pop,
            fmt::format("{} are as in neither the frame before nor the one after, by {:.2f} stops, "
                        "and nothing there moves",
                        PlaceText(place), most),
            place};
}

} // namespace

PictureFindings FindStrays(const PictureSequence &pictures, const LoneGroups &lone)
{
    PictureFindings findings;
    for (std::size_t frame = 0; frame < pictures.Size(); ++frame)
        if (pictures.HasNeighbours(frame) && pictures.WayAcross(frame) <= k_Whip &&
            !lone.IsWhole(frame))
            if (const LoneGroup *const stray = FindStray(pictures, lone, frame))
                findings[frame] = Told(pictures, lone, frame, *stray);
    return findings;
}

} // namespace check
