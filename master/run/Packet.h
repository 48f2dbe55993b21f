#pragma once

namespace master
{

/// One run of frames, rendered by one command: a task of its job.
struct Packet
{
    int firstFrame = 0;
    int lastFrame = 0; ///< Belongs to it.

    friend bool operator==(const Packet &, const Packet &) = default;
};

} // namespace master
