#include "check/pictures/PictureJudge.h"

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
constexpr std::size_t k_at_once = 256;
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

std::vector<std::uint64_t> HashesOf(PictureJudge::Frames frames)
{
    std::vector<std::uint64_t> hashes;
    hashes.reserve(frames.size());
    for (const PictureMeasures *const frame : frames)
        hashes.push_back(frame ? frame->hash : 0);
    return hashes;
}

} // namespace

PictureFindings PictureJudge::Judge(Frames frames)
{
    PictureFindings all;
    m_pieces.resize((frames.size() + k_at_once - 1) / k_at_once);
    for (std::size_t number = 0; number < m_pieces.size(); ++number)
    {
        const std::size_t first = number * k_at_once;
        const std::size_t begin = first > k_margin ? first - k_margin : 0;
        const std::size_t end = std::min(first + k_at_once + k_margin, frames.size());
        const Frames near = frames.subspan(begin, end - begin);
        Piece &piece = m_pieces[number];
        if (std::vector<std::uint64_t> hashes = HashesOf(near); hashes != piece.hashes)
        {
            piece = {std::move(hashes), {}};
            for (auto &[at, finding] : JudgePiece(PictureSequence(near)))
                if (const std::size_t frame = begin + at;
                    frame >= first && frame < first + k_at_once)
                    piece.findings[frame] = std::move(finding);
        }
        all.insert(piece.findings.begin(), piece.findings.end());
    }
    return all;
}

} // namespace check
