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

// A run of just two, and hardly another near: one more may be a fault, too, unless it comes at
// once, as in animation on twos, be it of few frames.
bool IsLonely(const PictureSequence &pictures, std::size_t frame)
{
    constexpr std::size_t k_reach = picture_rules::k_LonelyPair;
    for (const std::size_t beside : {frame - 2, frame - 1, frame + 1, frame + 2})
        if (IsLikeTheOneBefore(pictures, beside))
            return false;
    int others = 0;
    for (std::size_t other = frame > k_reach ? frame - k_reach : 0; other <= frame + k_reach;
         ++other)
        others += other != frame && IsLikeTheOneBefore(pictures, other);
    return others <= picture_rules::k_OtherPairs;
}

} // namespace

PictureFindings FindDuplicates(const PictureSequence &pictures)
{
    PictureFindings findings;
    for (std::size_t frame = 1; frame < pictures.Size(); ++frame)
        // A hold that begins or ends where nothing is known, as at the end of a range, may go on.
        if (IsLikeTheOneBefore(pictures, frame) && IsLonely(pictures, frame) &&
            pictures.HasNeighbours(frame - 1) && pictures.HasNeighbours(frame))
            findings[frame] = {CheckState::Duplicate, "the same pixels as in the frame before",
                               WholeOf(*pictures.At(frame))};
    return findings;
}

} // namespace check
