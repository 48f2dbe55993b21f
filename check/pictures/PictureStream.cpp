#include "check/pictures/PictureStream.h"

#include <cassert>

#include "check/pictures/PictureJudge.h"

namespace check
{

void PictureStream::Take(std::size_t frame, decode::PictureMeasures measures)
{
    assert(frame < m_frames.size() && !m_frames[frame].hasCome && "each frame comes once");
    m_frames[frame].hasCome = true;
    if (!measures.tiles.empty())
    {
        m_frames[frame].measures = std::make_unique<decode::PictureMeasures>(std::move(measures));
        ++m_kept;
    }
    while (m_come < m_frames.size() && m_frames[m_come].hasCome)
        ++m_come;
    while (m_nextPiece < PictureJudge::Pieces(m_frames.size()) &&
           PictureJudge::PlaceOf(m_nextPiece, m_frames.size()).nearEnd <= m_come)
        JudgeNext();
}

void PictureStream::JudgeNext()
{
    const PictureJudge::Place place = PictureJudge::PlaceOf(m_nextPiece++, m_frames.size());
    std::vector<const decode::PictureMeasures *> near;
    for (std::size_t frame = place.nearFirst; frame < place.nearEnd; ++frame)
        near.push_back(m_frames[frame].measures.get());
    m_findings.merge(PictureJudge::JudgePiece(place, near));

    const bool isLast = m_nextPiece == PictureJudge::Pieces(m_frames.size());
    const std::size_t needed =
        isLast ? m_frames.size() : PictureJudge::PlaceOf(m_nextPiece, m_frames.size()).nearFirst;
    for (std::size_t frame = place.nearFirst; frame < needed; ++frame)
        if (m_frames[frame].measures)
        {
            m_frames[frame].measures.reset();
            --m_kept;
        }
}

} // namespace check
