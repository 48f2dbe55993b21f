#include "check/pictures/PictureJudge.h"

#include <algorithm>

#include "check/pictures/DarkRules.h"
#include "check/pictures/DuplicateRule.h"
#include "check/pictures/GoneRule.h"
#include "check/pictures/JumpRules.h"
#include "check/pictures/LeftoverRule.h"
#include "check/pictures/PictureRules.h"
#include "check/pictures/SparkRule.h"
#include "check/pictures/StaleRule.h"
#include "check/pictures/StrayRule.h"
#include "check/pictures/TileArea.h"

namespace check
{

using decode::PictureMeasures;

namespace
{

// Frames judged at a time.
constexpr std::size_t k_at_once = 256;
// A jump is held against frames on both of its sides, each of them some way off.
constexpr std::size_t k_beside = 6;
static_assert(PictureJudge::k_Reach >= picture_rules::k_Habit + k_beside + 1);
static_assert(PictureJudge::k_Reach >= 2 * picture_rules::k_History + k_beside);
static_assert(PictureJudge::k_Reach >= 2 * picture_rules::k_OldestStale + k_beside);
static_assert(PictureJudge::k_Reach >=
              picture_rules::k_History + picture_rules::k_OldestStale + k_beside);
static_assert(PictureJudge::k_Reach >= picture_rules::k_LonelyPair + k_beside);

enum class Reach
{
    Picture, ///< All of it: such a frame is no measure for those beside it.
    Place,   ///< Some tiles of it: what moves may look like that.
    Pixels,
};

struct Rule
{
    PictureFindings (*find)(const PictureSequence &);
    Reach reach;
};

// The first to say something of a frame has it: what is certain comes first, and what explains
// what the later ones see.
constexpr Rule k_rules[] = {
    {FindDuplicates, Reach::Picture},    {FindBlackFrames, Reach::Picture},
    {FindVoids, Reach::Place},           {FindLevelJumps, Reach::Picture},
    {FindOtherPictures, Reach::Picture}, {FindSparks, Reach::Pixels},
    {FindNoiseJumps, Reach::Picture},    {FindContentJumps, Reach::Place},
};

struct Verdict
{
    PictureFindings findings;
    std::vector<std::size_t> isOther; ///< Frames of which the whole picture is wrong.
};

// That something which goes through the picture explains what was found.
bool IsPassing(const PictureSequence &pictures, const LoneGroups &lone, std::size_t frame,
               const PictureFinding &finding)
{
    using namespace picture_rules;
    if (!pictures.HasNeighbours(frame))
        return false;
    const TileGroup tiles = TilesIn(*pictures.At(frame), finding.place);
    const FoundAgain found = lone.FindAgain(frame, tiles);
    if (finding.state == CheckState::Patch)
        return !IsBlackRectangle(pictures, frame, tiles) &&
               (found.share >= k_VoidPassing ||
                lone.HasCompanion(frame, tiles, k_VoidCompanion, Companions::All));
    return (found.likeness >= k_SurelyPassing && found.share >= k_FarShare) ||
           lone.HasCompanion(frame, tiles, k_CompanionShare, Companions::NearOrAlike);
}

Verdict JudgeOnce(PictureJudge::Frames frames)
{
    const PictureSequence pictures(frames);
    const LoneGroups lone(pictures, picture_rules::k_StrayReach);
    Verdict verdict;
    for (const Rule &rule : k_rules)
        for (auto &[frame, finding] : rule.find(pictures))
            if (!(rule.reach == Reach::Place && IsPassing(pictures, lone, frame, finding)) &&
                verdict.findings.try_emplace(frame, std::move(finding)).second &&
                rule.reach == Reach::Picture)
                verdict.isOther.push_back(frame);
    // An older frame is like this one rather than its neighbours where one of these is wrong.
    for (const auto find : {FindLeftovers, FindStaleBlocks})
        for (auto &[frame, finding] : find(pictures))
            if (!verdict.findings.contains(frame - 1) && !verdict.findings.contains(frame + 1))
                verdict.findings.try_emplace(frame, std::move(finding));
    // Last, since whatever else is wrong in a place is there in one frame alone, too.
    verdict.findings.merge(FindStrays(pictures, lone));
    verdict.findings.merge(FindGone(pictures, LoneGroups(pictures, 0)));
    return verdict;
}

// Beside a frame that is wrong as a whole a good one looks wrong, too. So what is found in a place
// has to be found again without those frames.
PictureFindings JudgeNear(PictureJudge::Frames frames)
{
    Verdict first = JudgeOnce(frames);
    if (first.isOther.empty())
        return std::move(first.findings);
    std::vector<const PictureMeasures *> others(frames.begin(), frames.end());
    PictureFindings findings;
    for (const std::size_t frame : first.isOther)
    {
        others[frame] = nullptr;
        findings[frame] = std::move(first.findings[frame]);
    }
    for (auto &[frame, finding] : JudgeOnce(others).findings)
        if (first.findings.contains(frame))
            findings.try_emplace(frame, std::move(finding));
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

std::size_t PictureJudge::Pieces(std::size_t frames)
{
    return (frames + k_at_once - 1) / k_at_once;
}

PictureJudge::Place PictureJudge::PlaceOf(std::size_t piece, std::size_t frames)
{
    const std::size_t first = piece * k_at_once;
    return {first, std::min(first + k_at_once, frames), first > k_Reach ? first - k_Reach : 0,
            std::min(first + k_at_once + k_Reach, frames)};
}

PictureFindings PictureJudge::JudgePiece(const Place &place, Frames near)
{
    PictureFindings findings;
    for (auto &[at, finding] : JudgeNear(near))
        if (const std::size_t frame = place.nearFirst + at;
            frame >= place.first && frame < place.end)
            findings[frame] = std::move(finding);
    return findings;
}

PictureFindings PictureJudge::Judge(Frames frames)
{
    PictureFindings all;
    m_pieces.resize(Pieces(frames.size()));
    for (std::size_t number = 0; number < m_pieces.size(); ++number)
    {
        const Place place = PlaceOf(number, frames.size());
        const Frames near = frames.subspan(place.nearFirst, place.nearEnd - place.nearFirst);
        Piece &piece = m_pieces[number];
        if (std::vector<std::uint64_t> hashes = HashesOf(near); hashes != piece.hashes)
            piece = {std::move(hashes), JudgePiece(place, near)};
        all.insert(piece.findings.begin(), piece.findings.end());
    }
    return all;
}

} // namespace check
