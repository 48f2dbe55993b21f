#include "cli/SetParameter.h"

#include "analysis/SettingCheck.h"
#include "cli/Patterns.h"
#include "corvan/Parameters.h"
#include "ostrel/StringTokenizer.h"

namespace cli
{

namespace
{

String StatusValue(const String &value)
{
    const auto status = corvan::ParseStatusName(value);
    return status ? String(std::to_string(int(*status))) : value;
}

// As one `--format` after the other.
String FormatsValue(const String &value)
{
    std::vector<String> patterns;
    ostrel::StringTokenizer tokens(value, ';', false, '"', '\\');
    while (const auto token = tokens.GetNext())
        patterns.push_back(NeedPattern(*token, k_Refused));
    return JoinPatterns(patterns);
}

boost::shared_ptr<Message> MakeWish(const UID &job, const std::vector<Setting> &settings)
{
    // A Master that does not know the message for several still takes one.
    if (settings.size() == 1)
    {
        const auto wish = NewMessage<corvan::JobParameterMsg>();
        wish->job = job;
        wish->name = settings.front().first;
        wish->value = settings.front().second;
        return wish;
    }
    const auto wish = NewMessage<corvan::JobParametersMsg>();
    wish->job = job;
    wish->parameters.assign(settings.begin(), settings.end());
    return wish;
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
    else if (setting.first == corvan::p_ImageFormat)
        setting.second = FormatsValue(setting.second);
    return setting;
}

void SetParameters(Client &client, const Job &job, const std::vector<Setting> &settings)
{
    // Bytes that are no text would be others once they are in a message.
    for (const auto &[name, value] : settings)
        if (const String reason = analysis::CheckSetting(job, name, value); !reason.empty())
            throw new Failure(k_Refused, "refused: " + reason);
    client.Ask<corvan::AcceptedMsg>(MakeWish(job.ID(), settings));
}

} // namespace cli
