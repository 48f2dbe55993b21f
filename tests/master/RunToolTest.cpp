#include "master/run/RunTool.h"

#include <thread>

#include <gtest/gtest.h>

namespace master
{
namespace
{

using namespace std::chrono_literals;

ToolEnd RunScript(const std::string &script, std::chrono::milliseconds limit = 60s,
                  const std::string &input = {})
{
    return RunTool({{"sh", "-c", script}, {"PATH=/usr/bin:/bin", "WORD=told"}, input}, limit, {});
}

TEST(RunTool, TellsWhatAProgramPrintsAndHowItEnds)
{
    const ToolEnd end = RunScript("cat; echo $WORD; echo wrong >&2; exit 5", 60s, "read, ");
    EXPECT_TRUE(end.isStarted);
    EXPECT_FALSE(end.isCutOff);
    EXPECT_EQ(end.status, 5);
    EXPECT_EQ(end.output, "read, told\n");
    EXPECT_EQ(end.error, "wrong\n");
    EXPECT_EQ(RunScript("kill -9 $$").status, -1);
}

TEST(RunTool, GivesNothingOfItsOwnEnvironment)
{
    ::setenv("SLURM_JOB_ID", "17", 1);
    EXPECT_EQ(RunScript("echo \"<$SLURM_JOB_ID>\"").output, "<>\n");
    ::unsetenv("SLURM_JOB_ID");
}

TEST(RunTool, TakesMoreThanAPipeHolds)
{
    const ToolEnd end = RunScript("head -c 3000000 /dev/zero; head -c 300000 /dev/zero >&2");
    EXPECT_EQ(end.output.size(), 3'000'000u);
    EXPECT_EQ(end.error.size(), 300'000u);
}

TEST(RunTool, CutsOffWhatTakesTooLong)
{
    EXPECT_TRUE(RunScript("sleep 1000", 50ms).isCutOff);
    EXPECT_TRUE(RunScript("exec > /dev/null 2>&1; sleep 1000", 50ms).isCutOff);
}

TEST(RunTool, EndsWhatSaysThatItIsOfNoUse)
{
    Tool tool{{"sh", "-c", "echo 'full, trying again' >&2; sleep 100"}, {"PATH=/usr/bin:/bin"}, {}};
    tool.givesUp = "trying again";
    const ToolEnd end = RunTool(tool, 60s, {});
    EXPECT_TRUE(end.isCutOff);
    EXPECT_EQ(end.error, "full, trying again\n");
}

TEST(RunTool, EndsWhereSomebodyWantsIt)
{
    std::stop_source stop;
    stop.request_stop();
    EXPECT_TRUE(RunTool({{"sleep", "1000"}, {}, {}}, 1000s, stop.get_token()).isCutOff);
}

TEST(RunTool, TellsWhyAProgramCannotBeStarted)
{
    const ToolEnd end = RunTool({{"no-such-program"}, {}, {}}, 60s, {});
    EXPECT_FALSE(end.isStarted);
    EXPECT_NE(end.error.find("no-such-program"), std::string::npos);
}

} // namespace
} // namespace master
