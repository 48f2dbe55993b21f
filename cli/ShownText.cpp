#include "cli/ShownText.h"

#include <cstdint>
#include <fmt/format.h>
#include <unistd.h>
#include <utf8.h>

namespace cli
{

namespace
{

// A terminal acts on those above 0x7f, too.
bool IsControl(std::uint32_t character)
{
    return character < 0x20 || (character >= 0x7f && character < 0xa0);
}

bool IsKept(std::uint32_t character, Lines lines)
{
    return lines == Lines::Many && (character == '\n' || character == '\t');
}

void AppendBytes(String &shown, std::string_view bytes)
{
    for (const char byte : bytes)
        shown += fmt::format("\\x{:02x}", static_cast<unsigned char>(byte));
}

// What is UTF-8.
void AppendText(String &shown, const char *at, const char *end, Lines lines)
{
    while (at != end)
    {
        const char *const begin = at;
        const std::uint32_t character = utf8::unchecked::next(at);
        const std::string_view bytes(begin, std::size_t(at - begin));
        if (IsControl(character) && !IsKept(character, lines))
            AppendBytes(shown, bytes);
        else
            shown.append(bytes);
    }
}

} // namespace

String ShownText(std::string_view text, Lines lines)
{
    String shown;
    shown.reserve(text.size());
    const char *const end = text.data() + text.size();
    for (const char *at = text.data(); at != end;)
    {
        const char *const invalid = utf8::find_invalid(at, end);
        AppendText(shown, at, invalid, lines);
        at = invalid;
        if (at != end)
            AppendBytes(shown, {at++, 1});
    }
    return shown;
}

String ShownOn(std::FILE *stream, std::string_view text, Lines lines)
{
    return isatty(fileno(stream)) == 1 ? ShownText(text, lines) : String(text);
}

} // namespace cli
