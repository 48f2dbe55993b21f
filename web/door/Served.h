#pragma once

#include <chrono>

#include "web/door/Admission.h"
#include "web/door/Conversations.h"
#include "web/door/FileShelf.h"
#include "web/door/Guard.h"
#include "web/door/Routes.h"
#include "web/door/ServerSettings.h"

namespace web
{

/// What all conversations of a server share. Loop thread.
struct Served
{
    const ServerLimits limits;
    const Guard guard;
    const FileShelf files;
    Routes routes{};
    std::shared_ptr<Admission> admission{}; ///< Shared for who still waits for its answer alone.
    Conversations conversations;
    /// When somebody who is known was here.
    std::chrono::steady_clock::time_point used = std::chrono::steady_clock::now();
};

} // namespace web
