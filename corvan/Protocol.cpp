#include "corvan/Protocol.h"

#include <algorithm>
#include <iterator>

namespace corvan
{

namespace
{

// What each protocol brought, from the second on.
constexpr const char *k_news_of_protocols[] = {
    "users and rights, the token in the call's metadata, jobs that have an owner",
    "messages that come as one where several wait",
    "the following of all jobs, clients are told their user and role",
};
static_assert(std::size(k_news_of_protocols) == k_Protocol - 1);

} // namespace

String ProtocolDifference(unsigned one, unsigned other)
{
    const auto [older, newer] = std::minmax(one, other);
    if (older == newer)
        return {};
    if (newer > k_Protocol && older == k_Protocol)
        return "what protocol " + std::to_string(newer) + " brought is not known here";
    String lacks;
    for (unsigned number = older + 1; number <= std::min(newer, k_Protocol); ++number)
        lacks += String(lacks.empty() ? "" : "; ") + k_news_of_protocols[number - 2];
    return "protocol " + std::to_string(older) + " lacks: " + lacks;
}

} // namespace corvan
