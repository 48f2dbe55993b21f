#include "web/door/Target.h"

#include <algorithm>
#include <cstdint>

namespace web
{

namespace
{

// What follows a first byte, and the least code that needs so many; 0 for none.
int FollowersOf(unsigned char first, std::uint32_t *least)
{
    if (first >= 0xc2 && first <= 0xdf)
        return *least = 0x80, 1;
    if ((first & 0xf0) == 0xe0)
        return *least = 0x800, 2;
    if (first >= 0xf0 && first <= 0xf4)
        return *least = 0x10000, 3;
    return 0;
}

int HexDigit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    const char lower = char(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

bool Decode(std::string_view text, bool isPlusBlank, std::string *decoded)
{
    decoded->reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i)
    {
        char c = text[i];
        if (c == '+' && isPlusBlank)
            c = ' ';
        if (c == '%')
        {
            if (i + 2 >= text.size())
                return false;
            const int high = HexDigit(text[i + 1]);
            const int low = HexDigit(text[i + 2]);
            if (high < 0 || low < 0)
                return false;
            c = char(16 * high + low);
            i += 2;
        }
        *decoded += c;
    }
    return IsUtf8(*decoded);
}

bool HasControls(std::string_view text)
{
    return std::any_of(text.begin(), text.end(),
                       [](unsigned char c) { return c < 0x20 || c == 0x7f; });
}

bool ParsePath(std::string_view path, std::vector<std::string> *parts)
{
    while (!path.empty())
    {
        const std::size_t next = std::min(path.find('/', 1), path.size());
        std::string part;
        if (!Decode(path.substr(1, next - 1), false, &part) || HasControls(part))
            return false;
        parts->push_back(std::move(part));
        path.remove_prefix(next);
    }
    return true;
}

bool ParseQuery(std::string_view query, std::map<std::string, std::string> *values, String *reason)
{
    while (!query.empty())
    {
        const std::size_t next = std::min(query.find('&'), query.size());
        const std::string_view pair = query.substr(0, next);
        query.remove_prefix(std::min(next + 1, query.size()));
        if (pair.empty())
            continue;
        const std::size_t equals = std::min(pair.find('='), pair.size());
        std::string name;
        std::string value;
        if (!Decode(pair.substr(0, equals), true, &name) ||
            !Decode(pair.substr(std::min(equals + 1, pair.size())), true, &value) ||
            HasControls(name) || value.find('\0') != std::string::npos)
        {
            *reason = "the query of the address is not UTF-8 with its escapes";
            return false;
        }
        if (!values->emplace(name, std::move(value)).second)
        {
            *reason = "\"" + name + "\" is given twice";
            return false;
        }
    }
    return true;
}

} // namespace

bool IsUtf8(std::string_view text)
{
    for (std::size_t i = 0; i < text.size(); ++i)
    {
        const auto first = static_cast<unsigned char>(text[i]);
        if (first < 0x80)
            continue;
        std::uint32_t least = 0;
        const int followers = FollowersOf(first, &least);
        if (followers == 0 || i + std::size_t(followers) >= text.size())
            return false;
        std::uint32_t code = first & (0x3fu >> followers);
        for (int each = 0; each < followers; ++each)
        {
            const auto next = static_cast<unsigned char>(text[++i]);
            if ((next & 0xc0) != 0x80)
                return false;
            code = code << 6 | (next & 0x3fu);
        }
        if (code < least || code > 0x10ffff || (code >= 0xd800 && code <= 0xdfff))
            return false;
    }
    return true;
}

std::optional<Target> ParseTarget(std::string_view text, String *reason)
{
    const std::size_t question = std::min(text.find('?'), text.size());
    Target target;
    target.path = text.substr(0, question);
    if (!text.starts_with('/') || text.find('#') != std::string_view::npos ||
        !ParsePath(target.path, &target.parts))
    {
        *reason = "the address is no path of UTF-8 with its escapes";
        return std::nullopt;
    }
    if (!ParseQuery(text.substr(std::min(question + 1, text.size())), &target.query, reason))
        return std::nullopt;
    return target;
}

} // namespace web
