#pragma once

#include <optional>
#include <utility>

#include "cli/Client.h"
#include "ostrel/UID.h"

namespace cli
{

/// A parameter and its value, as "NAME=VALUE" gives them. The value may hold further equals signs.
/// The value of "Status" may be a status by its name, in any case. Nothing without an equals sign
/// or without a name.
using Setting = std::pair<String, String>;
std::optional<Setting> ParseSetting(const String &text);

/// Asks the Master to change a parameter of a job, and waits until it has. Throws `Failure *`.
void SetParameter(Client &client, const UID &job, const Setting &setting);

} // namespace cli
