#pragma once

#include <string>
#include <vector>

#include "cli/Client.h"
#include "cli/SetParameter.h"

namespace cli
{

/// The jobs that these texts name, each by `FindJob`, as "After" holds them. Throws `Failure *`
/// where one names none, or several.
String FindAfterJobs(Client &client, const std::vector<std::string> &texts);

/// The same for the value of "After" or "AfterGood", which may name jobs as people do, with commas
/// between: so no name with a comma in it. Any other setting comes back as it is.
Setting ResolveAfterJobs(Client &client, const Setting &setting);

} // namespace cli
