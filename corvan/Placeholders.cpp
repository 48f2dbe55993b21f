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

String Joined(const std::vector<String> &items)
{
    String text;
    for (std::size_t i = 0; i < items.size(); ++i)
        text += (i == 0 ? "" : "\n") + items[i];
    return text;
}

/// What a value is at the begin of an argument; nothing where it cannot stand there.
std::optional<String> AtBegin(const String &text, PlaceholderValue::Kind kind)
{
    const char first = text.empty() ? '\0' : text.front();
    if (kind == PlaceholderValue::Kind::Path && (first == '-' || first == '+'))
        return String("./" + text);
    if (kind == PlaceholderValue::Kind::Text && first == '-')
        return std::nullopt;
    return text;
}

/// One argument on its way.
class Filler
{
public:
    /// `isBare`: it is made of placeholders alone.
    Filler(const String &argument, bool isBare, String *reason)
        : m_argument(argument), m_isBare(isBare), m_reason(reason)
    {
    }

    void AddPlain(const String &text)
    {
        m_filled += text;
    }

    bool AddValue(const String &name, const String &text, PlaceholderValue::Kind kind)
    {
        if (m_isBare && HasControlCharacters(text))
            return Refuse(name, "holds a line end or another control character");
        const auto mended = m_filled.empty() ? AtBegin(text, kind) : text;
        if (!mended)
            return Refuse(name, "begins with \"-\", as an option does");
        m_filled += *mended;
        return true;
    }

    String Take()
    {
        return std::move(m_filled);
    }

private:
    bool Refuse(const String &name, const char *why)
    {
        *m_reason = Named(m_argument) + ": the value of {" + Excerpt(name) + "} " + why;
        return false;
    }

    const String &m_argument;
    bool m_isBare;
    String *m_reason;
    String m_filled;
};

std::optional<PlaceholderValue> FindOrRefuse(const String &name, const String &argument,
                                             const FindPlaceholder &find, String *reason)
{
    std::optional<PlaceholderValue> value = find(name);
    if (!value)
        *reason = Named(argument) + ": nothing is known of {" + Excerpt(name) + "}";
    return value;
}

/// Appends an argument that stays one.
bool ExpandOne(const std::vector<Piece> &pieces, const String &argument,
               const FindPlaceholder &find, std::vector<String> &expanded, String *reason)
{
    Filler filler(argument, std::ranges::all_of(pieces, &Piece::isPlaceholder), reason);
    for (const Piece &piece : pieces)
    {
        if (!piece.isPlaceholder)
        {
            filler.AddPlain(piece.text);
            continue;
        }
        const auto value = FindOrRefuse(piece.text, argument, find, reason);
        if (!value || !filler.AddValue(piece.text, Joined(value->items), value->kind))
            return false;
    }
    expanded.push_back(filler.Take());
    return true;
}

bool ExpandItems(const PlaceholderValue &list, const String &name, const String &argument,
                 std::vector<String> &expanded, String *reason)
{
    for (const String &item : list.items)
    {
        Filler filler(argument, true, reason);
        if (!filler.AddValue(name, item, list.kind))
            return false;
        expanded.push_back(filler.Take());
    }
    return true;
}

bool Expand(const String &argument, Level level, const FindPlaceholder &find,
            std::vector<String> &expanded, String *reason);

/// A line of {Arguments} that names them again gets their plain text: there is no end to it
/// otherwise.
bool ExpandLines(const String &value, Level level, const FindPlaceholder &find,
                 std::vector<String> &expanded, String *reason)
{
    std::vector<String> lines = SplitLines(value);
    if (level == Level::List)
        return std::ranges::all_of(lines, [&](const String &line)
                                   { return Expand(line, Level::Line, find, expanded, reason); });
    std::ranges::move(lines, std::back_inserter(expanded));
    return true;
}

/// Appends what one argument becomes.
bool Expand(const String &argument, Level level, const FindPlaceholder &find,
            std::vector<String> &expanded, String *reason)
{
    const auto pieces = ParsePieces(argument, reason);
    if (!pieces)
        return false;
    if (pieces->size() != 1 || !pieces->front().isPlaceholder)
        return ExpandOne(*pieces, argument, find, expanded, reason);

    const String &name = pieces->front().text;
    const auto value = FindOrRefuse(name, argument, find, reason);
    if (!value)
        return false;
    if (name == k_arguments)
        return ExpandLines(Joined(value->items), level, find, expanded, reason);
    if (value->isList)
        return ExpandItems(*value, name, argument, expanded, reason);
    return ExpandOne(*pieces, argument, find, expanded, reason);
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

FindPlaceholder JobPlaceholders(const Job &job, std::map<String, PlaceholderValue> given)
{
    return [&job, given = std::move(given)](const String &name) -> std::optional<PlaceholderValue>
    {
        if (const auto found = given.find(name); found != given.end())
            return found->second;
        if (name == "ID")
            return job.ID().ToString();
        const bool isPath = name == p_Note || name == p_ImageFormat || job.Type().IsPath(name);
        const auto kind = isPath ? PlaceholderValue::Kind::Path : PlaceholderValue::Kind::Text;
        String value;
        if (job.GetParameter(name, value))
            return PlaceholderValue(value, kind);
        if (const auto byDefault = job.Type().FindDefault(name))
            return PlaceholderValue(*byDefault, kind);
        if (name == p_Note || name == p_Name || name == k_arguments)
            return String();
        return std::nullopt;
    };
}

} // namespace corvan
