#include "corvan/Utf8.h"

#include <algorithm>
#include <iterator>
#include <utf8.h>

namespace corvan
{

bool IsUtf8(std::string_view text)
{
    return utf8::is_valid(text.begin(), text.end());
}

String MakeUtf8(std::string_view text)
{
    if (IsUtf8(text))
        return String(text);
    String clean;
    clean.reserve(text.size());
    utf8::replace_invalid(text.begin(), text.end(), std::back_inserter(clean));
    return clean;
}

bool HasControlCharacters(std::string_view text)
{
    return std::ranges::any_of(text,
                               [](char c)
                               {
                                   const auto byte = static_cast<unsigned char>(c);
                                   return byte < 0x20 || byte == 0x7f;
                               });
}

String Excerpt(std::string_view text)
{
    constexpr std::size_t k_most = 80;
    if (text.size() <= k_most)
        return MakeUtf8(text);
    return MakeUtf8(text.substr(0, k_most)) + "...";
}

} // namespace corvan
