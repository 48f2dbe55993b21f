#include "ostrel/CommandLine.h"

#include <gtest/gtest.h>

#include "tests/support/Printing.h"
#include "tests/support/Thrown.h"

using ostrel::CommandLine;
using ostrel::CommandLineOption;
using ostrel::String;

namespace
{

CommandLine ReadLine(const std::vector<String> &arguments)
{
    static const CommandLineOption k_options[] = {
        {"name", "TEXT", "a name"},
        {"set", "NAME=VALUE", "set a parameter"},
        {"quiet", "", "say nothing"},
    };
    return {arguments, k_options};
}

} // namespace

TEST(CommandLine, TellsPlainArgumentsFromOptionsInAnyOrder)
{
    const struct
    {
        std::vector<String> arguments;
        std::vector<String> plain;
        String name;
        bool isQuiet;
    } cases[] = {
        {{}, {}, "-", false},
        {{"job"}, {"job"}, "-", false},
        {{"--name", "n", "job"}, {"job"}, "n", false},
        {{"job", "--name=n"}, {"job"}, "n", false},
        {{"a", "--quiet", "b"}, {"a", "b"}, "-", true},
        {{"--name=a=b"}, {}, "a=b", false},
        {{"--name", "with blank"}, {}, "with blank", false},
        {{"--name", ""}, {}, "", false},
        {{"--name", "--quiet"}, {}, "--quiet", false},
        {{"--name", "-5-3"}, {}, "-5-3", false},
        {{"-5-3"}, {"-5-3"}, "-", false},
        {{"-5"}, {"-5"}, "-", false},
        {{"-q"}, {"-q"}, "-", false},
        {{"-"}, {"-"}, "-", false},
        {{""}, {""}, "-", false},
        {{"--", "--quiet", "--name=n"}, {"--quiet", "--name=n"}, "-", false},
        {{"--quiet", "--", "-1"}, {"-1"}, "-", true},
    };

    for (const auto &[arguments, plain, name, isQuiet] : cases)
    {
        const CommandLine line = ReadLine(arguments);
        std::string text = "arguments:";
        for (const String &argument : arguments)
            text += " '" + argument + "'";

        ASSERT_EQ(line.CountPlain(), int(plain.size())) << text;
        for (int i = 0; i < line.CountPlain(); ++i)
            EXPECT_EQ(line.GetArgument(nullptr, i, "none"), plain[std::size_t(i)]) << text;
        EXPECT_EQ(line.GetArgument("name", 0, "-"), name) << text;
        EXPECT_EQ(line.HasOption("quiet"), isQuiet) << text;
    }
}

TEST(CommandLine, RefusesWhatItDoesNotKnowAndNamesIt)
{
    const struct
    {
        std::vector<String> arguments;
        const char *named;
    } cases[] = {
        {{"--nonsense"}, "--nonsense"}, {{"--nonsense=1"}, "--nonsense"},
        {{"--nam", "n"}, "--nam"},      {{"--name"}, "--name"},
        {{"--name="}, "--name"},        {{"--quiet=yes"}, "--quiet"},
        {{"--NAME", "n"}, "--NAME"},
    };

    for (const auto &[arguments, named] : cases)
    {
        const std::string text = Thrown([&given = arguments] { ReadLine(given); });
        EXPECT_NE(text.find(named), std::string::npos) << arguments.front() << ": " << text;
    }
}

TEST(CommandLine, GivesRepeatedOptionsByTheirIndex)
{
    const CommandLine line = ReadLine({"--set", "a=1", "--quiet", "--set=b=2"});
    EXPECT_EQ(line.GetArgument("set", 0, ""), "a=1");
    EXPECT_EQ(line.GetArgument("set", 1, ""), "b=2");
    EXPECT_EQ(line.GetArgument("set", 2, "none"), "none");
    EXPECT_EQ(line.GetArgument("set", -1, "none"), "none");
    EXPECT_EQ(line.GetArgument("quiet", 0, "none"), "");
    EXPECT_EQ(line.GetArgument(nullptr, 0, "none"), "none");
}

TEST(CommandLine, WithoutArgumentsHasNone)
{
    const CommandLine line;
    EXPECT_EQ(line.CountPlain(), 0);
    EXPECT_EQ(line.GetArgument(nullptr, 0, ""), "");
    EXPECT_FALSE(line.HasOption("help"));
}

TEST(CommandLine, HelpHasALineForEachCommonOption)
{
    const String help = CommandLine::Help(ostrel::CommonOptions());
    for (const char *name : {"--master ADDRESS ", "--options FILE ", "--log-file FILE ",
                             "--log-level N ", "--help ", "--version "})
        EXPECT_NE(help.find(name), String::npos) << name << "\n" << help;
    EXPECT_EQ(std::count(help.begin(), help.end(), '\n'), 6) << help;
}
