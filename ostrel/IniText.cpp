#include "ostrel/IniText.h"

#include <algorithm>
#include <boost/locale/utf.hpp>

namespace ostrel
{

namespace
{

using Utf8 = boost::locale::utf::utf_traits<char>;

// At the very start of a file this is no text; a key that begins so could not be told from it.
constexpr std::string_view k_byte_order_mark = "\xEF\xBB\xBF";

bool IsBlank(char character)
{
    return character == ' ' || character == '\t';
}

bool IsControl(char character)
{
    return (character >= 0 && character < 0x20) || character == 0x7F;
}

bool HasControl(std::string_view text)
{
    return std::any_of(text.begin(), text.end(), IsControl);
}

bool BeginsComment(std::string_view line)
{
    return !line.empty() && (line.front() == ';' || line.front() == '#');
}

bool IsUtf8(std::string_view text)
{
    for (auto next = text.begin(); next != text.end();)
    {
        if (!boost::locale::utf::is_valid_codepoint(Utf8::decode(next, text.end())))
            return false;
    }
    return true;
}

// Takes the next line and its end, which is "\n", "\r\n" or "\r".
std::string_view TakeLine(std::string_view &rest)
{
    const std::size_t length = std::min(rest.find_first_of("\r\n"), rest.size());
    const std::string_view line = rest.substr(0, length);
    const std::size_t end = rest.substr(length, 2) == "\r\n" ? 2 : 1;
    rest.remove_prefix(std::min(length + end, rest.size()));
    return line;
}

const char *SectionError(std::string_view line)
{
    const std::size_t close = line.find(']');
    if (close == std::string_view::npos)
        return "a section without \"]\"";
    if (!IsSectionName(TrimBlanks(line.substr(1, close - 1))))
        return "a section without a usable name";

    const std::string_view behind = TrimBlanks(line.substr(close + 1));
    if (!behind.empty() && !BeginsComment(behind))
        return "text behind a section";
    return nullptr;
}

const char *KeyError(std::string_view line)
{
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos)
        return "neither a section nor key = value";
    if (!IsKeyName(TrimBlanks(line.substr(0, equals))))
        return "a value without a usable key";
    return nullptr;
}

// What is wrong with one line; null when nothing is.
const char *LineError(std::string_view line)
{
    if (line.find('\0') != std::string_view::npos)
        return "a zero byte";
    if (!IsUtf8(line))
        return "text that is not UTF-8";

    const std::string_view content = TrimBlanks(line);
    if (content.empty() || BeginsComment(content))
        return nullptr;
    return content.front() == '[' ? SectionError(content) : KeyError(content);
}

bool IsOneWithBlanksAtEnds(std::string_view text)
{
    return !text.empty() && (IsBlank(text.front()) || IsBlank(text.back()));
}

bool IsInQuotes(std::string_view text)
{
    return text.size() >= 2 && text.front() == '"' && text.back() == '"';
}

} // namespace

std::optional<IniError> FindIniError(std::string_view text)
{
    for (int number = 1; !text.empty(); ++number)
    {
        if (const char *reason = LineError(TakeLine(text)))
            return IniError{number, reason};
    }
    return std::nullopt;
}

std::string LiftSectionComments(std::string_view text)
{
    std::string lifted;
    while (!text.empty())
    {
        const std::string_view line = TrimBlanks(TakeLine(text));
        const std::size_t close = line.starts_with('[') ? line.find(']') : std::string_view::npos;
        if (close != std::string_view::npos && close + 1 < line.size())
        {
            lifted.append(TrimBlanks(line.substr(close + 1))).append("\n");
            lifted.append(line.substr(0, close + 1)).append("\n");
        }
        else
        {
            lifted.append(line).append("\n");
        }
    }
    return lifted;
}

bool IsSectionName(std::string_view name)
{
    return !name.empty() && !HasControl(name) && !IsOneWithBlanksAtEnds(name) && IsUtf8(name) &&
           name.find(']') == std::string_view::npos;
}

bool IsKeyName(std::string_view name)
{
    return !name.empty() && !HasControl(name) && !IsOneWithBlanksAtEnds(name) && IsUtf8(name) &&
           name.find('=') == std::string_view::npos && name.front() != '[' &&
           !BeginsComment(name) && !name.starts_with(k_byte_order_mark);
}

String StorableValue(std::string_view value)
{
    String stored;
    for (auto next = value.begin(); next != value.end();)
    {
        const auto start = next;
        if (!boost::locale::utf::is_valid_codepoint(Utf8::decode(next, value.end())))
        {
            stored += '?';
            next = start + 1;
        }
        else if (*start == '\n' || *start == '\r' || *start == '\0')
            stored += ' ';
        else
            stored.append(start, next);
    }
    return stored;
}

String QuoteValue(const String &value)
{
    if (IsOneWithBlanksAtEnds(value) || IsInQuotes(value))
        return '"' + value + '"';
    return value;
}

String UnquoteValue(std::string_view written)
{
    if (IsInQuotes(written))
        written = written.substr(1, written.size() - 2);
    return String(written);
}

std::string_view WithoutByteOrderMark(std::string_view text)
{
    while (text.starts_with(k_byte_order_mark))
        text.remove_prefix(k_byte_order_mark.size());
    return text;
}

std::string_view TrimBlanks(std::string_view text)
{
    while (!text.empty() && IsBlank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && IsBlank(text.back()))
        text.remove_suffix(1);
    return text;
}

} // namespace ostrel
