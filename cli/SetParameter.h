#pragma once

#include <optional>
#include <utility>
#include <vector>

#include "cli/Client.h"
#include "corvan/Job.h"

namespace cli
{

using corvan::Job;

/// A parameter and its value, as "NAME=VALUE" gives them. The value may hold further equals signs.
/// The value of "Status" may be a status by its name, in any case, and each pattern of
/// "ImageFormat" is taken as `NeedPattern` takes one. Nothing without an equals sign or without a
/// name. Throws `Failure *` for a pattern that cannot be.
using Setting = std::pair<String, String>;
std::optional<Setting> ParseSetting(const String &text);

/// Asks the Master to change parameters of a job, all of them or none, and waits until it has.
/// Throws `Failure *`, also for a value that `analysis::CheckSetting` refuses: nothing is asked
/// then.
void SetParameters(Client &client, const Job &job, const std::vector<Setting> &settings);

} // namespace cli
