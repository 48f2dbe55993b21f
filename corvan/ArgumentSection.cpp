#include "corvan/ArgumentSection.h"

#include <algorithm>
#include <charconv>
#include <map>

#include "corvan/Placeholders.h"
#include "corvan/Utf8.h"
#include "ostrel/Exception.h"

namespace corvan
{

unsigned ParseArgumentNumber(const String &text)
{
    unsigned number = 0;
    const char *end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stopped == end ? number : 0;
}

std::vector<String> ReadArgumentSection(const IniFile &file, const String &section,
                                        std::initializer_list<const char *> others)
{
    std::map<unsigned, String> numbered;
    for (const String &key : file.Keys(section))
    {
        if (std::ranges::find(others, std::string_view(key)) != others.end())
            continue;
        const unsigned number = ParseArgumentNumber(key);
        if (number == 0)
            throw new ostrel::Exception("key \"" + Excerpt(key) + "\" of section \"" + section +
                                        "\" is no number");
        const String argument = file.FindText(section, key).value_or(String());
        if (const String reason = CheckPlaceholders(argument); !reason.empty())
            throw new ostrel::Exception("section \"" + section + "\": " + reason);
        if (!numbered.emplace(number, argument).second)
            throw new ostrel::Exception("section \"" + section + "\" has two arguments of number " +
                                        key);
    }

    std::vector<String> arguments;
    arguments.reserve(numbered.size());
    for (const auto &[number, argument] : numbered)
        arguments.push_back(argument);
    if (arguments.empty())
        throw new ostrel::Exception("section \"" + section + "\" names no command");
    return arguments;
}

} // namespace corvan
