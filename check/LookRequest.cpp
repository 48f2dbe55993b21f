#include "check/LookRequest.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

namespace check
{

namespace
{

// The system takes 128 KiB of one argument, and of all of them together 2 MiB as a rule.
constexpr std::size_t k_most_of_one = 100'000;
constexpr std::size_t k_most_of_all = 1'500'000;

constexpr const char *k_name_format = "format";
constexpr const char *k_name_range = "range";
constexpr const char *k_name_custom = "custom";
constexpr const char *k_name_depth = "depth";
constexpr const char *k_name_print = "print";
constexpr const char *k_name_seen = "seen";
constexpr const char *k_name_rule = "rule";

constexpr std::array<std::string_view, 4> k_depths = {"prints", "sizes", "images", "pictures"};

struct InputText
{
    const char *name;
    String analysis::ExpansionInput::*text;
};
constexpr InputText k_texts[] = {
    {"sequence-by", &analysis::ExpansionInput::sequenceBy},
    {"renumber-start", &analysis::ExpansionInput::renumberStart},
    {"renumber-by", &analysis::ExpansionInput::renumberBy},
    {"packet-size", &analysis::ExpansionInput::packetSize},
};

bool ReadOne(const std::string &name, const std::string &value, LookRequest &request)
{
    if (name == k_name_format)
        request.formats.emplace_back(value);
    else if (name == k_name_range)
        request.input.userRange += value;
    else if (name == k_name_custom)
        request.input.hasCustomRange = true;
    else if (name == k_name_print)
        request.print = value;
    else if (name == k_name_seen)
        request.wereSeen = true;
    else if (name == k_name_depth)
    {
        const auto depth = std::ranges::find(k_depths, std::string_view(value));
        if (depth == k_depths.end())
            return false;
        request.depth = LookRequest::Depth(depth - k_depths.begin());
    }
    else if (name == k_name_rule)
    {
        const auto rule = corvan::FindSizeRule(value);
        if (!rule)
            return false;
        request.sizeRule = *rule;
    }
    else
    {
        const auto text = std::ranges::find(k_texts, std::string_view(name), &InputText::name);
        if (text == std::end(k_texts))
            return false;
        request.input.*text->text = value;
    }
    return true;
}

} // namespace

std::optional<std::vector<std::string>> ArgumentsOf(const LookRequest &request)
{
    std::vector<std::string> arguments;
    const auto add = [&](const char *name, std::string value)
    {
        arguments.emplace_back(name);
        arguments.push_back(std::move(value));
    };
    add(k_name_depth, std::string(k_depths[std::size_t(request.depth)]));
    add(k_name_rule, std::string(corvan::SizeRuleName(request.sizeRule)));
    for (const String &format : request.formats)
        add(k_name_format, format);
    const std::string &range = request.input.userRange;
    for (std::size_t at = 0; at < range.size(); at += k_most_of_one)
        add(k_name_range, range.substr(at, k_most_of_one));
    if (request.input.hasCustomRange)
        add(k_name_custom, "yes");
    for (const InputText &text : k_texts)
        if (const String &value = request.input.*text.text; !value.empty())
            add(text.name, value);
    if (!request.print.empty())
        add(k_name_print, request.print);
    if (request.wereSeen)
        add(k_name_seen, "yes");

    std::size_t bytes = 0;
    for (const std::string &argument : arguments)
    {
        if (argument.size() > k_most_of_one)
            return std::nullopt;
        bytes += argument.size() + 1 + sizeof(char *);
    }
    if (bytes > k_most_of_all)
        return std::nullopt;
    return arguments;
}

std::optional<LookRequest> ReadArguments(const std::vector<std::string> &arguments)
{
    LookRequest request;
    if (arguments.size() % 2 != 0)
        return std::nullopt;
    for (std::size_t i = 0; i < arguments.size(); i += 2)
        if (!ReadOne(arguments[i], arguments[i + 1], request))
            return std::nullopt;
    return request;
}

} // namespace check
