#pragma once

#include <span>
#include <vector>

#include "check/pictures/PictureFinding.h"
#include "decode/PictureMeasures.h"

namespace check
{

/// Judges the pictures of a shot by those around them. Remembers what it said, so that from one
/// pass to the next only what lies around new pictures is judged. Not thread-safe.
class PictureJudge
{
public:
    using Frames = std::span<const decode::PictureMeasures *const>;

    /// Frames on each side that a verdict may ask for: of fewer another may come than of the whole
    /// shot.
    static constexpr std::size_t k_Reach = 40;

    /// `frames` are in the order of time, null where nothing is known. Gives a finding for each
    /// that is not as it should be, by its index. The time it takes grows with the number of
    /// frames; beside the findings it needs memory for some hundred at a time.
    PictureFindings Judge(Frames frames);

    /// Frames that are judged together, from `first` on, and what is looked at for them.
    struct Place
    {
        std::size_t first;
        std::size_t end;
        std::size_t nearFirst;
        std::size_t nearEnd;
    };
    /// How many pieces so many frames are judged in, and where one of them is.
    static std::size_t Pieces(std::size_t frames);
    static Place PlaceOf(std::size_t piece, std::size_t frames);
    /// Judges one, for who has no more than `near`, the frames from `nearFirst` to `nearEnd`. The
    /// findings are by their indices among all frames.
    static PictureFindings JudgePiece(const Place &place, Frames near);

private:
    /// Frames judged together, and those beside them that were looked at.
    struct Piece
    {
        std::vector<std::uint64_t> hashes; ///< Of their pixels; 0 where nothing is known.
        PictureFindings findings;          ///< By index among all frames.
    };

    std::vector<Piece> m_pieces;
};

} // namespace check
