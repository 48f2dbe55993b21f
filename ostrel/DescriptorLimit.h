#pragma once

#include <cstddef>

namespace ostrel
{

/// Lets this program have as many open files as the system allows it at most, and what it starts as
/// well where nothing else is said. Gives how many it might have before.
std::size_t RaiseDescriptorLimit();

/// How many open files this program may have.
std::size_t DescriptorLimit();

} // namespace ostrel
