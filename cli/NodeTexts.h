#pragma once

#include <nlohmann/json_fwd.hpp>
#include <span>

#include "corvan/Messages.h"

namespace cli
{

using corvan::NodeInfo;
using ostrel::String;

/// All of `corvan nodes`: a heading and a line for each machine, a suspicious one marked by a "!",
/// and below a line for each of those that says why.
String NodesReport(std::span<const NodeInfo> nodes);

/// A machine: "name", "state", "done", "failed", "bad", "suspicious", where it is so "suspicion",
/// and where something has failed "lastFailure" with "job", "task", "reason" and "time".
nlohmann::ordered_json NodeJson(const NodeInfo &node);

} // namespace cli
