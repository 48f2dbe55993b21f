#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>

#include "ostrel/Path.h"

namespace web
{

/// Where a frame of a job is, or why there is none: then the path is empty, and the status (404,
/// 503) and the sentence are for who has asked.
struct FoundFrame
{
    ostrel::Path path{};
    unsigned status = 200;
    ostrel::String trouble{};
    /// What was known of the file before this time may be told as changed by now.
    std::chrono::steady_clock::time_point toldAt{};
};

/// Finds the file of a frame: of this job, of the format of this number, the frame of this one.
/// Calls `found` once, now or later. Loop thread.
using FindFrame = std::function<void(const std::string &job, std::size_t format, int frame,
                                     std::function<void(FoundFrame)> found)>;

} // namespace web
