#pragma once

#include <memory>
#include <vector>

#include "check/pictures/PictureFinding.h"
#include "decode/PictureMeasures.h"

namespace check
{

/// Judges the pictures of a shot by those around them while they come, and keeps of them only what
/// is still to be judged or to be held against: some hundred, where they come in the order of time
/// or nearly so. What it finds is what `PictureJudge` finds of all of them. Not thread-safe.
class PictureStream
{
public:
    /// For so many frames in the order of time.
    explicit PictureStream(std::size_t frames) : m_frames(frames) {}

    /// What is known of a frame: no tiles where that is nothing. Each frame once. Where it is the
    /// last of some hundred that was missing, they are judged, which takes some milliseconds.
    void Take(std::size_t frame, decode::PictureMeasures measures);

    /// How many are kept now.
    std::size_t Kept() const
    {
        return m_kept;
    }
    /// By the frames' indices, once all came.
    const PictureFindings &Findings() const
    {
        return m_findings;
    }

private:
    struct Frame
    {
        std::unique_ptr<decode::PictureMeasures> measures; ///< Null where nothing is known.
        bool hasCome = false;
    };

    void JudgeNext();

    std::vector<Frame> m_frames;
    std::size_t m_come = 0;      ///< All up to here.
    std::size_t m_nextPiece = 0; ///< That is to be judged.
    std::size_t m_kept = 0;
    PictureFindings m_findings;
};

} // namespace check
