#include "ostrel/CommandLine.h"

#include <boost/program_options.hpp>
#include <sstream>

#include "ostrel/Exception.h"

namespace ostrel
{

namespace
{

namespace po = boost::program_options;

po::options_description Describe(std::span<const CommandLineOption> options)
{
    po::options_description description;
    for (const CommandLineOption &option : options)
    {
        if (option.value.empty())
            description.add_options()(option.name.c_str(), option.help.c_str());
        else
            description.add_options()(
                option.name.c_str(),
                po::value<std::vector<std::string>>()->value_name(option.value)->composing(),
                option.help.c_str());
    }
    return description;
}

po::parsed_options Parse(std::span<const String> arguments, const po::options_description &known)
{
    // Long names only and never abbreviated: a script must not change its meaning when an option
    // is added, and a frame range such as "-5-3" must pass as a plain argument.
    constexpr int k_style = po::command_line_style::allow_long |
                            po::command_line_style::long_allow_adjacent |
                            po::command_line_style::long_allow_next;

    const std::vector<std::string> texts(arguments.begin(), arguments.end());
    try
    {
        return po::command_line_parser(texts).options(known).style(k_style).run();
    }
    catch (const po::error &error)
    {
        throw new Exception(error.what());
    }
}

String NthOr(const std::vector<String> &values, int index, const String &defaultValue)
{
    if (index < 0 || std::size_t(index) >= values.size())
        return defaultValue;
    return values[std::size_t(index)];
}

} // namespace

CommandLine::CommandLine(std::span<const String> arguments,
                         std::span<const CommandLineOption> options)
{
    const po::options_description known = Describe(options);
    for (const po::option &option : Parse(arguments, known).options)
    {
        const String value = option.value.empty() ? String() : String(option.value.front());
        if (option.position_key >= 0)
            m_plain.push_back(value);
        else
            m_options[option.string_key].push_back(value);
    }
}

String CommandLine::GetArgument(const char *option, int index, const String &defaultValue) const
{
    if (!option)
        return NthOr(m_plain, index, defaultValue);

    const auto found = m_options.find(option);
    if (found == m_options.end())
        return defaultValue;
    return NthOr(found->second, index, defaultValue);
}

bool CommandLine::HasOption(const char *option) const
{
    return m_options.contains(option);
}

int CommandLine::CountPlain() const
{
    return int(m_plain.size());
}

String CommandLine::Help(std::span<const CommandLineOption> options)
{
    std::ostringstream text;
    text << Describe(options);
    return text.str();
}

std::span<const CommandLineOption> CommonOptions()
{
    static const CommandLineOption k_common[] = {
        {"master", "ADDRESS", "connect to the Master at this address"},
        {"options", "FILE", "read and write this options file"},
        {"log-file", "FILE", "write the log to this file"},
        {"log-level", "N", "log up to this level, 0 (nothing) to 6 (every call)"},
        {"help", "", "show this help"},
        {"version", "", "show the version"},
    };
    return k_common;
}

} // namespace ostrel
