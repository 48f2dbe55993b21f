#pragma once

#include <optional>

#include "ostrel/String.h"

namespace ostrel
{

/// Cuts a text at a separator, honouring quotes and escapes.
///
/// Between two quote characters a separator is plain text; the quotes themselves are dropped. The
/// escape character makes the next one plain, whatever it is, also inside quotes; at the very end
/// of the text it stands for itself. A quote that is never closed reaches to the end. Blanks are
/// kept as they are.
class StringTokenizer
{
public:
    /// `keepEmpty`: give back empty fields too ("a;;b" is three, the empty text one); otherwise
    /// they are passed over, quoted ones as well.
    StringTokenizer(const String &text, char separator, bool keepEmpty, char quote, char escape);

    /// The next field; nothing at the end.
    std::optional<String> GetNext();

    /// The field that came last as it stands in the text, with its quotes and escapes. Joined by
    /// the separator, those of all fields, the empty ones too, are the text.
    String RawField() const
    {
        return m_text.substr(m_begin, m_end - m_begin);
    }

private:
    String TakeField();

    String m_text;
    std::size_t m_begin = 0; // Of the field that came last.
    std::size_t m_end = 0;
    std::size_t m_next = 0;
    bool m_done = false;
    char m_separator;
    bool m_keepEmpty;
    char m_quote;
    char m_escape;
};

} // namespace ostrel
