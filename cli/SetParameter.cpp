#include "cli/SetParameter.h"

#include <boost/algorithm/string/predicate.hpp>

#include "corvan/Parameters.h"

namespace cli
{

namespace
{

String StatusValue(const String &value)
{
    for (int number = 0;; ++number)
    {
        const auto status = corvan::ParseStatus(std::to_string(number));
        if (!status)
            return value;
        if (boost::algorithm::iequals(value, corvan::StatusName(*status)))
            return std::to_string(number);
    }
}

} // namespace

std::optional<Setting> ParseSetting(const String &text)
{
    const std::size_t equals = text.find('=');
    if (equals == String::npos || equals == 0)
        return std::nullopt;

    Setting setting(text.substr(0, equals), text.substr(equals + 1));
    if (setting.first == corvan::p_Status)
        setting.second = StatusValue(setting.second);
    return setting;
}

void SetParameter(Client &client, const UID &job, const Setting &setting)
{
    const auto wish = NewMessage<corvan::JobParameterMsg>();
    wish->job = job;
    wish->name = setting.first;
    wish->value = setting.second;
    client.Ask<corvan::AcceptedMsg>(wish);
}

} // namespace cli
