#include "master/run/RenderCommand.h"

#include <algorithm>
#include <map>

#include "analysis/Expansion.h"
#include "analysis/FramePattern.h"
#include "corvan/ImageFormats.h"
#include "corvan/JobType.h"
#include "corvan/Parameters.h"
#include "corvan/Placeholders.h"

namespace master
{

using analysis::FramePattern;
using corvan::PlaceholderValue;

analysis::Renumbering RenumberingOf(const Job &job, int firstFrame)
{
    analysis::ExpansionInput input;
    job.GetParameter(corvan::p_SequenceBy, input.sequenceBy);
    job.GetParameter(corvan::p_RenumberStart, input.renumberStart);
    job.GetParameter(corvan::p_RenumberBy, input.renumberBy);
    return analysis::ReadRenumbering(input, firstFrame);
}

namespace
{

using Placeholders = std::map<String, PlaceholderValue>;

// The job's image formats as this machine writes them.
std::vector<String> LocalFormats(const Job &job)
{
    std::vector<String> formats;
    for (const Path &format : corvan::ListFormats(job.ParameterText(corvan::p_ImageFormat, true)))
        formats.push_back(format.Text());
    return formats;
}

// The packet's first file in each of the formats.
bool FormatOutputs(const Job &job, const std::vector<String> &formats, const Packet &packet,
                   int firstFrame, std::vector<Path> &outputs, String *reason)
{
    if (formats.empty())
        return true;
    const auto number = analysis::FirstOutputNumber(RenumberingOf(job, firstFrame), firstFrame,
                                                    packet.firstFrame, reason);
    if (!number)
        return false;
    for (const String &format : formats)
    {
        const std::optional<FramePattern> pattern = FramePattern::Parse(format, reason);
        if (!pattern)
        {
            *reason = "image format \"" + format + "\": " + *reason;
            return false;
        }
        // A command runs in a folder of the Master's own.
        if (!format.starts_with('/'))
        {
            *reason = "image format \"" + format + "\" is no full path of this machine";
            return false;
        }
        outputs.emplace_back(pattern->Format(*number));
    }
    return true;
}

// All files of a packet as placeholders; none where they are too many.
Placeholders OutputPlaceholders(const Job &job, const std::vector<String> &formats,
                                const Packet &packet, int firstFrame)
{
    using Kind = PlaceholderValue::Kind;
    std::vector<String> frames;
    std::vector<String> paths;
    if (formats.empty())
        return {{"OutputFrames", PlaceholderValue::List(frames, Kind::Number)},
                {"Outputs", PlaceholderValue::List(paths, Kind::Path)}};

    String reason;
    const auto pattern = FramePattern::Parse(formats.front(), &reason);
    const auto files =
        analysis::ListPacketFiles(RenumberingOf(job, firstFrame), firstFrame, packet.firstFrame,
                                  packet.lastFrame, k_MaxOutputs, &reason);
    if (!pattern || files.empty())
        return {};

    for (const analysis::ExpansionStep &file : files)
    {
        frames.push_back(analysis::FrameText(file.frame));
        paths.push_back(pattern->Format(file.outputNumber));
    }
    return {{"OutputFrames", PlaceholderValue::List(std::move(frames), Kind::Number)},
            {"Outputs", PlaceholderValue::List(std::move(paths), Kind::Path)}};
}

std::vector<std::string> TextsOf(const std::vector<Path> &paths)
{
    std::vector<std::string> texts;
    for (const Path &path : paths)
        texts.push_back(path.Text());
    return texts;
}

// Why a path is not to be used as it is written.
String CheckPath(const String &parameter, const String &path, const std::vector<std::string> &roots)
{
    // Where a relative one leads is known where it is used.
    return path.starts_with('/') ? String(keeper::CheckWritten({parameter, path, roots}))
                                 : String();
}

// Fills in the roots; why the job is not to be rendered with such paths.
String TakeRoots(const Job &job, const std::vector<String> &formats, RenderCommand &command)
{
    for (const corvan::JobTypePath &path : job.Type().paths)
    {
        const std::vector<std::string> roots = TextsOf(path.roots);
        const bool isWritten = path.parameter == corvan::p_ImageFormat;
        const std::vector<String> values =
            isWritten ? formats : std::vector{job.ParameterText(path.parameter, true)};
        for (const String &value : values)
        {
            if (String reason = CheckPath(path.parameter, value, roots); !reason.empty())
                return reason;
            if (!isWritten && !roots.empty() && !value.empty())
                command.rooted.push_back({path.parameter, value, roots});
        }
        if (isWritten)
            command.outputRoots = roots;
    }
    return {};
}

PlaceholderValue NumberValue(int number)
{
    return {std::to_string(number), PlaceholderValue::Kind::Number};
}

PlaceholderValue PathValue(const String &path)
{
    return {path, PlaceholderValue::Kind::Path};
}

} // namespace

std::optional<RenderCommand> BuildRenderCommand(const Job &job, const Packet &packet,
                                                int firstFrame, String *reason)
{
    RenderCommand command;
    const std::vector<String> formats = LocalFormats(job);
    if (!FormatOutputs(job, formats, packet, firstFrame, command.outputs, reason))
        return std::nullopt;

    auto placeholders = OutputPlaceholders(job, formats, packet, firstFrame);
    placeholders.merge(Placeholders{
        {"Frame", NumberValue(packet.firstFrame)},
        {"FirstFrame", NumberValue(packet.firstFrame)},
        {"LastFrame", NumberValue(packet.lastFrame)},
        {"ID", job.ID().ToString()},
        {"Output", PathValue(command.outputs.empty() ? String() : command.outputs.front().Text())},
        {"OutputPattern", PathValue(formats.empty() ? String() : formats.front())},
    });
    const auto find = corvan::JobPlaceholders(job, std::move(placeholders));
    const auto arguments = corvan::ExpandArguments(job.Type().renderCommand, find, reason);
    if (!arguments)
        return std::nullopt;
    if (arguments->empty() || arguments->front().empty())
    {
        *reason = "the command names no program";
        return std::nullopt;
    }
    command.arguments.assign(arguments->begin(), arguments->end());
    *reason = TakeRoots(job, formats, command);
    if (!reason->empty())
        return std::nullopt;
    return command;
}

std::vector<Path> ListOutputs(const Job &job, const Packet &packet, int firstFrame)
{
    std::vector<Path> outputs;
    if (!job.Type().rendersFrames || !job.Type().writesFiles)
        return outputs;
    String reason;
    const auto files =
        analysis::ListPacketFiles(RenumberingOf(job, firstFrame), firstFrame, packet.firstFrame,
                                  packet.lastFrame, analysis::k_MaxFiles, &reason);
    for (const String &format : LocalFormats(job))
        if (const auto pattern = FramePattern::Parse(format, &reason))
            for (const analysis::ExpansionStep &file : files)
                outputs.emplace_back(pattern->Format(file.outputNumber));
    std::ranges::sort(outputs);
    outputs.erase(std::unique(outputs.begin(), outputs.end()), outputs.end());
    return outputs;
}

} // namespace master
