#include "cli/NodeTexts.h"

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include "cli/TimeTexts.h"

namespace cli
{
namespace
{

const ostrel::UID k_job("aaaa1111-0000-4000-8000-000000000001", true);

NodeInfo Suspicious()
{
    NodeInfo node;
    node.name = "node2";
    node.state = "drained (bad\x1b[31m)";
    node.done = 3;
    node.failed = 12;
    node.bad = 1;
    node.failedJob = k_job;
    node.failedTask = 7;
    node.failedReason = "exit code 1";
    node.failedAt = "2026-11-20T14:03:09Z";
    node.suspicion = "tasks of 2 jobs fail";
    return node;
}

TEST(NodeTexts, AReportMarksWhatIsSuspiciousAndSaysWhy)
{
    NodeInfo good;
    good.name = "node1";
    good.state = "idle";
    good.done = 40;
    const NodeInfo nodes[] = {good, Suspicious()};
    EXPECT_EQ(NodesReport(nodes),
              "MACHINE   STATE                    DONE  FAILED     BAD  LAST FAILURE\n"
              "node1     idle                       40       0       0\n"
              "node2   ! drained (bad\\x1b[31m)       3      12       1  " +
                  MomentText(*ReadUtc("2026-11-20T14:03:09Z")) +
                  " aaaa1111 task 7: exit code 1\n"
                  "node2 is suspicious: tasks of 2 jobs fail\n");
    EXPECT_EQ(NodesReport({}), "MACHINE   STATE    DONE  FAILED     BAD  LAST FAILURE\n");
}

TEST(NodeTexts, JsonTellsTheSame)
{
    const auto json = NodeJson(Suspicious());
    EXPECT_EQ(json["name"], "node2");
    EXPECT_EQ(json["suspicious"], true);
    EXPECT_EQ(json["suspicion"], "tasks of 2 jobs fail");
    EXPECT_EQ(json["lastFailure"]["job"], std::string(k_job.ToString()));
    EXPECT_EQ(json["lastFailure"]["task"], 7);
    NodeInfo good;
    good.name = "node1";
    EXPECT_EQ(NodeJson(good).dump(), R"({"name":"node1","state":"","done":0,"failed":0,"bad":0,)"
                                     R"("suspicious":false})");
}

} // namespace
} // namespace cli
