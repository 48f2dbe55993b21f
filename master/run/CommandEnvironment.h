#pragma once

#include <string>
#include <vector>

#include "master/run/CommandUser.h"
#include "ostrel/String.h"

namespace master
{

/// The environment of a command, as "NAME=value": of the Master's own what any program may want
/// (where programs are, who the user is, language, time zone), and what `more` names; a name that
/// ends with "*" stands for all that begin so. Nothing else, since the Master's environment may
/// hold what is nobody's business. Who the user is, his home and his shell are those of `user`
/// where there is one.
std::vector<std::string> CommandEnvironment(const std::vector<ostrel::String> &more,
                                            const CommandUser *user = nullptr);

} // namespace master
