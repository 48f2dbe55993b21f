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
        outputs.emplace_back(pattern->Format(*number));
    }
    return true;
}

// All files of a packet as placeholders; none where they are too many.
std::map<String, String> OutputPlaceholders(const Job &job, const std::vector<String> &formats,
                                            const Packet &packet, int firstFrame)
{
    if (formats.empty())
        return {{"OutputFrames", {}}, {"Outputs", {}}};

    String reason;
    const auto pattern = FramePattern::Parse(formats.front(), &reason);
    const auto files =
        analysis::ListPacketFiles(RenumberingOf(job, firstFrame), firstFrame, packet.firstFrame,
                                  packet.lastFrame, k_MaxOutputs, &reason);
    if (!pattern || files.empty())
        return {};

    String frames;
    String paths;
    for (const analysis::ExpansionStep &file : files)
    {
        frames += analysis::FrameText(file.frame) + "\n";
        paths += pattern->Format(file.outputNumber) + "\n";
    }
    frames.pop_back();
    paths.pop_back();
    return {{"OutputFrames", frames}, {"Outputs", paths}};
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
    placeholders.merge(std::map<String, String>{
        {"Frame", std::to_string(packet.firstFrame)},
        {"FirstFrame", std::to_string(packet.firstFrame)},
        {"LastFrame", std::to_string(packet.lastFrame)},
        {"ID", job.ID().ToString()},
        {"Output", command.outputs.empty() ? String() : command.outputs.front().Text()},
        {"OutputPattern", formats.empty() ? String() : formats.front()},
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
