#pragma once

#include <future>
#include <optional>

#include "ostrel/UID.h"

namespace master
{

using ostrel::UID;

/// Looks for what an earlier run of a Master has left, by the marks of all processes, and kills
/// what has lost its keeper.
///
/// A thread of its own does it, since the system may tell of a process that hangs as late as it
/// likes. Where this object goes first it waits two seconds, and then leaves the thread to itself.
class OthersLook
{
public:
    struct Found
    {
        int keepers = 0; ///< They end what they hold, marked or not, and are left to do so.
        int killed = 0;  ///< Where there were no keepers.
    };

    /// Begins to look. Throws `std::system_error` where there can be no thread.
    explicit OthersLook(const UID &master);
    ~OthersLook();
    OthersLook(const OthersLook &) = delete;
    OthersLook &operator=(const OthersLook &) = delete;

    /// Nothing while it looks; what it has found, once.
    std::optional<Found> TakeResult();

private:
    std::future<Found> m_found;
};

} // namespace master
