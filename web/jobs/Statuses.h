#pragma once

namespace web
{

/// The statuses of answers, as docs/api.md tells them.
inline constexpr unsigned k_Created = 201;
inline constexpr unsigned k_BadRequest = 400;
inline constexpr unsigned k_Unauthorized = 401;
inline constexpr unsigned k_Forbidden = 403;
inline constexpr unsigned k_NotFound = 404;
inline constexpr unsigned k_Conflict = 409;
inline constexpr unsigned k_TooLarge = 413;
inline constexpr unsigned k_TooMany = 429;
inline constexpr unsigned k_OwnFault = 500;
inline constexpr unsigned k_Unavailable = 503;
inline constexpr unsigned k_Late = 504;

} // namespace web
