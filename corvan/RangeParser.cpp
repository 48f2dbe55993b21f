#include "corvan/RangeParser.h"

#include <charconv>
#include <utility>

#include "corvan/Digit.h"
#include "corvan/Utf8.h"

namespace corvan
{

std::uint64_t RangePart::Count() const
{
    const std::uint64_t all = std::uint64_t(std::int64_t(last) - first) + 1;
    const std::uint64_t hit = (all - 1) / std::uint64_t(step) + 1;
    switch (kind)
    {
    case Kind::All:
        return all;
    case Kind::Every:
        return hit;
    case Kind::Between:
        return all - hit;
    }
    return 0;
}

std::optional<RangePart> RangeParser::Next()
{
    SkipBlanks();
    if (AtEnd() || !m_error.empty())
        return std::nullopt;

    m_partBegin = m_next;
    RangePart part;
    if (!ReadPart(part))
        return std::nullopt;

    SkipBlanks();
    if (Peek() == ',')
        ++m_next;
    else if (!AtEnd())
    {
        Refuse(String("\"") + Peek() + "\" is not expected here");
        return std::nullopt;
    }
    return part;
}

bool RangeParser::ReadPart(RangePart &part)
{
    if (Peek() == ',')
        return Refuse("a part between two commas is empty");
    if (!ReadNumber(part.first, "a frame number"))
        return false;

    part.last = part.first;
    SkipBlanks();
    if (Peek() == 'x' || Peek() == 'y')
        return Refuse("a step needs a range, as in 1-10x2");
    if (Peek() != '-')
        return true;

    ++m_next;
    SkipBlanks();
    if (!ReadNumber(part.last, "the end of the range"))
        return false;
    if (part.last < part.first)
        std::swap(part.first, part.last);

    SkipBlanks();
    switch (Peek())
    {
    case 'x':
    case 'y':
        return ReadSteps(part, Peek());
    case ':':
        return Refuse("\":\" means a step to some and a stagger to others; write 1-10x2 for "
                      "every second frame");
    case '-':
        return Refuse("a range has two ends only");
    default:
        return true;
    }
}

bool RangeParser::ReadSteps(RangePart &part, char letter)
{
    ++m_next;
    SkipBlanks();
    if (!ReadNumber(part.step, "the step"))
        return false;
    if (part.step < 1)
        return Refuse("a step must be 1 or more");

    part.kind = letter == 'x' ? RangePart::Kind::Every : RangePart::Kind::Between;
    if (part.step == 1 && letter == 'x')
        part.kind = RangePart::Kind::All;
    return true;
}

bool RangeParser::ReadNumber(int &number, const char *what)
{
    const std::size_t digits = m_next + (Peek() == '-' ? 1 : 0);
    if (digits >= m_text.size())
        return Refuse(String(what) + " is missing");
    if (!IsDigit(m_text[digits]))
        return Refuse(String(what) + " is missing before \"" + m_text[digits] + "\"");

    const char *begin = m_text.data() + m_next;
    const char *end = m_text.data() + m_text.size();
    const auto [stopped, error] = std::from_chars(begin, end, number);
    if (error != std::errc())
        return Refuse(String(what) + " is outside -2147483648 to 2147483647");

    m_next += std::size_t(stopped - begin);
    return true;
}

void RangeParser::SkipBlanks()
{
    while (Peek() == ' ' || Peek() == '\t')
        ++m_next;
}

bool RangeParser::Refuse(const String &why)
{
    constexpr std::size_t k_most = 40;
    std::string_view part = m_text.substr(m_partBegin);
    part = part.substr(0, part.find(',', 1));
    m_error = MakeUtf8("in \"" + std::string(part.substr(0, k_most)) +
                       (part.size() > k_most ? "..." : "") + "\" " + why);
    return false;
}

} // namespace corvan
