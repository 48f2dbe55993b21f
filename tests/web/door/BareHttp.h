#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>

#include "ostrel/Descriptor.h"

/// An answer as it stood on the wire.
struct BareAnswer
{
    int status = 0; ///< 0 where none came.
    std::map<std::string, std::string> fields;
    std::string body;

    std::string Field(const std::string &name) const
    {
        const auto found = fields.find(name);
        return found == fields.end() ? std::string() : found->second;
    }
};

/// One connection to a port of this machine that says what a test says, and reads as little HTTP as
/// it can. No wait is longer than half a minute.
class BareHttp
{
public:
    /// As a peer of this address, which is one of this machine's own; "::1" goes to "::1".
    explicit BareHttp(std::uint16_t port, const char *from = "127.0.0.1");

    void Send(const std::string &text);
    /// The next answer, by its length. Those to HEAD have one and no body.
    BareAnswer Receive(bool isHead = false);
    /// All that has come when this text has; without it where the other end closes before.
    std::string ReceiveUntil(const std::string &text);
    /// Whether the other end closes within this time; what comes until then is dropped.
    bool IsClosed(std::chrono::milliseconds within);
    int Number() const
    {
        return m_socket.Number();
    }

private:
    bool ReadSome(std::chrono::milliseconds within);

    ostrel::Descriptor m_socket;
    std::string m_bytes; // Not looked at yet.
};

/// Asks on a connection of its own.
BareAnswer AskBare(std::uint16_t port, const std::string &request);
