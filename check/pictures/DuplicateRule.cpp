#include "check/pictures/DuplicateRule.h"

#include "check/pictures/PictureRules.h"
#include "check/pictures/TileArea.h"

namespace check
{

namespace
{

bool IsLikeTheOneBefore(const PictureSequence &pictures, std::size_t frame)
{
    return frame > 0 && frame < pictures.Size() && pictures.At(frame) && pictures.At(frame - 1) &&
           pictures.At(frame)->hash == pictures.At(frame - 1)->hash;
}

bool BeginsRun(const PictureSequence &pictures, std::size_t frame)
{
    return IsLikeTheOneBefore(pictures, frame) && !IsLikeTheOneBefore(pictures, frame - 1);
}

// A run of just two, and hardly another near: one more may be a hold, or a fault, too, unless it
// comes at once, as in animation on twos, be it of few frames.
bool IsLonely(const PictureSequence &pictures, std::size_t frame)
{
    constexpr std::size_t k_reach = picture_rules::k_LonelyPair;
    for (const std::size_t beside : {frame - 2, frame - 1, frame + 1, frame + 2})
        if (IsLikeTheOneBefore(pictures, beside))
            return false;
    int others = 0;
    for (std::size_t other = frame > k_reach ? frame - k_reach : 0; other <= frame + k_reach;
         ++other)
        others += other != frame && BeginsRun(pictures, other);
    return others <= picture_rules::k_OtherRuns;
}

// A hold that a wrong frame divides, or two of them.
bool IsOfHold(const PictureSequence &pictures, std::size_t frame)
{
    const auto isSame = [&](std::size_t other)
    {
        return other < pictures.Size() && pictures.At(other) &&
               pictures.At(other)->hash == pictures.At(frame)->hash;
    };
    return isSame(frame - 3) || isSame(frame - 4) || isSame(frame + 2) || isSame(frame + 3);
}

} // namespace

PictureFindings FindDuplicates(const PictureSequence &pictures)
{
    PictureFindings findings;
    for (std::size_t frame = 1; frame < pictures.Size(); ++frame)
        // A hold that begins or ends where nothing is known, as at the end of a range, may go on.
        if (IsLikeTheOneBefore(pictures, frame) && IsLonely(pictures, frame) &&
            !IsOfHold(pictures, frame) && pictures.HasNeighbours(frame - 1) &&
            pictures.HasNeighbours(frame))
            findings[frame] = {CheckState::Duplicate, "the same pixels as in the frame before",
                               WholeOf(*pictures.At(frame))};
    return findings;
}

} // namespace check
