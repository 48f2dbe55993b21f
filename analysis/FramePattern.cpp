#include "analysis/FramePattern.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <fmt/printf.h>

#include "corvan/Digit.h"

namespace analysis
{

using corvan::IsDigit;

namespace
{

bool IsOneOf(char c, std::string_view characters)
{
    return characters.find(c) != std::string_view::npos;
}

/// Takes what stands at the front of a conversion, piece by piece.
class ConversionReader
{
public:
    explicit ConversionReader(std::string_view text) : m_text(text) {}

    /// The next character, or 0 at the end of the text.
    char Next() const
    {
        return m_taken < m_text.size() ? m_text[m_taken] : '\0';
    }
    std::string_view Taken() const
    {
        return m_text.substr(0, m_taken);
    }

    std::string_view TakeAny(std::string_view characters)
    {
        const std::size_t start = m_taken;
        while (m_taken < m_text.size() && IsOneOf(m_text[m_taken], characters))
            ++m_taken;
        return m_text.substr(start, m_taken - start);
    }

    bool Take(std::string_view word)
    {
        if (m_text.substr(m_taken, word.size()) != word)
            return false;
        m_taken += word.size();
        return true;
    }

private:
    std::string_view m_text;
    std::size_t m_taken = 0;
};

/// Digits as a number, 0 for none; one above the limit for all that is beyond it.
std::size_t ReadCount(std::string_view digits)
{
    constexpr std::size_t k_limit = FramePattern::k_MaxBytes;
    std::size_t count = 0;
    const auto end = digits.data() + digits.size();
    const auto result = std::from_chars(digits.data(), end, count);
    return result.ec == std::errc::result_out_of_range ? k_limit + 1 : std::min(count, k_limit + 1);
}

constexpr std::size_t k_most_digits_in_aRow = 9;

struct Conversion
{
    std::size_t bytes = 0; ///< In the pattern, percent sign included.
    std::string_view flags;
    std::size_t width = 0;
    bool hasPrecision = false;
    std::size_t precision = 0;
    std::string_view length;
    char letter = '\0';
};

/// Why a conversion that is not finished cannot go on with this character.
String WrongCharacter(std::string_view taken, char next)
{
    if (next == '\0')
        return "the percent sign at its end begins no conversion";
    if (next == '*')
        return "a width or precision given as \"*\" is not supported";
    if (next == '$')
        return "a numbered argument (\"$\") is not supported";
    String reason = "\"";
    reason.append(taken).push_back(next);
    return reason.append("\" is no conversion of a whole number");
}

/// The most digits side by side, zeros of the flags included.
std::size_t LongestDigitRun(std::string_view text)
{
    std::size_t longest = 0;
    std::size_t run = 0;
    for (const char c : text)
    {
        run = IsDigit(c) ? run + 1 : 0;
        longest = std::max(longest, run);
    }
    return longest;
}

/// `text` begins at the percent sign. Empty when all is well, else the reason.
String ReadConversion(std::string_view text, Conversion &conversion)
{
    ConversionReader reader(text);
    reader.Take("%");
    conversion.flags = reader.TakeAny("-+ #0");
    conversion.width = ReadCount(reader.TakeAny("0123456789"));
    conversion.hasPrecision = reader.Take(".");
    if (conversion.hasPrecision)
        conversion.precision = ReadCount(reader.TakeAny("0123456789"));
    for (const char *length : {"hh", "h", "ll", "l", "j", "z", "t"})
    {
        if (conversion.length.empty() && reader.Take(length))
            conversion.length = length;
    }

    conversion.letter = reader.Next();
    if (conversion.letter == '\0' || !IsOneOf(conversion.letter, "diouxX"))
        return WrongCharacter(reader.Taken(), conversion.letter);
    if (std::max(conversion.width, conversion.precision) > FramePattern::k_MaxBytes)
        return "a width or precision over " + std::to_string(FramePattern::k_MaxBytes);
    // The formatter takes longer runs for numbers too big, whatever they say.
    if (LongestDigitRun(reader.Taken()) > k_most_digits_in_aRow)
        return "a conversion with more than " + std::to_string(k_most_digits_in_aRow) +
               " digits in a row";
    conversion.bytes = reader.Taken().size() + 1;
    return {};
}

/// Digits enough for any 64-bit number in base 8.
constexpr std::size_t k_most_digits = 22;
/// "+0x".
constexpr std::size_t k_most_prefix = 3;

void AppendDecimal(std::string &out, int number, std::size_t width, char padding)
{
    char digits[16];
    const auto result = std::to_chars(digits, digits + sizeof digits, number);
    const auto bytes = std::size_t(result.ptr - digits);
    const std::size_t missing = width > bytes ? width - bytes : 0;

    // Zeros go between the sign and the digits, blanks before both.
    const std::size_t sign = number < 0 && padding == '0' ? 1 : 0;
    out.append(digits, sign);
    out.append(missing, padding);
    out.append(digits + sign, bytes - sign);
}

} // namespace

std::optional<FramePattern> FramePattern::Parse(std::string_view text, String *reason)
{
    const auto refuse = [reason](String why) -> std::optional<FramePattern>
    {
        if (reason)
            *reason = std::move(why);
        return std::nullopt;
    };

    if (text.find('\0') != std::string_view::npos)
        return refuse("it holds a zero byte");

    FramePattern pattern;
    String *literal = &pattern.m_before;
    for (std::size_t at = 0; at < text.size();)
    {
        const std::size_t percent = std::min(text.find('%', at), text.size());
        literal->append(text.substr(at, percent - at));
        at = percent;
        if (at == text.size())
            break;
        if (text.substr(at, 2) == "%%")
        {
            literal->push_back('%');
            at += 2;
            continue;
        }

        Conversion conversion;
        if (String why = ReadConversion(text.substr(at), conversion); !why.empty())
            return refuse(std::move(why));
        if (literal == &pattern.m_after)
            return refuse("it has more than one place for a number");

        pattern.m_conversion = String(text.substr(at, conversion.bytes));
        pattern.m_width = conversion.width;
        pattern.m_precision = conversion.precision;
        pattern.m_isPlainDecimal =
            IsOneOf(conversion.letter, "di") && !conversion.hasPrecision &&
            conversion.length.empty() &&
            conversion.flags.find_first_not_of('0') == std::string_view::npos;
        pattern.m_cutBits = conversion.length == "hh" ? 24 : conversion.length == "h" ? 16 : 0;
        pattern.m_padding = conversion.flags.empty() ? ' ' : '0';
        literal = &pattern.m_after;
        at += conversion.bytes;
    }

    if (pattern.m_conversion.empty())
        return refuse("it has no place for a frame number, such as %04d");
    const std::size_t number = std::max<std::size_t>({pattern.m_width, pattern.m_precision, 1});
    if (pattern.m_before.size() + number + pattern.m_after.size() > k_MaxBytes)
        return refuse("its paths are longer than " + std::to_string(k_MaxBytes) + " bytes");
    return pattern;
}

String FramePattern::Format(int number) const
{
    String path;
    AppendTo(path, number);
    return path;
}

void FramePattern::AppendTo(std::string &out, int number) const
{
    out.reserve(out.size() + m_before.size() + m_after.size() + std::max<std::size_t>(m_width, 12));
    out.append(m_before);
    AppendNumber(out, number);
    out.append(m_after);
}

void FramePattern::AppendNumber(std::string &out, int number) const
{
    if (m_isPlainDecimal)
        AppendDecimal(out, number, m_width, m_padding);
    else
        out.append(fmt::sprintf(m_conversion, number));
}

int FramePattern::ShownNumber(int number) const
{
    return int(std::uint32_t(number) << m_cutBits) >> m_cutBits;
}

std::size_t FramePattern::LongestPath() const
{
    const std::size_t number =
        std::max(m_width, std::max(m_precision, k_most_digits) + k_most_prefix);
    return m_before.size() + number + m_after.size();
}

namespace
{

String Conversion04d(std::size_t digits)
{
    return digits > 1 ? "%0" + std::to_string(digits) + "d" : std::string("%d");
}

/// Every run of `mark` as a conversion of as many digits.
String TurnRuns(const String &text, char mark)
{
    String turned;
    for (std::size_t at = 0; at < text.size();)
    {
        const std::size_t end = std::min(text.find_first_not_of(mark, at), text.size());
        if (end == at)
            turned.push_back(text[at++]);
        else
            turned.append(Conversion04d(end - at));
        at = std::max(at, end);
    }
    return turned;
}

/// "$F" stands for a frame unless it begins a longer name, such as "$FOO".
std::size_t FindFrameVariable(const String &text, std::size_t from)
{
    for (std::size_t at = text.find("$F", from); at != String::npos; at = text.find("$F", at + 2))
    {
        const char next = at + 2 < text.size() ? text[at + 2] : '\0';
        const char lower = char(next | 0x20);
        if (next != '_' && !(lower >= 'a' && lower <= 'z'))
            return at;
    }
    return String::npos;
}

String TurnFrameVariables(const String &text)
{
    String turned;
    std::size_t at = 0;
    for (std::size_t found; (found = FindFrameVariable(text, at)) != String::npos;)
    {
        turned.append(text, at, found - at);
        std::size_t end = found + 2;
        while (end < text.size() && IsDigit(text[end]))
            ++end;
        const std::string_view digits(text.data() + found + 2, end - found - 2);
        turned.append(Conversion04d(ReadCount(digits)));
        at = end;
    }
    return turned.append(text, at);
}

} // namespace

String PatternFromHashes(const String &text)
{
    if (FramePattern::Parse(text, nullptr))
        return text;
    if (FindFrameVariable(text, 0) != String::npos)
        return TurnFrameVariables(text);
    if (text.find('#') != String::npos)
        return TurnRuns(text, '#');
    return TurnRuns(text, '@');
}

} // namespace analysis
