#pragma once

#include <string>

#include "bench/Measure.h"
#include "bench/ServerProcess.h"

namespace bench
{

/// A server with a folder of its own: the Master as it ships ("Master"), or the bare one, which is
/// this program again.
class LoadedServer
{
public:
    /// Starts it. `self` is this program. Clients that wait until it is ready may connect at once.
    LoadedServer(const std::string &name, const std::string &self);

    /// As gRPC takes it.
    std::string Address() const
    {
        return "unix:" + m_socket;
    }

    const std::string &SocketFile() const
    {
        return m_socket;
    }

    const ServerProcess &Process() const
    {
        return m_process;
    }

private:
    Folder m_folder;
    std::string m_socket;
    ServerProcess m_process;
};

} // namespace bench
