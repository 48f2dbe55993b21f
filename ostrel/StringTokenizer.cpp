#include "ostrel/StringTokenizer.h"

namespace ostrel
{

// Boost.Tokenizer's escaped_list_separator knows quotes and escapes too, but it throws at an escape
// that it has no meaning for, and patterns such as "C:\frames\a.%04d.exr" are full of those.

StringTokenizer::StringTokenizer(const String &text, char separator, bool keepEmpty, char quote,
                                 char escape)
    : m_text(text), m_separator(separator), m_keepEmpty(keepEmpty), m_quote(quote), m_escape(escape)
{
}

std::optional<String> StringTokenizer::GetNext()
{
    while (!m_done)
    {
        String field = TakeField();
        if (m_keepEmpty || !field.empty())
            return field;
    }
    return std::nullopt;
}

String StringTokenizer::TakeField()
{
    String field;
    bool isQuoted = false;
    m_begin = m_next;
    while (m_next < m_text.size())
    {
        const char character = m_text[m_next++];
        if (character == m_escape && m_next < m_text.size())
            field += m_text[m_next++];
        else if (character == m_quote)
            isQuoted = !isQuoted;
        else if (character == m_separator && !isQuoted)
        {
            m_end = m_next - 1;
            return field;
        }
        else
            field += character;
    }
    m_end = m_next;
    m_done = true;
    return field;
}

} // namespace ostrel
