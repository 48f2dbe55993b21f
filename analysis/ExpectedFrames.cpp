#include "analysis/ExpectedFrames.h"

#include <algorithm>

namespace analysis
{

namespace
{

/// The numbers whose files are in a list. Mostly they ascend, and then nothing is kept of them.
class SeenNumbers
{
public:
    SeenNumbers(const FramePattern &pattern, const std::vector<FrameRecord> &frames)
        : m_pattern(pattern), m_frames(frames)
    {
    }

    /// True when no frame of the list has the file of `number`, which is then added there.
    bool IsNew(int number)
    {
        const int shown = m_pattern.ShownNumber(number);
        if (m_isAscending && (m_frames.empty() || shown > m_highest))
        {
            m_highest = shown;
            return true;
        }
        if (m_isAscending)
            KeepAll();
        return m_shown.insert(shown);
    }

private:
    void KeepAll()
    {
        for (const FrameRecord &frame : m_frames)
            m_shown.insert(m_pattern.ShownNumber(frame.frame));
        m_isAscending = false;
    }

    const FramePattern &m_pattern;
    const std::vector<FrameRecord> &m_frames;
    bool m_isAscending = true;
    int m_highest = 0;                  ///< While they ascend.
    SequenceDistributor::Items m_shown; ///< After that.
};

} // namespace

String ListExpectedFrames(const FramePattern &pattern, const ExpansionInput &input,
                          std::vector<FrameRecord> &frames)
{
    frames.clear();
    frames.reserve(std::min(input.frames.size(), k_MaxFiles)); // Mostly a file a frame.
    SeenNumbers seen(pattern, frames);
    return ExpandNumbers(pattern, input,
                         [&](int outputNumber)
                         {
                             if (seen.IsNew(outputNumber))
                                 frames.emplace_back().frame = outputNumber;
                         });
}

} // namespace analysis
