#include "master/program/NoticeOptions.h"

#include <algorithm>
#include <sstream>

#include "corvan/ArgumentSection.h"
#include "corvan/Utf8.h"
#include "master/program/MasterOptions.h"
#include "ostrel/Attempt.h"

namespace master
{

namespace
{

const char *const k_notices = "Notices";
const char *const k_events = "Events";
const char *const k_limit = "LimitSeconds";

[[noreturn]] void RefuseNotices(const String &why)
{
    throw new UsageException(String("section \"") + k_notices + "\" of the options: " + why);
}

std::set<NoticeEvent> ReadEvents(const ostrel::IniFile &options)
{
    std::set<NoticeEvent> events;
    const std::optional<String> text = options.FindText(k_notices, k_events);
    if (!text)
        return {NoticeEvents().begin(), NoticeEvents().end()};
    std::istringstream words(*text);
    for (std::string word; words >> word;)
    {
        const auto known = std::ranges::find_if(NoticeEvents(), [&](NoticeEvent one)
                                                { return word == NoticeEventName(one); });
        if (known == NoticeEvents().end())
            RefuseNotices("Events: \"" + corvan::Excerpt(word) +
                          "\" is none of done, failed, paused, bad, stuck");
        events.insert(*known);
    }
    return events;
}

} // namespace

NoticeSettings ReadNotices(const ostrel::IniFile &options)
{
    NoticeSettings settings;
    if (!options.HasSection(k_notices))
        return settings;
    if (const auto reason = ostrel::Attempt(
            [&] {
                settings.command =
                    corvan::ReadArgumentSection(options, k_notices, {k_events, k_limit});
            }))
        throw new UsageException("the options: " + *reason);
    // As it is told of a job of which nothing is known.
    String reason;
    if (!corvan::ExpandArguments(settings.command, NoticePlaceholders("{}"), &reason))
        RefuseNotices(reason);
    settings.events = ReadEvents(options);
    const auto usual = std::chrono::duration_cast<std::chrono::seconds>(settings.limit).count();
    const int limit = options.GetValue(k_notices, k_limit, int(usual));
    if (limit < 1 || limit > 3600)
        RefuseNotices("LimitSeconds = " + std::to_string(limit) +
                      ": it has to be a number from 1 to 3600");
    settings.limit = std::chrono::seconds(limit);
    return settings;
}

} // namespace master
