#include "check/pictures/GoneRule.h"

#include <fmt/format.h>

#include "check/pictures/PictureRules.h"

namespace check
{

using namespace picture_rules;

PictureFindings FindGone(const PictureSequence &pictures, const LoneGroups &lone)
{
    PictureFindings findings;
    for (std::size_t frame = 0; frame < pictures.Size(); ++frame)
    {
        if (!lone.HasPlaces(frame))
            continue;
        const auto isGone = [&](const TileGroup &tiles)
        {
            return lone.StandingOut(frame, tiles) < k_StandingOut &&
                   lone.FindAgain(frame, tiles).likeness < k_SurelyPassing &&
                   !lone.HasCompanion(frame, tiles, k_CompanionShare, Companions::Near);
        };
        const LoneGroup *const gone = lone.StrongestIn(frame, isGone);
        if (!gone)
            continue;
        const PicturePlace place = PlaceOf(*pictures.At(frame), gone->tiles);
        findings[frame] = {
            CheckState::Pop,
            fmt::format("{} stand out {:.0f} percent as much as in the frames before and after: "
                        "something is gone there",
                        PlaceText(place), 100 * lone.StandingOut(frame, gone->tiles)),
            place};
    }
    return findings;
}

} // namespace check
