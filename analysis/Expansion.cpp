#include "analysis/Expansion.h"

#include <algorithm>
#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <locale.h>

#include "corvan/Job.h"
#include "corvan/Parameters.h"
#include "ostrel/Log.h"

namespace analysis
{

static_assert(FLT_EVAL_METHOD == 0, "the walk needs every float operation rounded to float");

namespace
{

// The toolkit sets the user's locale, under which "0.5" may read as 0.
float ReadFloat(const String &text)
{
    static const locale_t s_locale = newlocale(LC_ALL_MASK, "C", nullptr);
    return float(strtod_l(text.c_str(), nullptr, s_locale));
}

int ReadInt(const String &text)
{
    using Limits = std::numeric_limits<int>;
    const long number = std::strtol(text.c_str(), nullptr, 10);
    return int(std::clamp<long>(number, Limits::min(), Limits::max()));
}

using Step = ExpansionStep;

bool FitsInt(float number)
{
    return number >= -2147483648.0f && number < 2147483648.0f;
}

String FloatText(float number)
{
    char text[32];
    const auto result = std::to_chars(text, text + sizeof text, number);
    return String(std::string_view(text, std::size_t(result.ptr - text)));
}

String CannotStep(float by, float frame)
{
    return "a step of " + FloatText(by) + " does not move frame " + FloatText(frame) +
           " in single precision";
}

String NoNumber(int frame)
{
    return "the output number of frame " + std::to_string(frame) + " does not fit in 32 bits";
}

/// The output number of a packet's first frame.
std::optional<int> FirstNumber(int frame, int firstFrame, const Renumbering &numbers)
{
    // Kept apart, one rounding each.
    const float distance = float(std::int64_t(frame) - firstFrame);
    const float scaled = distance * numbers.Ratio();
    const float number = scaled + float(numbers.renumberStart);
    return FitsInt(number) ? std::optional(int(number)) : std::nullopt;
}

/// Walks one packet; `visit(step)` says whether to go on.
template <typename Visit>
String WalkPacket(const FramePacket &packet, int firstFrame, const Renumbering &numbers,
                  Visit &visit)
{
    const float end = float(std::int64_t(packet.last) + 1);
    float x = float(packet.first);
    if (!(x < end))
        return {};

    const std::optional<int> number = FirstNumber(packet.first, firstFrame, numbers);
    if (!number)
        return NoNumber(packet.first);

    for (std::int64_t n = *number; x < end; n += numbers.renumberBy)
    {
        if (n > std::numeric_limits<int>::max())
            return NoNumber(packet.first);
        if (String reason = visit(Step{x, int(n)}); !reason.empty())
            return reason;

        const float next = x + numbers.sequenceBy;
        if (next == x)
            return CannotStep(numbers.sequenceBy, x);
        x = next;
    }
    return {};
}

/// Walks all packets of a set that is not empty. `visit(step)` gives a reason to stop, or an empty
/// text. Returns that reason, or why the walk cannot go on.
template <typename Visit>
String Walk(const SequenceDistributor::Items &frames, const Renumbering &numbers, Visit visit)
{
    if (numbers.packetSize < 1)
        return "a packet size of " + std::to_string(numbers.packetSize) + " is below 1";

    const int firstFrame = *frames.begin();
    for (auto frame = frames.begin(); frame != frames.end();)
    {
        const FramePacket packet = TakePacket(frame, numbers.packetSize);
        if (String reason = WalkPacket(packet, firstFrame, numbers, visit); !reason.empty())
            return reason;
    }
    return {};
}

/// Walks without a file, so that what cannot be walked to its end is refused before it begins.
String TryWalk(const SequenceDistributor::Items &frames, const Renumbering &numbers)
{
    std::size_t files = 0;
    return Walk(frames, numbers,
                [&files](const Step &) -> String
                {
                    if (++files > k_MaxFiles)
                        return "more than " + std::to_string(k_MaxFiles) + " files";
                    return {};
                });
}

/// Formats every path of a pattern whose longest could be too long.
String TryPaths(const FramePattern &pattern, const SequenceDistributor::Items &frames,
                const Renumbering &numbers)
{
    if (pattern.LongestPath() <= FramePattern::k_MaxBytes)
        return {};
    return Walk(frames, numbers,
                [&pattern](const Step &step) -> String
                {
                    if (pattern.Format(step.outputNumber).size() > FramePattern::k_MaxBytes)
                        return "a path is longer than " + std::to_string(FramePattern::k_MaxBytes) +
                               " bytes";
                    return {};
                });
}

void LogChecked(const Path &path)
{
    if (!ostrel::LogWanted(ostrel::k_LogInfo))
        return;

    thread_local std::string line;
    line.assign("  Checked ").append(path.Text());
    ostrel::LogInfo(line);
}

} // namespace

String FrameText(float frame)
{
    char text[64]; // The longest are the smallest: "0." and 55 digits.
    const auto result = std::to_chars(text, text + sizeof text, frame, std::chars_format::fixed);
    return String(std::string_view(text, std::size_t(result.ptr - text)));
}

FramePacket TakePacket(SequenceDistributor::Items::const_iterator &frame, int packetSize)
{
    const SequenceDistributor::Items::const_iterator end;
    FramePacket packet{*frame, *frame};
    const std::int64_t beyond = std::int64_t(packet.first) + packetSize;
    for (; frame != end && *frame < beyond; ++frame)
        packet.last = *frame;
    return packet;
}

std::optional<ExpansionInput> ReadExpansionInput(const corvan::Job &job)
{
    ExpansionInput input;
    String customRange;
    if (!job.GetParameter(corvan::p_CustomRange, customRange) ||
        !job.GetParameter(corvan::p_UserRange, input.userRange))
        return std::nullopt;

    // What is not set leaves its text empty, which stands for the default.
    input.hasCustomRange = !customRange.empty();
    job.GetParameter(corvan::p_SequenceBy, input.sequenceBy);
    job.GetParameter(corvan::p_RenumberStart, input.renumberStart);
    job.GetParameter(corvan::p_RenumberBy, input.renumberBy);
    job.GetParameter(corvan::p_PacketSize, input.packetSize);
    return input;
}

Renumbering ReadRenumbering(const ExpansionInput &input, int firstFrame)
{
    Renumbering numbers;
    numbers.renumberStart = firstFrame;
    if (input.hasCustomRange)
        return numbers;

    if (!input.sequenceBy.empty())
        numbers.sequenceBy = ReadFloat(input.sequenceBy);
    if (!input.renumberStart.empty())
        numbers.renumberStart = ReadInt(input.renumberStart);
    if (!input.renumberBy.empty())
        numbers.renumberBy = ReadInt(input.renumberBy);
    if (!input.packetSize.empty())
        numbers.packetSize = ReadInt(input.packetSize);

    if (!(numbers.sequenceBy > 0.0f))
        numbers.sequenceBy = 1.0f;
    if (!(numbers.renumberBy > 0))
        numbers.renumberBy = 1;
    return numbers;
}

bool WritesOtherNumbers(const ExpansionInput &input, const SequenceDistributor::Items &frames)
{
    if (frames.empty())
        return false;
    ExpansionInput rendered = input;
    rendered.hasCustomRange = false;
    const int first = *frames.begin();
    const Renumbering numbers = ReadRenumbering(rendered, first);
    return numbers.renumberStart != first || numbers.renumberBy != 1 || numbers.sequenceBy != 1.0f;
}

String ExpandNumbers(const FramePattern &pattern, const ExpansionInput &input,
                     const std::function<void(int outputNumber)> &sink)
{
    if (input.frames.empty())
        return {};

    const Renumbering numbers = ReadRenumbering(input, *input.frames.begin());
    if (String reason = TryWalk(input.frames, numbers); !reason.empty())
        return reason;
    if (String reason = TryPaths(pattern, input.frames, numbers); !reason.empty())
        return reason;

    return Walk(input.frames, numbers,
                [&](const Step &step) -> String
                {
                    sink(step.outputNumber);
                    return {};
                });
}

String ExpandFrames(const FramePattern &pattern, const ExpansionInput &input, const FileSink &sink)
{
    return ExpandNumbers(pattern, input,
                         [&](int outputNumber)
                         {
                             const Path path(pattern.Format(outputNumber));
                             sink(path, outputNumber);
                             LogChecked(path);
                         });
}

std::optional<int> FirstOutputNumber(const Renumbering &numbers, int firstFrame, int first,
                                     String *reason)
{
    const std::optional<int> number = FirstNumber(first, firstFrame, numbers);
    if (!number)
        *reason = NoNumber(first);
    return number;
}

std::vector<ExpansionStep> ListPacketFiles(const Renumbering &numbers, int firstFrame, int first,
                                           int last, std::size_t mostFiles, String *reason)
{
    std::vector<ExpansionStep> files;
    const auto visit = [&](const Step &step) -> String
    {
        if (files.size() == mostFiles)
            return "more than " + std::to_string(mostFiles) + " files in one packet";
        files.push_back(step);
        return {};
    };
    *reason = WalkPacket({first, last}, firstFrame, numbers, visit);
    if (!reason->empty())
        files.clear();
    return files;
}

SequenceDistributor::Items FindRenderingFrames(const ExpansionInput &input,
                                               const SequenceDistributor::Items &outputNumbers,
                                               String *reason)
{
    SequenceDistributor::Items found;
    if (input.frames.empty())
        return found;

    const Renumbering numbers = ReadRenumbering(input, *input.frames.begin());
    String why = TryWalk(input.frames, numbers);
    if (why.empty())
    {
        Walk(input.frames, numbers,
             [&](const Step &step) -> String
             {
                 if (outputNumbers.contains(step.outputNumber))
                     found.insert(int(std::floor(step.frame)));
                 return {};
             });
    }
    if (reason)
        *reason = std::move(why);
    return found;
}

} // namespace analysis
