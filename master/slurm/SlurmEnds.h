#pragma once

#include "master/run/CommandRunner.h"
#include "master/slurm/ArrayFolders.h"
#include "master/slurm/Cluster.h"

namespace master
{

/// What a state says of an element.
enum class ElementPhase
{
    Waiting,
    Running,
    Over,
};
ElementPhase PhaseOf(const std::string &state);

/// Whether an element that waits for such a reason waits for its turn alone, or for what somebody
/// has decided.
bool IsUsualReason(const std::string &reason);

/// It was not begun, which is not the job's fault.
RunEnd Trouble(const String &reason);

/// How an element ended that has left a result.
RunEnd EndOfResult(const ElementResult &result);

/// Where to look for what an element lacked.
struct ElementNeeds
{
    Path folder;  ///< Of the arrays.
    Path program; ///< That each element is run by.
};
/// How an element ended that has left none: its last line in the queue, null where it is there no
/// more.
RunEnd EndOfLine(const QueueLine *line, const ElementNeeds &needs);

} // namespace master
