#include "corvan/QueueWishes.h"

#include <algorithm>
#include <charconv>
#include <string_view>

#include "corvan/Digit.h"
#include "corvan/Job.h"
#include "corvan/Utf8.h"

namespace corvan
{

namespace
{

constexpr std::size_t k_most_wish_bytes = 256;

bool IsOf(const String &text, std::string_view others)
{
    const auto isMeant = [&](char c)
    {
        return IsDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
               others.find(c) != std::string_view::npos;
    };
    return text.size() <= k_most_wish_bytes && text.front() != '-' && std::ranges::all_of(text, isMeant);
}

bool IsNames(const String &text)
{
    return IsOf(text, "_-.,");
}

bool IsName(const String &text)
{
    return IsOf(text, "_-.");
}

bool IsConstraint(const String &text)
{
    return IsOf(text, "_-.&|*,:()[]!");
}

// "30", "12:30", "1:00:00", "2-12", "2-12:00", "2-12:00:00".
bool IsTime(const String &text)
{
    const std::size_t dash = text.find('-');
    std::size_t colons = 0;
    std::size_t digits = 0;
    for (std::size_t i = 0; i < text.size(); ++i)
    {
        if (IsDigit(text[i]))
        {
            if (++digits > 6)
                return false;
            continue;
        }
        const bool isColon = text[i] == ':';
        if (digits == 0 || (!isColon && (i != dash || colons > 0)))
            return false;
        colons += isColon ? 1 : 0;
        digits = 0;
    }
    return digits > 0 && colons <= 2;
}

// "4000", "16G".
bool IsMemory(const String &text)
{
    const std::size_t digits = text.find_first_not_of("0123456789") == String::npos
                                   ? text.size()
                                   : text.find_first_not_of("0123456789");
    return digits > 0 && digits <= 12 && text.size() <= digits + 1 &&
           (digits == text.size() ||
            std::string_view("KMGT").find(text.back()) != std::string_view::npos);
}

bool IsCount(const String &text)
{
    unsigned number = 0;
    const char *const end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stopped == end && number >= 1 && number <= 65'535;
}

constexpr QueueWishName k_wishes[] = {
    {"Partition", "the name of a partition, or several with commas", IsNames},
    {"Account", "the name of an account", IsName},
    {"Qos", "the name of a quality of service", IsName},
    {"Time", "a time, as 30 (minutes), 12:30:00 or 2-12:00:00", IsTime},
    {"Memory", "an amount of memory, as 4000 (MiB) or 16G", IsMemory},
    {"Processors", "a whole number from 1 to 65535", IsCount},
    {"Constraint", "a feature of machines, or several with & and |", IsConstraint},
};

} // namespace

std::span<const QueueWishName> QueueWishNames()
{
    return k_wishes;
}

const QueueWishName *FindQueueWish(const String &name)
{
    const auto found = std::ranges::find(k_wishes, std::string_view(name), &QueueWishName::name);
    return found == std::end(k_wishes) ? nullptr : found;
}

String CheckQueueWish(const QueueWishName &wish, const String &text)
{
    if (text.empty() || wish.isValue(text))
        return {};
    return String(wish.name) + ": \"" + Excerpt(text) + "\" is not " + wish.what;
}

std::vector<std::pair<String, String>> QueueWishesOf(const Job &job)
{
    std::vector<std::pair<String, String>> wishes;
    for (const QueueWishName &wish : k_wishes)
    {
        const String value = job.ParameterText(wish.name, true);
        // What an earlier version let pass is no wish.
        if (!value.empty() && wish.isValue(value))
            wishes.emplace_back(wish.name, value);
    }
    return wishes;
}

} // namespace corvan
