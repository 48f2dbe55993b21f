#include "check/pictures/StrayRule.h"

#include <algorithm>
#include <fmt/format.h>

#include "check/pictures/PictureRules.h"

namespace check
{

using namespace picture_rules;

namespace
{

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
    {
        // Of the second frame nobody knows whether something passes.
        if (!lone.HasPlaces(frame) || !lone.KnowsBeside(frame))
            continue;
        const auto isStray = [&](const TileGroup &tiles)
        {
            return lone.FindAgain(frame, tiles).likeness < k_Passing &&
                   !lone.HasCompanion(frame, tiles, k_CompanionShare, Companions::NearOrAlike);
        };
        if (const LoneGroup *const stray = lone.StrongestIn(frame, isStray))
            findings[frame] = Told(pictures, lone, frame, *stray);
    }
    return findings;
}

} // namespace check
