#pragma once

#include <concepts>
#include <string>
#include <string_view>
#include <type_traits>

namespace ostrel
{

/// Whole numbers that a String takes as decimal text; characters and truth values are none.
template <typename T>
concept WholeNumber = std::integral<T> && !std::same_as<std::remove_cv_t<T>, bool> &&
                      !std::same_as<std::remove_cv_t<T>, char>;

/// Text in UTF-8.
///
/// A std::string in every respect, which can also be assigned from a whole number: decimal, no
/// grouping, a leading minus sign where negative. It adds no data, so slicing to std::string is
/// harmless.
class String : public std::string
{
public:
    using std::string::string;

    String() = default;
    String(const std::string &text) : std::string(text) {}
    String(std::string &&text) noexcept : std::string(std::move(text)) {}
    /// A null pointer is the empty text.
    String(const char *text) : std::string(text ? text : "") {}
    explicit String(std::string_view text) : std::string(text) {}

    String &operator=(const char *text)
    {
        assign(text ? text : "");
        return *this;
    }
    template <WholeNumber Number> String &operator=(Number value)
    {
        assign(std::to_string(value));
        return *this;
    }
};

} // namespace ostrel

template <> struct std::hash<ostrel::String> : std::hash<std::string>
{
};
