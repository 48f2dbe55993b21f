#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <span>
#include <vector>

#include "corvan/Messages.h"

namespace cli
{

using corvan::Job;
using corvan::JobStatus;
using corvan::TaskInfo;
using ostrel::String;

/// The status of a job; queued when it has none.
JobStatus StatusOf(const Job &job);

/// Packets of a job that are over and that there are, as the Master counts them; 0 while it has
/// not.
struct TaskCounts
{
    unsigned total = 0;
    unsigned done = 0;
    unsigned failed = 0;
};
TaskCounts CountsOf(const Job &job);

/// The first eight digits of an identifier, or of a job's.
String ShortId(const ostrel::UID &id);
String ShortId(const Job &job);

/// "12/60", or "12/60, 2 failed".
String CountsText(const TaskCounts &counts);

/// One line of `corvan list`, or its heading. No newline. Behind the name of a requeue stands of
/// which job it is one, and behind that why a job waits, when it is expected to end and which of
/// its tasks are stuck.
String ListHeading();
String ListLine(const Job &job);

/// "frames 2 to 5, Failed, tried 3 times, exit code 7": what became of a task that was started. In
/// place of the exit code stands the reason where there is one; last why it is taken to be stuck.
String TaskText(const TaskInfo &task);

/// All of `corvan show`.
String JobReport(const Job &job, std::span<const TaskInfo> tasks);

/// A job as JSON: "id", "type", "name", "status" (its name) and "parameters", all that is set.
nlohmann::ordered_json JobJson(const Job &job);
/// A task: "index", "firstFrame", "lastFrame", "status", "tries", "exitCode", "reason",
/// of one that Slurm has or has had "node", "slurmId" and "slurmState", and of one that is stuck
/// "stuck", why.
nlohmann::ordered_json TaskJson(const TaskInfo &task);

/// JSON as it is printed: indented, with bytes that are no UTF-8 replaced and nothing in it that a
/// terminal would act on.
String JsonText(const nlohmann::ordered_json &json);

} // namespace cli
