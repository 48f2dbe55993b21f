#pragma once

namespace corvan
{

/// How a connection finds a dead peer: both sides ask after this much silence, and give up when no
/// answer comes. Together less than 20 s.
constexpr int k_KeepaliveMs = 10'000;
constexpr int k_KeepaliveTimeoutMs = 8'000;

/// The Master must let clients ask this often (gRPC's server allows it every 5 minutes only, and
/// hangs up on those who ask more).
constexpr int k_LeastPingIntervalMs = 500;

} // namespace corvan
