#include "corvan/Placeholders.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "corvan/Job.h"
#include "corvan/JobType.h"
#include "corvan/Utf8.h"

namespace corvan
{

namespace
{

/// A stretch of an argument: plain text, or the name of a placeholder.
struct Piece
{
    bool isPlaceholder = false;
    String text;
};

/// The value whose lines are arguments with placeholders of their own.
const char *const k_arguments = "Arguments";

/// Whether an argument stands in the list itself, or is a line of {Arguments}.
enum class Level
{
    List,
    Line,
};

/// Whether an argument stands for the lines of a value. A note or a name is one value, whatever it
/// holds: the path of a file may have line ends of its own.
bool IsList(const std::vector<Piece> &pieces)
{
    return pieces.size() == 1 && pieces.front().isPlaceholder && pieces.front().text != p_Note &&
           pieces.front().text != p_Name;
}

String Named(const String &argument)
{
    return "argument \"" + Excerpt(argument) + "\"";
}

std::optional<std::vector<Piece>> ParsePieces(const String &argument, String *reason)
{
    std::vector<Piece> pieces;
    String plain;
    for (std::size_t at = 0; at < argument.size(); ++at)
    {
        if (argument[at] != '{')
        {
            plain += argument[at];
            continue;
        }
        if (argument.compare(at, 2, "{{") == 0)
        {
            plain += '{';
            ++at;
            continue;
        }
        const std::size_t close = argument.find('}', at);
        if (close == String::npos || close == at + 1)
        {
            *reason = Named(argument) + (close == String::npos
                                             ? ": a brace is not closed (\"{{\" is a plain one)"
                                             : ": a placeholder has no name");
            return std::nullopt;
        }
        if (!plain.empty())
            pieces.push_back({false, std::exchange(plain, String())});
        pieces.push_back({true, argument.substr(at + 1, close - at - 1)});
        at = close;
    }
    if (!plain.empty())
        pieces.push_back({false, std::move(plain)});
    return pieces;
}

std::vector<String> SplitLines(const String &value)
{
    std::vector<String> lines;
    std::size_t begin = 0;
    while (begin < value.size())
    {
        std::size_t end = value.find('\n', begin);
        if (end == String::npos)
            end = value.size();
        const bool hasReturn = end > begin && value[end - 1] == '\r';
        lines.push_back(value.substr(begin, end - begin - (hasReturn ? 1 : 0)));
        begin = end + 1;
    }
    return lines;
}

std::optional<String> FillPieces(const std::vector<Piece> &pieces, const String &argument,
                                 const FindPlaceholder &find, String *reason)
{
    String filled;
    for (const Piece &piece : pieces)
    {
        const std::optional<String> value = piece.isPlaceholder ? find(piece.text) : piece.text;
        if (!value)
        {
            *reason = Named(argument) + ": nothing is known of {" + Excerpt(piece.text) + "}";
            return std::nullopt;
        }
        filled += *value;
    }
    return filled;
}

/// Appends what one argument becomes. A line of {Arguments} that names them again gets their plain
/// text: there is no end to it otherwise.
bool Expand(const String &argument, Level level, const FindPlaceholder &find,
            std::vector<String> &expanded, String *reason)
{
    const auto pieces = ParsePieces(argument, reason);
    if (!pieces)
        return false;
    auto filled = FillPieces(*pieces, argument, find, reason);
    if (!filled)
        return false;
    if (!IsList(*pieces))
    {
        expanded.push_back(std::move(*filled));
        return true;
    }

    std::vector<String> lines = SplitLines(*filled);
    if (level == Level::List && pieces->front().text == k_arguments)
        return std::ranges::all_of(lines, [&](const String &line)
                                   { return Expand(line, Level::Line, find, expanded, reason); });
    std::ranges::move(lines, std::back_inserter(expanded));
    return true;
}

} // namespace

std::optional<std::vector<String>> ExpandArguments(const std::vector<String> &arguments,
                                                   const FindPlaceholder &find, String *reason)
{
    std::vector<String> expanded;
    for (const String &argument : arguments)
        if (!Expand(argument, Level::List, find, expanded, reason))
            return std::nullopt;
    return expanded;
}

String CheckPlaceholders(const String &argument)
{
    String reason;
    ParsePieces(argument, &reason);
    return reason;
}

FindPlaceholder JobPlaceholders(const Job &job, std::map<String, String> given)
{
    return [&job, given = std::move(given)](const String &name) -> std::optional<String>
    {
        if (const auto found = given.find(name); found != given.end())
            return found->second;
        if (name == "ID")
            return job.ID().ToString();
        String value;
        if (job.GetParameter(name, value))
            return value;
        if (auto byDefault = job.Type().FindDefault(name))
            return byDefault;
        if (name == p_Note || name == p_Name || name == k_arguments)
            return String();
        return std::nullopt;
    };
}

} // namespace corvan
