#pragma once

#include <charconv>
#include <cstdio>
#include <string>
#include <string_view>
#include <type_traits>

namespace cli
{

/// Text on its way to a stream, in large pieces. What cannot be written shows as an error of the
/// stream.
class Output
{
public:
    /// `stream` must outlive it.
    explicit Output(std::FILE *stream) : m_stream(stream)
    {
        m_text.reserve(k_piece);
    }
    ~Output()
    {
        Flush();
    }
    Output(const Output &) = delete;
    Output &operator=(const Output &) = delete;

    Output &operator<<(std::string_view text)
    {
        if (m_text.size() + text.size() > k_piece)
            Write();
        if (text.size() > k_piece)
            Write(text);
        else
            m_text.append(text);
        return *this;
    }
    Output &operator<<(char character)
    {
        return *this << std::string_view(&character, 1);
    }
    template <typename Number>
    std::enable_if_t<std::is_integral_v<Number>, Output &> operator<<(Number number)
    {
        char digits[24];
        const auto result = std::to_chars(digits, digits + sizeof digits, number);
        return *this << std::string_view(digits, std::size_t(result.ptr - digits));
    }

    /// Gives all to the system.
    void Flush()
    {
        Write();
        std::fflush(m_stream);
    }

private:
    static constexpr std::size_t k_piece = 128u << 10;

    void Write()
    {
        Write(m_text);
        m_text.clear();
    }
    void Write(std::string_view text)
    {
        if (!text.empty())
            std::fwrite(text.data(), 1, text.size(), m_stream);
    }

    std::FILE *m_stream;
    std::string m_text;
};

} // namespace cli
