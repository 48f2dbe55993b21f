#include "analysis/RequeueRange.h"

namespace analysis
{

namespace
{

using Items = SequenceDistributor::Items;

/// The number in the name of the first file that a frame of the job writes.
int FirstNumberOf(const ExpansionInput &input, int frame)
{
    const int firstFrame = *input.frames.begin();
    const Renumbering numbers = ReadRenumbering(input, firstFrame);
    String reason;
    const auto files = ListPacketFiles(numbers, firstFrame, frame, frame, k_MaxFiles, &reason);
    return files.empty() ? frame : files.front().outputNumber;
}

Items WrittenBy(const ExpansionInput &input)
{
    Items written;
    ExpandNumbers(*FramePattern::Parse("%d", nullptr), input,
                  [&written](int number) { written.insert(number); });
    return written;
}

} // namespace

RequeueRange FindRequeueRange(const ExpansionInput &input, const Items &outputNumbers,
                              String *reason)
{
    RequeueRange range;
    range.missed = outputNumbers;
    range.frames = FindRenderingFrames(input, outputNumbers, reason);
    if (range.frames.empty())
        return range;

    // The copy renders its own range, whatever is looked for.
    ExpansionInput copy = input;
    copy.hasCustomRange = false;
    copy.frames = range.frames;
    if (WritesOtherNumbers(copy, range.frames))
    {
        range.renumberStart = std::to_string(FirstNumberOf(input, range.frames.front()));
        copy.renumberStart = range.renumberStart;
    }
    range.missed.eraseAll(WrittenBy(copy));
    return range;
}

} // namespace analysis
