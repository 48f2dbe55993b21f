#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "ostrel/String.h"

namespace analysis
{

using ostrel::String;

/// A path with one place for a frame number, such as "/renders/beauty.%04d.exr".
///
/// Patterns come from outside, so they are read here once and never reach the C library. A pattern
/// is text with exactly one integer conversion:
///
///     % flags width .precision length conversion
///
/// flags are any of "-+ #0"; width and precision are decimal and at most 4,096; length is one of
/// hh h l ll j z t, which narrow or widen the number first; conversion is one of d i u o x X.
/// "%%" is a percent sign. A width never cuts a longer number; the sign counts, so -7 under
/// "%04d" is "-007".
class FramePattern
{
public:
    /// Longest path, in bytes.
    static constexpr std::size_t k_MaxBytes = 4096;

    /// Reads a pattern. Nothing, with the reason in `*reason` (may be null), for: no conversion,
    /// more than one, another conversion ("%s", "%n"), a "*" or "$" in it, a percent sign that
    /// begins no conversion, a width or precision over 4,096 or written with more than 9 digits, a
    /// zero byte, and a pattern whose shortest path would be over 4,096 bytes.
    static std::optional<FramePattern> Parse(std::string_view text, String *reason);

    /// The path of one output number: what fmt::sprintf makes of the pattern.
    String Format(int number) const;

    /// The same, appended to `out`; for loops that reuse their text.
    void AppendTo(std::string &out, int number) const;

    /// The same of the number alone, as it stands in the path.
    void AppendNumber(std::string &out, int number) const;

    /// What the path tells of a number, which a length of "h" or "hh" cuts: two numbers have the
    /// same path exactly when they show the same.
    int ShownNumber(int number) const;

    /// No path of this pattern is longer, in bytes. May be above `k_MaxBytes`.
    std::size_t LongestPath() const;

    /// The path before and after the number, "%%" already turned to "%".
    const String &Before() const
    {
        return m_before;
    }
    const String &After() const
    {
        return m_after;
    }

private:
    FramePattern() = default;

    String m_before;
    String m_after;
    String m_conversion;           ///< "%04d", given to fmt where the quick way does not serve.
    bool m_isPlainDecimal = false; ///< Decimal, padded on the left or not at all.
    char m_padding = ' ';
    int m_cutBits = 0; ///< Leading bits of a number that the length leaves out.
    std::size_t m_width = 0;
    std::size_t m_precision = 0;
};

/// Turns the frame marks of other programs into the printf form: "####" and "@@@@" (as many digits
/// as there are marks) and "$F4" (the digit is the count) become "%04d"; one mark alone, and "$F",
/// become "%d".
///
/// A text that is a pattern already comes back as it is. Where several kinds of mark are there,
/// "$F" goes before "#" before "@", since a "@" or "#" may belong to a name; every mark of that
/// kind is turned. Percent signs are left alone. What comes back may still be refused by
/// `FramePattern::Parse`.
String PatternFromHashes(const String &text);

} // namespace analysis
