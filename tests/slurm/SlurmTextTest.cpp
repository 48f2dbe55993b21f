#include "master/slurm/SlurmText.h"

#include <gtest/gtest.h>

namespace master
{
namespace
{

using Ranges = std::vector<ElementRange>;

TEST(SlurmText, WritesElementsAsShortAsTheyCanBe)
{
    const struct
    {
        std::vector<unsigned> elements;
        const char *text;
    } cases[] = {
        {{0}, "0"},
        {{0, 1, 2, 3, 7}, "0-3,7"},
        {{5, 6, 8, 10, 11}, "5-6,8,10-11"},
        {{}, ""},
    };
    for (const auto &[elements, text] : cases)
        EXPECT_EQ(WriteElements(elements), text);
}

TEST(SlurmText, ReadsElementsAndNothingElse)
{
    const struct
    {
        const char *text;
        std::optional<Ranges> ranges;
    } cases[] = {
        {"5", Ranges{{5, 5}}},
        {"0-3,7", Ranges{{0, 3}, {7, 7}}},
        {"[13,15-17]", Ranges{{13, 13}, {15, 17}}},
        {"0-99%4", Ranges{{0, 99}}},
        {"0-6:3", Ranges{{0, 0}, {3, 3}, {6, 6}}},
        {"N/A", std::nullopt},
        {"", std::nullopt},
        {"1-5,...", std::nullopt},
        {"7-3", std::nullopt},
        {"1-5:0", std::nullopt},
        {"-1", std::nullopt},
        {"1 2", std::nullopt},
        {"99999999999", std::nullopt},
    };
    for (const auto &[text, ranges] : cases)
        EXPECT_EQ(ReadElements(text), ranges) << text;
}

TEST(SlurmText, ReadsTheQueue)
{
    const std::vector<QueueLine> lines =
        ReadQueueLines("1|11-14|PENDING|0||Resources|corvan-a|\n"
                       "1|5|FAILED|23296|node1|NonZeroExitCode|corvan-a|\n"
                       "1|6|FAILED|9|node2|None|corvan-a|\n"
                       "1|N/A|CANCELLED|0||None|corvan-a|\n"
                       "nonsense\n"
                       "2|7|RUNNING|0|node3|ReqNodeNotAvail, May be reserved|b|\n"
                       "3|8|RUNN");
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines[0].elements, (Ranges{{11, 14}}));
    EXPECT_EQ(lines[0].reason, "Resources");
    EXPECT_EQ(lines[0].node, "");
    EXPECT_EQ(lines[1].exitStatus, 91);
    EXPECT_EQ(lines[1].node, "node1");
    EXPECT_EQ(lines[2].exitStatus, -1);
    EXPECT_EQ(lines[3].array, 2u);
    EXPECT_EQ(lines[3].name, "b");
    EXPECT_EQ(lines[3].reason, "ReqNodeNotAvail, May be reserved");
}

TEST(SlurmText, ReadsHowLongAnElementRuns)
{
    const std::vector<QueueLine> lines =
        ReadQueueLines("1|5|RUNNING|0|node1|None|corvan-a|1-02:03:04|\n"
                       "1|6|PENDING|0||Priority|corvan-a|0:00|\n"
                       "1|7|RUNNING|0|node1|None|corvan-a|INVALID|\n");
    ASSERT_EQ(lines.size(), 3u);
    using std::chrono::seconds;
    EXPECT_EQ(lines[0].ran, seconds(93'784));
    EXPECT_EQ(lines[1].ran, seconds(0));
    EXPECT_EQ(lines[2].ran, std::nullopt);
    EXPECT_EQ(ReadSpan("3:04"), seconds(184));
    EXPECT_EQ(ReadSpan("2:03:04"), seconds(7384));
    for (const char *const text : {"", "5", "1:2:3:4", ":", "1-", "-1:00", "x:00", "1:0x"})
        EXPECT_EQ(ReadSpan(text), std::nullopt) << text;
}

TEST(SlurmText, ReadsWhatStateTheMachinesAreIn)
{
    const std::map<String, String> expected = {{"node1", "idle"},
                                               {"node2", "drained (bad | memory)"}};
    EXPECT_EQ(ReadNodeLines("node1|idle|none\nnode2|drained|bad | memory\nnode1|idle|none\n"
                            "|idle|none\nnode3\n\n"),
              expected);
}

TEST(SlurmText, ReadsTheLimits)
{
    const ClusterLimits limits = ReadConfig("Configuration data as of 2026-11-20T10:00:00\n"
                                            "ClusterName             = farm\n"
                                            "MaxArraySize            = 10001\n"
                                            "MaxJobCount             = 100000\n"
                                            "SLURM_VERSION           = 22.05.8\n");
    EXPECT_EQ(limits.name, "farm");
    EXPECT_EQ(limits.arraySize, 10001u);
    EXPECT_EQ(limits.jobs, 100000u);
    EXPECT_EQ(limits.version, "22.05.8");
    EXPECT_EQ(ReadConfig("").arraySize, 1001u);
    // Of the two limits of an array the lower one counts.
    const std::string parameters = "SchedulerParameters = bf_interval=1,max_array_tasks=50\n";
    EXPECT_EQ(ReadConfig(parameters).arraySize, 50u);
    EXPECT_EQ(ReadConfig(parameters + "MaxArraySize = 8\n").arraySize, 8u);
    EXPECT_EQ(ReadConfig("SchedulerParameters = max_array_tasks=x\n").arraySize, 1001u);
}

// As Slurm 22.05 prints it, but for what else it tells.
TEST(SlurmText, ReadsHowManyJobsAUserMaySubmit)
{
    const std::string head = "Current Association Manager state\n\nAssociation Records\n\n";
    const std::string root =
        "ClusterName=c Account=root UserName= Partition= ParentAccount= DefAssoc=No "
        "GrpSubmitJobs=N(5) MaxJobs= MaxSubmitJobs= MaxWallPJ=\n";
    const auto account = [](const char *name, const char *parent, const char *group)
    {
        return std::string("ClusterName=c Account=") + name + " UserName= ParentAccount=" + parent +
               "(1) Lft=2 DefAssoc=No GrpSubmitJobs=" + group + " MaxSubmitJobs= MaxWallPJ=\n";
    };
    const auto user = [](const char *name, const char *isUsual, const char *most)
    {
        return std::string("ClusterName=c Account=") + name +
               " UserName=anna(7) ParentAccount= " + "DefAssoc=" + isUsual +
               " GrpSubmitJobs=N(0) MaxSubmitJobs=" + most + " MaxWallPJ=\n";
    };
    const struct
    {
        std::string text;
        unsigned most;
    } cases[] = {
        {"No associations currently cached in Slurm.\n", 0},
        {head + root + account("show", "root", "N(0)") + user("show", "Yes", ""), 0},
        {head + root + account("show", "root", "N(0)") + user("show", "Yes", "500(3)"), 500},
        {head + root + account("show", "root", "900(3)") + user("show", "Yes", ""), 900},
        {head + root + account("film", "root", "70(0)") + account("show", "film", "N(0)") +
             user("show", "Yes", "500(3)"),
         70},
        // What an account allows that only some jobs name is told by Slurm when they come.
        {head + root + account("show", "root", "N(0)") + account("test", "root", "3(0)") +
             user("test", "No", "6(0)") + user("show", "Yes", ""),
         0},
        // Slurm tells that when a job comes.
        {head + root + user("root", "Yes", "0(0)"), 0},
    };
    for (const auto &[text, most] : cases)
        EXPECT_EQ(ReadSubmitLimit(text), most) << text;
}

TEST(SlurmText, ReadsTheNumberOfAnArray)
{
    EXPECT_EQ(ReadArrayNumber("1234\n"), 1234u);
    EXPECT_EQ(ReadArrayNumber("1234;cluster\n"), 1234u);
    EXPECT_EQ(ReadArrayNumber("Submitted batch job 5\n"), 0u);
    EXPECT_EQ(ReadArrayNumber(""), 0u);
}

// As Slurm 22.05 prints it.
const char *const k_policy =
    "Job violates accounting/QOS policy (job submit limit, user's size and/or "
    "time limits)";

TEST(SlurmText, TakesAllWordsOfTroubleWithoutTheCommandsName)
{
    const std::string policy = std::string("; ") + k_policy;
    const struct
    {
        std::vector<std::string> lines;
        std::string words;
    } cases[] = {
        {{"sbatch: error: Batch job submission failed: Requested time limit is invalid (missing or "
          "exceeds some limit)"},
         "Requested time limit is invalid (missing or exceeds some limit)"},
        {{"sbatch: error: Batch job submission failed: Invalid account or account/partition "
          "combination specified"},
         "Invalid account or account/partition combination specified"},
        {{"sbatch: error: Script arguments not permitted with --wrap option"},
         "Script arguments not permitted with --wrap option"},
        {{"sbatch: error: invalid partition specified: nix",
          "sbatch: error: Batch job submission failed: Invalid partition name specified"},
         "invalid partition specified: nix; Invalid partition name specified"},
        {{"sbatch: error: CPU count per node can not be satisfied",
          "sbatch: error: Batch job submission failed: Requested node configuration is not "
          "available"},
         "CPU count per node can not be satisfied; Requested node configuration is not available"},
        {{"sbatch: error: QOSMaxSubmitJobPerUserLimit",
          std::string("sbatch: error: Batch job submission failed: ") + k_policy},
         "QOSMaxSubmitJobPerUserLimit" + policy},
        {{"squeue: error: If munged is up, restart with --num-threads=10",
          "squeue: error: Munge encode failed: Failed to access \"/run/munge\" (Did you start "
          "munged?)",
          "slurm_load_jobs error: Protocol authentication error"},
         "If munged is up, restart with --num-threads=10; Munge encode failed: Failed to access "
         "\"/run/munge\" (Did you start munged?); Protocol authentication error"},
        {{"scontrol: error: Parse error in file /etc/slurm.conf line 1: \"x\"",
          "scontrol: fatal: Unable to process configuration file"},
         "Parse error in file /etc/slurm.conf line 1: \"x\"; Unable to process configuration file"},
        {{"slurm_load_jobs error: Unable to contact slurm controller (connect failure)"},
         "Unable to contact slurm controller (connect failure)"},
        {{"sbatch: error: twice", "sbatch: error: twice"}, "twice"},
        {{"something else", "and more"}, "something else"},
        {{}, ""},
    };
    EXPECT_EQ(WordsOf("sbatch: error: " + std::string(9999, 'x')), std::string(500, 'x') + "...");
    for (const auto &[lines, words] : cases)
    {
        std::string text;
        for (const std::string &line : lines)
            text += line + "\n";
        EXPECT_EQ(WordsOf(text), words);
    }
}

TEST(SlurmText, KnowsTooManyJobsFromOneThatIsTooLarge)
{
    const std::string policy = std::string("; ") + k_policy;
    for (const char *const name : {"QOSMaxSubmitJobPerUserLimit", "AssocMaxSubmitJobLimit",
                                   "AssocGrpSubmitJobsLimit", "QOSGrpSubmitJobsLimit"})
        EXPECT_TRUE(IsSubmitLimit(name + policy)) << name;
    EXPECT_TRUE(IsSubmitLimit(k_policy)) << "it may be";
    for (const char *const name : {"QOSMaxCpuPerJobLimit", "QOSMaxWallDurationPerJobLimit"})
        EXPECT_FALSE(IsSubmitLimit(name + policy)) << name;
    EXPECT_FALSE(IsSubmitLimit("Invalid account or account/partition combination specified"));
    EXPECT_FALSE(IsSubmitLimit(""));
}

TEST(SlurmText, KnowsWhatLeavesOpenWhetherAnArrayWasTaken)
{
    for (const char *const words :
         {"Unable to contact slurm controller (connect failure)",
          "Socket timed out on send/recv operation", "sbatch timed out",
          "Zero Bytes were transmitted or received", "Unspecified error", ""})
        EXPECT_TRUE(MayHaveTaken(words)) << words;
    for (const char *const words :
         {"Invalid partition name specified",
          "Invalid account or account/partition combination specified",
          "Job violates accounting/QOS policy (job submit limit, user's size and/or time limits)"})
        EXPECT_FALSE(MayHaveTaken(words)) << words;
}

} // namespace
} // namespace master
