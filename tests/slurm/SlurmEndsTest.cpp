#include "master/slurm/SlurmEnds.h"

#include <gtest/gtest.h>

namespace master
{
namespace
{

const ElementNeeds k_needs{"/share/arrays", "/opt/corvan-task"};

TEST(SlurmEnds, ReadsWhatCorvanTaskHasReported)
{
    const struct
    {
        const char *report;
        bool isStarted;
        int exitCode;
        const char *reason;
        bool leadsOut;
    } cases[] = {
        {"X0 ", true, 0, "", false},
        {"X7 ", true, 7, "", false},
        {"X-1 it took longer than 5 seconds", true, -1, "it took longer than 5 seconds", false},
        {"Nno such program", false, 0, "on node1: no such program", false},
        {"Oleads out", false, 0, "on node1: leads out", true},
        {"", false, 0, "on node1: corvan-task was killed; nobody knows how the command ended",
         false},
        {"Xnonsense", false, 0,
         "on node1: corvan-task was killed; nobody knows how the command ended", false},
        {"?", false, 0, "on node1: corvan-task was killed; nobody knows how the command ended",
         false},
    };
    for (const auto &[report, isStarted, exitCode, reason, leadsOut] : cases)
    {
        const RunEnd end = EndOfResult({3, "node1", report, false});
        EXPECT_EQ(end.isStarted, isStarted) << report;
        EXPECT_EQ(end.exitCode, exitCode) << report;
        EXPECT_EQ(end.reason, reason) << report;
        EXPECT_EQ(end.leadsOut, leadsOut) << report;
        EXPECT_EQ(end.place.node, "node1") << report;
    }
}

TEST(SlurmEnds, TellsFromItsStateWhoseFaultItIsThatAnElementHasLeftNothing)
{
    enum class Fault
    {
        Commands,
        Nobodys,
        Farms,
    };
    const struct
    {
        const char *state;
        int status;
        Fault fault;
        const char *words;
    } cases[] = {
        {"TIMEOUT", 0, Fault::Commands, "longer than its time"},
        {"OUT_OF_MEMORY", 0, Fault::Commands, "more memory"},
        {"NODE_FAIL", 0, Fault::Nobodys, "on node1: Slurm says NODE_FAIL"},
        {"PREEMPTED", 0, Fault::Nobodys, "PREEMPTED"},
        {"CANCELLED", 0, Fault::Farms, "somebody has cancelled it in Slurm"},
        {"FAILED", 91, Fault::Farms, "/share/arrays is not there"},
        {"FAILED", 127, Fault::Farms, "cannot run /opt/corvan-task"},
        {"FAILED", 3, Fault::Farms, "exit status 3"},
        {"COMPLETED", 0, Fault::Farms, "corvan-task has left no result"},
    };
    for (const auto &[state, status, fault, words] : cases)
    {
        QueueLine line;
        line.state = state;
        line.exitStatus = status;
        line.node = "node1";
        const RunEnd end = EndOfLine(&line, k_needs);
        EXPECT_EQ(end.isLost, fault == Fault::Nobodys) << state;
        EXPECT_EQ(end.machineFailed, std::string(state) == "NODE_FAIL") << state;
        EXPECT_EQ(end.isStarted, fault != Fault::Farms) << state;
        EXPECT_FALSE(end.IsSuccess()) << state;
        EXPECT_NE(end.reason.find(words), String::npos) << state << ": " << end.reason;
    }
    EXPECT_TRUE(EndOfLine(nullptr, k_needs).isLost);
}

TEST(SlurmEnds, TakesAStateThatItDoesNotKnowForARun)
{
    EXPECT_EQ(PhaseOf("PENDING"), ElementPhase::Waiting);
    EXPECT_EQ(PhaseOf("RUNNING"), ElementPhase::Running);
    EXPECT_EQ(PhaseOf("COMPLETING"), ElementPhase::Running);
    EXPECT_EQ(PhaseOf("COMPLETED"), ElementPhase::Over);
    EXPECT_EQ(PhaseOf("SOMETHING_NEW"), ElementPhase::Running);
}

} // namespace
} // namespace master
