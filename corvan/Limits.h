#pragma once

#include <cstddef>

namespace corvan
{

/// What a message may hold at most; more is refused where it is read.
constexpr std::size_t k_MaxMessageBytes = 16u << 20;
constexpr std::size_t k_MaxValueBytes = 4u << 20;
constexpr std::size_t k_MaxNameBytes = 256;
constexpr std::size_t k_MaxParameters = 1000;
constexpr std::size_t k_MaxJobIds = 10'000;

} // namespace corvan
