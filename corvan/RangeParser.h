#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "ostrel/String.h"

namespace corvan
{

using ostrel::String;

/// One part of a range text, between two commas.
struct RangePart
{
    enum class Kind
    {
        All,     ///< "A-B", or "N" with both ends the same.
        Every,   ///< "A-BxS": first, first + step, ...
        Between, ///< "A-ByS": what `Every` leaves out.
    };

    Kind kind = Kind::All;
    int first = 0; ///< Never above `last`.
    int last = 0;
    int step = 1; ///< 1 or more.

    /// How many frames the part names.
    std::uint64_t Count() const;
};

/// Reads a range text part by part; see SequenceDistributor for the grammar. The text must outlive
/// the parser.
class RangeParser
{
public:
    explicit RangeParser(std::string_view text) : m_text(text) {}

    /// The next part; nothing at the end of the text, or where it is refused.
    std::optional<RangePart> Next();

    /// Why the text was refused; empty while it is fine.
    const String &Error() const
    {
        return m_error;
    }

private:
    bool ReadPart(RangePart &part);
    bool ReadSteps(RangePart &part, char letter);
    bool ReadNumber(int &number, const char *what);
    void SkipBlanks();
    bool AtEnd() const
    {
        return m_next == m_text.size();
    }
    char Peek() const
    {
        return AtEnd() ? '\0' : m_text[m_next];
    }
    bool Refuse(const String &why);

    std::string_view m_text;
    std::size_t m_next = 0;
    std::size_t m_partBegin = 0;
    String m_error;
};

} // namespace corvan
