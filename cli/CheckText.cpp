#include "cli/CheckText.h"

#include <algorithm>
#include <cstdlib>
#include <fmt/format.h>
#include <unistd.h>

#include "cli/RangeText.h"
#include "cli/ShownText.h"

namespace cli
{

namespace
{

/// As people call a state, of one frame.
std::string_view NameOf(CheckState state)
{
    switch (state)
    {
    case CheckState::TooSmall:
        return "too small";
    case CheckState::OddImage:
        return "odd image";
    default:
        return StateText(state);
    }
}

std::size_t FindRow(const CheckTable &table, int frame)
{
    return std::size_t(std::ranges::find(table.frames, frame, &analysis::FrameRecord::frame) -
                       table.frames.begin());
}

using Details = std::map<std::size_t, String>;

// Of so many frames more than the first it is told what was found.
constexpr std::size_t k_most_details = 5;
constexpr std::string_view k_below_frames = "               ";

// Some frames, with the path of the first and what there is to say of each.
void WriteFrames(Output &out, const CheckTable &table,
                 const corvan::SequenceDistributor::Items &frames, const Details &details)
{
    const std::size_t first = FindRow(table, frames.front());
    out << "  " << RangeText(frames) << "  " << ShownText(table.PathOf(first).Text());
    if (const auto detail = details.find(first); detail != details.end())
        out << ": " << ShownText(detail->second);
    out << '\n';

    std::map<int, std::string_view> others; // By frame, however the rows are sorted.
    for (const auto &[row, detail] : details)
        if (row != first && frames.contains(table.frames[row].frame))
            others.emplace(table.frames[row].frame, detail);
    std::size_t told = 0;
    for (const auto &[frame, detail] : others)
    {
        if (told++ == k_most_details)
        {
            out << k_below_frames
                << fmt::format("and of {} more, see --json\n", others.size() - k_most_details);
            break;
        }
        out << k_below_frames << fmt::format("{}: ", frame) << ShownText(std::string(detail))
            << '\n';
    }
}

void WriteState(Output &out, const CheckTable &table, CheckState state, bool hasColours)
{
    const std::string name = fmt::format("{:<11}", NameOf(state));
    out << "  ";
    if (hasColours)
        out << ColourOf(state) << name << "\x1b[0m";
    else
        out << name;
    WriteFrames(out, table, FindFrames(table, state), table.details);
}

void WriteTroubles(Output &out, const CheckTable &table)
{
    if (table.troubles.empty())
        return;
    corvan::SequenceDistributor::Items frames;
    for (const auto &[row, trouble] : table.troubles)
        frames.insert(table.frames[row].frame);
    out << "  not looked at";
    WriteFrames(out, table, frames, table.troubles);
}

} // namespace

std::string_view ColourOf(CheckState state)
{
    switch (state)
    {
    case CheckState::Ok:
        return "";
    case CheckState::Missing:
        return "\x1b[90m";
    case CheckState::TooSmall:
    case CheckState::Undecodable:
    case CheckState::Changed:
        return "\x1b[31m";
    case CheckState::Outlier:
    case CheckState::OddImage:
    case CheckState::Blank:
    case CheckState::Nan:
    case CheckState::Duplicate:
    case CheckState::Black:
    case CheckState::Patch:
    case CheckState::Pop:
    case CheckState::Sparks:
        return "\x1b[33m";
    }
    return "";
}

bool WantsColours(std::FILE *stream)
{
    const char *const forbidden = std::getenv("NO_COLOR");
    return (!forbidden || !*forbidden) && isatty(fileno(stream)) == 1;
}

void WriteHeading(Output &out, const CheckTable &table, const String &range)
{
    out << ShownText(table.format) << "  " << ShownText(range) << '\n';
}

String CountsLine(const CheckTable &table)
{
    const check::StateCounts counts = CountStates(table);
    const std::size_t files = table.frames.size();
    String text = fmt::format("{} {}: ", files, files == 1 ? "file" : "files");
    const char *between = "";
    for (const CheckState state : check::k_CheckStates)
    {
        const std::size_t count = counts[std::size_t(state)];
        if (count == 0)
            continue;
        text += fmt::format("{}{} {}", between, count, NameOf(state));
        between = ", ";
    }
    return text;
}

void WriteReport(Output &out, const CheckTable &table, bool hasColours)
{
    const check::StateCounts counts = CountStates(table);
    out << CountsLine(table) << '\n';
    for (const CheckState state : check::k_CheckStates)
        if (state != CheckState::Ok && counts[std::size_t(state)] > 0)
            WriteState(out, table, state, hasColours);
    WriteTroubles(out, table);
}

} // namespace cli
