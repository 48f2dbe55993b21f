#include "wxcorvan/StartProgram.h"

#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/support/LogCapture.h"
#include "tests/support/TempFolder.h"
#include "tests/support/Thrown.h"
#include "tests/support/WindowTest.h"

using namespace wxcorvan;
using ostrel::Path;
using ostrel::String;

namespace
{

/// A program that writes its arguments, one a line, and its input, and then renames the file.
Path MakeWriter(const TempFolder &folder)
{
    const Path program = folder.MakeFile("writer", "#!/bin/sh\n"
                                                   "out=$1; shift\n"
                                                   "printf '%s\\n' \"$@\" >\"$out.new\"\n"
                                                   "cat >>\"$out.new\"\n"
                                                   "ls /proc/self/fd | wc -l >>\"$out.new\"\n"
                                                   "mv \"$out.new\" \"$out\"\n");
    EXPECT_EQ(chmod(program.Text().c_str(), 0700), 0);
    return program;
}

bool IsThere(const Path &path)
{
    return access(path.Text().c_str(), F_OK) == 0;
}

} // namespace

TEST(StartProgram, PassesEveryArgumentAsItIs)
{
    const TempFolder folder;
    const Path out = folder / "out";
    const std::vector<String> odd = {"a b",        "; rm -rf /",  "$(id)", "`id`",
                                     "\"quoted\"", "it's",        "-rf",   "*",
                                     "",           "Stra\u00dfe", "{Note}"};
    std::vector<String> arguments = {MakeWriter(folder).Text(), out.Text()};
    arguments.insert(arguments.end(), odd.begin(), odd.end());
    StartProgram(arguments);
    ASSERT_TRUE(PumpUntil([&] { return IsThere(out); }));

    std::string expected;
    for (const String &argument : odd)
        expected += argument + '\n';
    // No input, and of open descriptors only its own three and the one that it lists them by.
    EXPECT_EQ(ContentOf(out), expected + "4\n");
}

TEST(StartProgram, NamesAProgramThatCannotBeStarted)
{
    const TempFolder folder;
    const Path plain = folder.MakeFile("plain", "no program");
    const struct
    {
        std::vector<String> arguments;
        const char *text;
    } cases[] = {
        {{"/no/such/program", "x"}, "/no/such/program: No such file or directory"},
        {{"no-such-program-on-the-path"}, "no-such-program-on-the-path: No such file"},
        {{plain.Text()}, "Permission denied"},
        {{folder.Folder().Text()}, "Permission denied"},
        {{""}, "names no program"},
        {{}, "names no program"},
    };

    for (const auto &[arguments, text] : cases)
    {
        const std::string error = ThrownByProcess([&given = arguments] { StartProgram(given); });
        EXPECT_NE(error.find(text), std::string::npos) << error;
    }
}

TEST(StartProgram, ReportsAProgramThatFails)
{
    LogCapture log;
    StartProgram({"false"});
    EXPECT_TRUE(PumpUntil([&] { return log.Count(ostrel::k_LogWarning, "failed") == 1; }));
    StartProgram({"true"});
    PumpIdle();
    EXPECT_EQ(log.Count(ostrel::k_LogWarning, "failed"), 1);
}
