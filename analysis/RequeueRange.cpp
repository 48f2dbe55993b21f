#include "analysis/RequeueRange.h"

#include "corvan/Job.h"
#include "corvan/Parameters.h"
#include "corvan/RequeueJob.h"

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
                              RequeuePackets packets, String *reason)
{
    RequeueRange range;
    range.missed = outputNumbers;
    if (packets == RequeuePackets::OfOneFrame)
        range.packetSize = "1";
    range.frames = FindRenderingFrames(input, outputNumbers, reason);
    if (range.frames.empty())
        return range;

    // The copy renders its own range, whatever is looked for.
    ExpansionInput copy = input;
    copy.hasCustomRange = false;
    copy.frames = range.frames;
    if (!range.packetSize.empty())
        copy.packetSize = range.packetSize;
    if (WritesOtherNumbers(copy, range.frames))
    {
        range.renumberStart = std::to_string(FirstNumberOf(input, range.frames.front()));
        copy.renumberStart = range.renumberStart;
    }
    range.besides = WrittenBy(copy);
    range.missed.eraseAll(range.besides);
    range.besides.eraseAll(outputNumbers);
    return range;
}

boost::shared_ptr<corvan::Job> MakeRequeue(const corvan::Job &job, const RequeueRange &range,
                                           String *reason)
{
    const String text = SequenceDistributor::CalculateRange(range.frames);
    boost::shared_ptr<corvan::Job> requeue = corvan::MakeRequeueJob(job, text);
    if (!requeue)
    {
        *reason = "cannot make a job of '" + job.Name() + "' for " + text;
        return nullptr;
    }
    for (const auto &[name, value] : {std::pair(corvan::p_RenumberStart, range.renumberStart),
                                      std::pair(corvan::p_PacketSize, range.packetSize)})
        if (!value.empty() && !requeue->SetParameter(name, value))
        {
            *reason = "cannot set " + name + " to " + value;
            return nullptr;
        }
    return requeue;
}

Items FindRenderedFrames(const ExpansionInput &input, const Items &frames)
{
    Items rendered = frames;
    if (frames.empty())
        return rendered;
    ExpansionInput copy = input;
    copy.hasCustomRange = false;
    const Renumbering numbers = ReadRenumbering(copy, frames.front());
    if (numbers.packetSize < 1)
        return rendered;
    for (auto frame = frames.begin(); frame != frames.end();)
    {
        const FramePacket packet = TakePacket(frame, numbers.packetSize);
        rendered.insertRange(packet.first, packet.last);
    }
    return rendered;
}

} // namespace analysis
