#pragma once

#include <cstddef>

namespace corvan
{

/// What a message may hold at most; more is refused where it is read.
constexpr std::size_t k_MaxMessageBytes = 16u << 20;
constexpr std::size_t k_MaxValueBytes = 4u << 20;
constexpr std::size_t k_MaxJobBytes = 8u << 20;     ///< Names and values of a job, so that it fits.
constexpr std::size_t k_MaxFormatBytes = 64u << 10; ///< All image-format patterns of a job.
constexpr std::size_t k_MaxNameBytes = 256;
constexpr std::size_t k_MaxParameters = 1000;
constexpr std::size_t k_MaxJobIds = 10'000;
constexpr std::size_t k_MaxTasks = 400'000;   ///< In one list.
constexpr std::size_t k_MaxGathered = 1000;   ///< Messages that come as one.
constexpr std::size_t k_MaxReasonBytes = 500; ///< Of why a machine is drained.

} // namespace corvan
