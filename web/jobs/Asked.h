#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <string>

#include "web/door/Request.h"
#include "web/door/Response.h"
#include "web/jobs/MasterLink.h"

namespace web
{

/// The ends of what a frame or another number that is asked for can be.
inline constexpr std::int64_t k_MostInt = std::numeric_limits<int>::max();
inline constexpr std::int64_t k_LeastInt = std::numeric_limits<int>::min();

/// Reads what stands in a request. All throw `HttpError *` (400) with a sentence that names it.

/// A whole number within both ends, from the query; `otherwise` where it is left out.
std::int64_t NumberAsked(const Request &request, const std::string &name, std::int64_t least,
                         std::int64_t most, std::int64_t otherwise);
/// Nothing where it is left out.
std::optional<std::int64_t> NumberAsked(const Request &request, const std::string &name,
                                        std::int64_t least, std::int64_t most);
/// The same of a place of the route, which is always there; what is no number throws 404.
std::int64_t NumberOfPlace(const Request &request, const std::string &name, std::int64_t least,
                           std::int64_t most);
/// "1"; "0" and what is left out are no.
bool IsAsked(const Request &request, const std::string &name);

/// The Master's answer to a request that it did not carry out: 403, 409, 503 or 504.
Response NotDone(const MasterAnswer &answer);

} // namespace web
