#include "master/slurm/SlurmEnds.h"

#include <algorithm>
#include <charconv>
#include <string_view>

#include "corvan/Utf8.h"
#include "keeper/ArrayFolder.h"
#include "keeper/Protocol.h"

namespace master
{

namespace
{

constexpr std::string_view k_over[] = {
    "BOOT_FAIL", "CANCELLED",     "COMPLETED", "DEADLINE", "FAILED",
    "NODE_FAIL", "OUT_OF_MEMORY", "PREEMPTED", "REVOKED",  "TIMEOUT",
};
constexpr std::string_view k_waiting[] = {
    "CONFIGURING",  "PENDING",       "REQUEUED",     "REQUEUE_FED",
    "REQUEUE_HOLD", "RESV_DEL_HOLD", "SPECIAL_EXIT",
};
constexpr std::string_view k_usual_reasons[] = {
    "",         "BeginTime", "Cleaning", "Dependency", "JobArrayTaskLimit", "JobHeldUser",
    "Licenses", "None",      "Prolog",   "Priority",   "Resources",
};

// As `sh` tells of a program.
constexpr int k_cannot_run = 126;
constexpr int k_not_found = 127;

template <std::size_t Count>
bool Contains(const std::string_view (&words)[Count], std::string_view word)
{
    return std::ranges::find(words, word) != std::end(words);
}

String AtNode(const String &node, const String &reason)
{
    return node.empty() ? reason : String("on " + node + ": " + reason);
}

RunEnd Failure(const String &reason)
{
    return {.exitCode = -1, .reason = reason};
}

RunEnd Lost(const String &reason)
{
    RunEnd end;
    end.exitCode = -1;
    end.reason = reason;
    end.isLost = true;
    return end;
}

RunEnd EndOfReport(std::string_view report, const String &node)
{
    const char kind = report.empty() ? '\0' : report.front();
    report.remove_prefix(report.empty() ? 0 : 1);
    RunEnd end;
    if (kind == keeper::k_NotStarted || kind == keeper::k_Outside)
    {
        end = Trouble(AtNode(node, corvan::MakeUtf8(report)));
        end.leadsOut = kind == keeper::k_Outside;
        return end;
    }
    const char *const last = report.data() + report.size();
    const auto [stopped, error] = std::from_chars(report.data(), last, end.exitCode);
    if (kind != keeper::k_Ended || error != std::errc())
        return Trouble(AtNode(node, "corvan-task was killed; nobody knows how the command ended"));
    if (stopped != last)
        end.reason =
            corvan::MakeUtf8(std::string_view(stopped + 1, std::size_t(last - stopped - 1)));
    return end;
}

RunEnd EndOfStatus(const QueueLine &line, const ElementNeeds &needs)
{
    switch (line.exitStatus)
    {
    case keeper::k_NoRequest:
        return Trouble(AtNode(line.node, "the folder " + needs.folder.Text() +
                                             " is not there, or not what the Master sees; it has "
                                             "to be on a share that all nodes have at this place"));
    case k_cannot_run:
    case k_not_found:
        return Trouble(AtNode(line.node, "cannot run " + needs.program.Text() +
                                             "; it has to be there on all nodes"));
    default:
        return Trouble(AtNode(line.node, "Slurm says " + line.state + " with exit status " +
                                             std::to_string(line.exitStatus) +
                                             ", and corvan-task has left no result"));
    }
}

} // namespace

RunEnd Trouble(const String &reason)
{
    return {.isStarted = false, .reason = reason};
}

ElementPhase PhaseOf(const std::string &state)
{
    if (Contains(k_over, state))
        return ElementPhase::Over;
    return Contains(k_waiting, state) ? ElementPhase::Waiting : ElementPhase::Running;
}

bool IsUsualReason(const std::string &reason)
{
    return Contains(k_usual_reasons, reason);
}

RunEnd EndOfResult(const ElementResult &result)
{
    RunEnd end = EndOfReport(result.report, result.node);
    end.place.node = result.node;
    end.took = result.took;
    return end;
}

RunEnd EndOfLine(const QueueLine *line, const ElementNeeds &needs)
{
    if (!line)
        return Lost("Slurm knows nothing of it any more");
    RunEnd end;
    if (line->state == "TIMEOUT" || line->state == "DEADLINE")
        end = Failure("Slurm ended it: it took longer than its time there (" +
                      corvan::MakeUtf8(line->state) + ")");
    else if (line->state == "OUT_OF_MEMORY")
        end = Failure("Slurm ended it: it took more memory than it has there (OUT_OF_MEMORY)");
    else if (line->state == "CANCELLED" || line->state == "REVOKED")
        end = Trouble(AtNode(line->node, "somebody has cancelled it in Slurm (" +
                                             corvan::MakeUtf8(line->state) + ")"));
    else if (line->state == "NODE_FAIL" || line->state == "BOOT_FAIL" || line->state == "PREEMPTED")
        end = Lost(AtNode(line->node, "Slurm says " + corvan::MakeUtf8(line->state)));
    else
        end = EndOfStatus(*line, needs);
    end.machineFailed = line->state == "NODE_FAIL";
    end.place.node = line->node;
    end.place.state = corvan::MakeUtf8(line->state);
    return end;
}

} // namespace master
