#include "master/run/CommandEnvironment.h"

#include <algorithm>
#include <string_view>
#include <unistd.h>

namespace master
{

namespace
{

constexpr std::string_view k_usual[] = {
    "HOME", "LANG", "LANGUAGE", "LC_*", "LOGNAME", "PATH", "SHELL", "TMPDIR", "TZ", "USER",
};

bool IsMeant(std::string_view pattern, std::string_view name)
{
    if (!pattern.ends_with('*'))
        return pattern == name;
    pattern.remove_suffix(1);
    return name.starts_with(pattern);
}

} // namespace

std::vector<std::string> CommandEnvironment(const std::vector<ostrel::String> &more,
                                            const CommandUser *user)
{
    std::vector<std::string> settings;
    if (user)
        settings = {"HOME=" + user->home, "LOGNAME=" + user->name, "SHELL=" + user->shell,
                    "USER=" + user->name};
    const std::size_t ofUser = settings.size();
    const auto isTold = [&](std::string_view name)
    {
        return std::any_of(settings.begin(), settings.begin() + std::ptrdiff_t(ofUser),
                           [&](const std::string &one)
                           { return one.starts_with(std::string(name) + "="); });
    };
    for (char **one = ::environ; one && *one; ++one)
    {
        const std::string_view setting = *one;
        const std::string_view name = setting.substr(0, setting.find('='));
        const auto isMeant = [&](std::string_view pattern) { return IsMeant(pattern, name); };
        const bool isWanted =
            std::ranges::any_of(k_usual, isMeant) || std::ranges::any_of(more, isMeant);
        if (isWanted && !isTold(name))
            settings.emplace_back(setting);
    }
    return settings;
}

} // namespace master
