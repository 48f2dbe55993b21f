#include "check/pictures/JudgePictures.h"

#include <algorithm>

#include "check/pictures/DarkRules.h"
#include "check/pictures/DuplicateRule.h"
#include "check/pictures/JumpRules.h"
#include "check/pictures/SparkRule.h"
#include "check/pictures/StaleRule.h"

namespace check
{

using decode::PictureMeasures;

namespace
{

// Frames judged at a time, and those beside them that are looked at: more than any rule asks for.
constexpr std::size_t k_piece = 256;
constexpr std::size_t k_margin = 40;

struct Rule
{
    PictureFindings (*find)(const PictureSequence &);
    /// Beside a fault it is fooled: of what it says there, nothing counts.
    bool isFooledBesideFaults;
};

// The first to say something of a frame gives its state: what is certain comes first.
constexpr Rule k_rules[] = {
    {FindDuplicates, false},   {FindBlackFrames, false}, {FindVoids, false},
    {FindSparks, false},       {FindLevelJumps, false},  {FindNoiseJumps, false},
    {FindContentJumps, false}, {FindStaleBlocks, true},
};

void AddFinding(PictureFindings &findings, std::size_t frame, PictureFinding &&finding)
{
    const auto [there, isNew] = findings.try_emplace(frame, std::move(finding));
    if (!isNew)
        there->second.detail += "; " + finding.detail;
}

PictureFindings JudgePiece(const PictureSequence &pictures)
{
    PictureFindings findings;
    for (const Rule &rule : k_rules)
    {
        const auto isBesideFault = [&, others = findings](std::size_t frame)
        { return (frame > 0 && others.contains(frame - 1)) || others.contains(frame + 1); };
        for (auto &[frame, finding] : rule.find(pictures))
            if (!rule.isFooledBesideFaults || !isBesideFault(frame))
                AddFinding(findings, frame, std::move(finding));
    }
    return findings;
}

} // namespace

PictureFindings JudgePictures(std::span<const PictureMeasures *const> frames)
{
    PictureFindings findings;
    for (std::size_t first = 0; first < frames.size(); first += k_piece)
    {
        const std::size_t begin = first > k_margin ? first - k_margin : 0;
        const std::size_t end = std::min(first + k_piece + k_margin, frames.size());
        for (auto &[at, finding] : JudgePiece(PictureSequence(frames.subspan(begin, end - begin))))
            if (const std::size_t frame = begin + at; frame >= first && frame < first + k_piece)
                findings[frame] = std::move(finding);
    }
    return findings;
}

} // namespace check
