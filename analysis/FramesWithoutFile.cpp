#include "analysis/FramesWithoutFile.h"

#include <cmath>
#include <limits>

namespace analysis
{

namespace
{

using Items = SequenceDistributor::Items;

/// Up to here single precision holds every whole number.
constexpr double k_counted = 16'777'216;

bool IsCounted(double number)
{
    return std::abs(number) <= k_counted;
}

/// Whether the frame and the one after it, where its run may end, can be told apart.
bool IsCountedFrame(double frame)
{
    return IsCounted(frame) && IsCounted(frame + 1);
}

/// True where no position and no number of the walk can be too large; false where one might be.
bool IsAllCounted(const Items &frames, const Renumbering &numbers)
{
    const double span = double(frames.back()) - frames.front() + 1;
    const double highest =
        std::abs(double(numbers.renumberStart)) + 2 * span * numbers.Ratio() + numbers.renumberBy;
    return IsCountedFrame(frames.front()) && IsCountedFrame(frames.back()) && IsCounted(highest);
}

/// Nothing where the walk is refused.
std::optional<Items> ListNumbers(const ExpansionInput &input)
{
    Items listed;
    const String reason = ExpandNumbers(*FramePattern::Parse("%d", nullptr), input,
                                        [&listed](int number) { listed.insert(number); });
    return reason.empty() ? std::optional(std::move(listed)) : std::nullopt;
}

/// The walk without the losses of single precision, held against what the real one lists.
class ExactWalk
{
public:
    ExactWalk(const Renumbering &numbers, int firstFrame, Items listed)
        : m_numbers(numbers), m_firstFrame(firstFrame), m_listed(std::move(listed))
    {
    }

    void Take(const FramePacket &packet)
    {
        String reason;
        const auto files = ListPacketFiles(m_numbers, m_firstFrame, packet.first, packet.last,
                                           k_MaxFiles, &reason);
        if (files.empty())
            TakeAllOf(packet);
        else if (IsCountedFrame(packet.first) && IsCountedFrame(packet.last))
            TakeSteps(packet, files);
        else
            TakeExactSteps(packet);
    }

    Items lost;

private:
    /// A step too small to leave its frame would not end, and visits each.
    void TakeAllOf(const FramePacket &packet)
    {
        if (m_numbers.sequenceBy <= 1)
            return lost.insertRange(packet.first, packet.last);
        for (double x = packet.first; x < packet.last + 1.0; x += m_numbers.sequenceBy)
            lost.insert(int(std::floor(x)));
    }

    /// Where the positions are right, the numbers may be wrong all the same.
    void TakeSteps(const FramePacket &packet, const std::vector<ExpansionStep> &files)
    {
        double number = FirstNumber(packet.first);
        for (const ExpansionStep &file : files)
        {
            TakeStep(file.frame, number);
            number += m_numbers.renumberBy;
        }
    }

    void TakeExactSteps(const FramePacket &packet)
    {
        double number = FirstNumber(packet.first);
        for (double x = packet.first; x < packet.last + 1.0; x += m_numbers.sequenceBy)
        {
            TakeStep(x, number);
            number += m_numbers.renumberBy;
        }
    }

    void TakeStep(double x, double number)
    {
        if (IsCountedFrame(x) && IsCounted(number))
            return;
        using Limits = std::numeric_limits<int>;
        const bool isListed =
            number >= Limits::min() && number <= Limits::max() && m_listed.contains(int(number));
        if (!isListed)
            lost.insert(int(std::floor(x)));
    }

    double FirstNumber(int frame) const
    {
        const double distance = double(frame) - m_firstFrame;
        return std::trunc(distance * m_numbers.Ratio() + m_numbers.renumberStart);
    }

    const Renumbering m_numbers;
    const int m_firstFrame;
    const Items m_listed;
};

} // namespace

SequenceDistributor::Items FindFramesWithoutFile(const ExpansionInput &input)
{
    if (input.frames.empty())
        return {};
    const Renumbering numbers = ReadRenumbering(input, input.frames.front());
    if (IsAllCounted(input.frames, numbers))
        return {};
    std::optional<Items> listed = ListNumbers(input);
    if (!listed)
        return {};

    ExactWalk walk(numbers, input.frames.front(), std::move(*listed));
    for (auto frame = input.frames.begin(); frame != input.frames.end();)
        walk.Take(TakePacket(frame, numbers.packetSize));
    return std::move(walk.lost);
}

} // namespace analysis
