#include "cli/NodeTexts.h"

#include <algorithm>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "cli/JobTexts.h"
#include "cli/ShownText.h"
#include "cli/TimeTexts.h"

namespace cli
{

namespace
{

String LastFailureText(const NodeInfo &node)
{
    if (node.failedJob.IsNil())
        return {};
    const auto at = ReadUtc(node.failedAt);
    return fmt::format("{}{} task {}: {}", at ? MomentText(*at) + " " : String(),
                       ShortId(node.failedJob), node.failedTask, ShownText(node.failedReason));
}

String NodeLine(const NodeInfo &node, std::size_t width, std::size_t stateWidth)
{
    String line =
        fmt::format("{:{}} {} {:{}}  {:>6}  {:>6}  {:>6}  {}", ShownText(node.name), width,
                    node.suspicion.empty() ? " " : "!", ShownText(node.state), stateWidth,
                    node.done, node.failed, node.bad, LastFailureText(node));
    line.erase(line.find_last_not_of(' ') + 1);
    return line + "\n";
}

} // namespace

String NodesReport(std::span<const NodeInfo> nodes)
{
    std::size_t width = 7;
    std::size_t stateWidth = 5;
    for (const NodeInfo &node : nodes)
    {
        width = std::max(width, ShownText(node.name).size());
        stateWidth = std::max(stateWidth, ShownText(node.state).size());
    }
    String text = fmt::format("{:{}}   {:{}}  {:>6}  {:>6}  {:>6}  {}\n", "MACHINE", width, "STATE",
                              stateWidth, "DONE", "FAILED", "BAD", "LAST FAILURE");
    for (const NodeInfo &node : nodes)
        text += NodeLine(node, width, stateWidth);
    for (const NodeInfo &node : nodes)
        if (!node.suspicion.empty())
            text += fmt::format("{} is suspicious: {}\n", ShownText(node.name),
                                ShownText(node.suspicion));
    return text;
}

nlohmann::ordered_json NodeJson(const NodeInfo &node)
{
    nlohmann::ordered_json json = {
        {"name", std::string(node.name)}, {"state", std::string(node.state)},
        {"done", node.done},              {"failed", node.failed},
        {"bad", node.bad},                {"suspicious", !node.suspicion.empty()},
    };
    if (!node.suspicion.empty())
        json["suspicion"] = std::string(node.suspicion);
    if (!node.failedJob.IsNil())
        json["lastFailure"] = {{"job", std::string(node.failedJob.ToString())},
                               {"task", node.failedTask},
                               {"reason", std::string(node.failedReason)},
                               {"time", std::string(node.failedAt)}};
    return json;
}

} // namespace cli
