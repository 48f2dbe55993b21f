#pragma once

#include <charconv>
#include <cstdint>
#include <string_view>

#include "ostrel/String.h"

namespace check
{

/// A short name of what was put into it: the same for the same, and hardly ever for something else.
/// No protection against somebody who wants two things to have the same one.
class Digest
{
public:
    void Add(std::uint64_t number)
    {
        for (int byte = 0; byte < 8; ++byte)
            AddByte(std::uint8_t(number >> (8 * byte)));
    }
    void Add(std::string_view text)
    {
        Add(std::uint64_t(text.size()));
        for (const char c : text)
            AddByte(std::uint8_t(c));
    }

    /// 16 hexadecimal digits.
    ostrel::String Text() const
    {
        char digits[16];
        const auto end = std::to_chars(digits, digits + sizeof digits, m_value, 16).ptr;
        const std::string_view text(digits, std::size_t(end - digits));
        return ostrel::String(std::string(sizeof digits - text.size(), '0').append(text));
    }

private:
    // FNV-1a.
    void AddByte(std::uint8_t byte)
    {
        m_value = (m_value ^ byte) * 0x100000001b3u;
    }

    std::uint64_t m_value = 0xcbf29ce484222325u;
};

/// Whether a text is one that `Digest` gives.
inline bool IsDigest(std::string_view text)
{
    return text.size() == 16 &&
           text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

} // namespace check
