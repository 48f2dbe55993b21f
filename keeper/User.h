#pragma once

#include <string>

#include "keeper/Request.h"

namespace keeper
{

/// This process becomes the user of a request, for good: with the groups of that one and no others,
/// without any capability, and so that nothing that it starts gains more rights than it has. It
/// stays who it is where the request names nobody. False, with the reason, where it may not.
bool BecomeUser(const Request &request, std::string *reason);

} // namespace keeper
