#include "cli/RunCorvan.h"

#include <CLI/CLI.hpp>

#include <gtest/gtest.h>

namespace cli
{
namespace
{

using Arguments = std::vector<std::string>;

TEST(RunCorvan, EndsWithTwoForArgumentsThatMakeNoSense)
{
    const Arguments cases[] = {
        {},
        {"dance"},
        {"list", "--dance"},
        {"list", "more"},
        {"list", "--limit", "many"},
        {"show"},
        {"show", "job", "more"},
        {"set", "job"},
        {"submit"},
        {"submit", "Command", "--range"},
        {"submit", "Command", "--range", "--name", "n"},
        {"log", "job", "first"},
        {"watch"},
        {"watch", "a", "b", "c"},
        {"--master", "list"},
        {"list", "--json=perhaps"},
        {"check"},
        {"check", "job", "more"},
        {"check", "job", "--format", "a%d"},
        {"check", "job", "--range", "1"},
        {"check", "--range", "1"},
        {"check", "--format", "a%d"},
        {"check", "--format", "a%d", "--range", ""},
        {"check", "--format", "a%d", "--range", "one"},
        {"check", "--format", "a%s", "--range", "1"},
        {"check", "--format", "a", "--range", "1"},
        {"check", "--format", "a%d", "--range", "1", "--format-index", "0"},
        {"check", "--format", "a%d", "--range", "1", "--paths", "--json"},
        {"check", "--format", "a%d", "--range", "1", "-0"},
    };
    for (const Arguments &arguments : cases)
    {
        testing::internal::CaptureStderr();
        EXPECT_EQ(RunCorvan(arguments), k_WrongUsage) << testing::PrintToString(arguments);
        EXPECT_NE(testing::internal::GetCapturedStderr(), "") << testing::PrintToString(arguments);
    }
}

TEST(RunCorvan, TellsItsVersionAndHelpWithoutAMaster)
{
    for (const Arguments &arguments :
         {Arguments{"--help"}, {"--version"}, {"list", "--help"}, {"list", "--version"}})
    {
        testing::internal::CaptureStdout();
        EXPECT_EQ(RunCorvan(arguments), k_Done) << testing::PrintToString(arguments);
        EXPECT_NE(testing::internal::GetCapturedStdout(), "") << testing::PrintToString(arguments);
    }
}

TEST(RunCorvan, HelpNamesEachVerb)
{
    testing::internal::CaptureStdout();
    RunCorvan({"--help"});
    const std::string help = testing::internal::GetCapturedStdout();
    for (const char *verb :
         {"submit", "list", "show", "set", "wait", "log", "cancel", "watch", "check"})
        EXPECT_NE(help.find("\n  " + std::string(verb) + " "), std::string::npos) << verb;
}

TEST(RunCorvan, TakesANegativeNumberAsAValue)
{
    CLI::App app;
    std::string text;
    bool flag = false;
    app.add_option("--master", text);
    CLI::App *verb = app.add_subcommand("check");
    for (const char *option : {"--range", "--name", "--offset", "-o,--output"})
        verb->add_option(option, text);
    verb->add_flag("--paths", flag);
    verb->add_flag("-0", flag);
    const struct
    {
        Arguments given;
        Arguments joined;
    } cases[] = {
        {{"--range", "-5-3"}, {"--range=-5-3"}},
        {{"--range", "1-5"}, {"--range", "1-5"}},
        {{"--range", "--name"}, {"--range", "--name"}},
        {{"--range", "-"}, {"--range", "-"}},
        {{"--name", "-5"}, {"--name=-5"}},
        {{"--master", "-5"}, {"--master=-5"}},
        {{"--output", "-5"}, {"--output=-5"}},
        {{"--paths", "-0"}, {"--paths", "-0"}},
        {{"--offset", "-5"}, {"--offset=-5"}},
        {{"--", "--range", "-5"}, {"--", "--range", "-5"}},
        {{"--range=-5"}, {"--range=-5"}},
        {{"-5"}, {"-5"}},
    };
    for (const auto &[given, joined] : cases)
        EXPECT_EQ(JoinNegativeValues(app, given), joined);
}

} // namespace
} // namespace cli
