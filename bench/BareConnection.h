#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "ostrel/Descriptor.h"

namespace bench
{

/// A call to a Master over a socket file that is made of bytes: as much of HTTP/2 as one call
/// takes. It costs the machine a hundredth of what a client of gRPC does, so that thousands of them
/// leave the processors to what is measured. One thread.
class BareConnection
{
public:
    /// Connects, and opens the call. Ends the program where nobody listens.
    explicit BareConnection(const std::string &socketFile);

    int Socket() const
    {
        return m_socket.Number();
    }

    /// Sends one message of the call. Ends the program where the Master does not read.
    void Send(const std::string &message);

    /// Reads what has come, without waiting, and gives each whole message. False where the Master
    /// has ended the call or the connection.
    bool Read(const std::function<void(std::string_view message)> &take);

private:
    bool TakeFrame(unsigned type, unsigned flags, std::string_view payload);
    void SendBytes(std::string_view bytes);

    const ostrel::Descriptor m_socket;
    std::string m_read; // Frames that are not whole yet.
    std::string m_data; // Messages that are not.
};

} // namespace bench
