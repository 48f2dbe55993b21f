#include "web/jobs/SheetText.h"

#include <nlohmann/json.hpp>

#include "web/jobs/JobJson.h"

namespace web
{

using check::CheckState;
using check::CheckTable;

std::string SheetHead(const FrameSnapshot &snapshot, const std::string &counts)
{
    nlohmann::ordered_json states = {"unknown"};
    for (const CheckState state : check::k_CheckStates)
        states.push_back(std::string(check::StateText(state)));
    const nlohmann::ordered_json head = {{"format", snapshot.format},
                                         {"pattern", std::string(snapshot.table.format)},
                                         {"pass", snapshot.pass},
                                         {"range", snapshot.range},
                                         {"count", snapshot.table.frames.size()},
                                         {"states", states},
                                         {"counts", nlohmann::ordered_json::parse(counts)}};
    return JsonText(head) + "\n";
}

char SheetByte(CheckState state)
{
    return char(1 + int(state));
}

char SheetByte(const CheckTable &table, std::size_t row)
{
    return table.states.empty() ? '\0' : SheetByte(table.states[row]);
}

std::string SheetBytes(const CheckTable &table)
{
    std::string bytes(table.frames.size(), '\0');
    for (std::size_t row = 0; row < table.states.size(); ++row)
        bytes[row] = SheetByte(table.states[row]);
    return bytes;
}

std::string CountsJson(const check::StateCounts &counts)
{
    nlohmann::ordered_json json = nlohmann::ordered_json::object();
    for (const CheckState state : check::k_CheckStates)
        if (counts[std::size_t(state)] > 0)
            json[std::string(check::StateText(state))] = counts[std::size_t(state)];
    return JsonText(json);
}

} // namespace web
