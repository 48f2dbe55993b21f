#include "ostrel/DescriptorLimit.h"

#include <algorithm>
#include <sys/resource.h>

namespace ostrel
{

namespace
{

// More than connections can come to; an endless limit is one as well.
constexpr rlim_t k_enough_descriptors = 1u << 20;

} // namespace

std::size_t RaiseDescriptorLimit()
{
    const std::size_t before = DescriptorLimit();
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < limit.rlim_max)
    {
        limit.rlim_cur = limit.rlim_max;
        ::setrlimit(RLIMIT_NOFILE, &limit);
    }
    return before;
}

std::size_t DescriptorLimit()
{
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return 1024;
    return std::min(limit.rlim_cur, k_enough_descriptors);
}

} // namespace ostrel
