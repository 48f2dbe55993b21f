#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "ostrel/Descriptor.h"

/// What an HTTP server has answered.
struct HttpAnswer
{
    int status = 0; ///< 0 where it has not answered.
    std::map<std::string, std::string> fields;
    std::string body;
};

/// One connection to a port of this machine. No wait is longer than half a minute.
class HttpClient
{
public:
    explicit HttpClient(std::uint16_t port);

    bool IsConnected() const
    {
        return m_isConnected;
    }

    void Send(const std::string &text);
    /// All that comes until the other end closes; none where it has not by then.
    HttpAnswer Receive();

private:
    ostrel::Descriptor m_socket;
    bool m_isConnected = false;
};

/// A port of this machine at which nobody listens.
std::uint16_t UnusedPort();

/// Asks for a path on a connection of its own.
HttpAnswer HttpGet(std::uint16_t port, const std::string &path, const std::string &method = "GET");
