#pragma once

#include <charconv>
#include <functional>
#include <string>
#include <string_view>
#include <type_traits>

namespace check
{

/// Text on its way out, gathered to large pieces. What becomes of a piece that cannot be written is
/// the business of whoever takes it.
class TextWriter
{
public:
    /// Takes the next piece, which is never empty.
    using Sink = std::function<void(std::string_view piece)>;

    explicit TextWriter(Sink sink) : m_sink(std::move(sink))
    {
        m_text.reserve(k_piece);
    }
    ~TextWriter()
    {
        Flush();
    }
    TextWriter(const TextWriter &) = delete;
    TextWriter &operator=(const TextWriter &) = delete;

    TextWriter &operator<<(std::string_view text)
    {
        if (m_text.size() + text.size() > k_piece)
            Flush();
        if (text.size() > k_piece)
            m_sink(text);
        else
            m_text.append(text);
        return *this;
    }
    TextWriter &operator<<(char character)
    {
        return *this << std::string_view(&character, 1);
    }
    template <typename Number>
    std::enable_if_t<std::is_integral_v<Number>, TextWriter &> operator<<(Number number)
    {
        char digits[24];
        const auto result = std::to_chars(digits, digits + sizeof digits, number);
        return *this << std::string_view(digits, std::size_t(result.ptr - digits));
    }

    /// Gives what is gathered to the sink.
    void Flush()
    {
        if (m_text.empty())
            return;
        m_sink(m_text);
        m_text.clear();
    }

private:
    static constexpr std::size_t k_piece = 128u << 10;

    Sink m_sink;
    std::string m_text;
};

} // namespace check
