#pragma once

#include <string>
#include <sys/types.h>

#include "bench/Measure.h"

namespace bench
{

/// A server in a process of its own, with a folder of its own: the Master as it ships ("Master"),
/// or the bare one, which is this program again. Ended with this one and at the end of its life.
class LoadedServer
{
public:
    /// Starts it. `self` is this program. Clients that wait until it is ready may connect at once.
    LoadedServer(const std::string &name, const std::string &self);
    ~LoadedServer();
    LoadedServer(const LoadedServer &) = delete;
    LoadedServer &operator=(const LoadedServer &) = delete;

    /// As gRPC takes it.
    std::string Address() const
    {
        return "unix:" + m_socket;
    }

    /// Resident memory.
    double Megabytes() const;

    /// Of a processor, of all its threads since it was started.
    double Seconds() const;

private:
    Folder m_folder;
    std::string m_socket;
    pid_t m_process = -1;
};

} // namespace bench
