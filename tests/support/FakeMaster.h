#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "corvan/messages.pb.h"

namespace grpc
{
class ServerCredentials;
}

/// A Master without a mind: it greets as it was told, keeps what it is sent, and sends what the
/// test gives it. Any thread.
class FakeMaster
{
public:
    enum class Greeting
    {
        Welcome,  ///< As a Master should.
        Silence,  ///< Takes the Hello and says nothing.
        Refusal,  ///< Ends the stream: "wrong token".
        Nonsense, ///< Answers with another message.
    };

    static constexpr const char *k_Id = "11111111-2222-4333-8444-555555555555";

    /// Listens at once. `target` as gRPC takes it: "unix:/path", or "localhost:0" for a free port.
    /// Without credentials all is sent in the clear.
    explicit FakeMaster(const std::string &target, Greeting greeting = Greeting::Welcome,
                        const std::shared_ptr<grpc::ServerCredentials> &credentials = nullptr);
    /// Hangs up on all, as a killed Master does.
    ~FakeMaster();
    FakeMaster(const FakeMaster &) = delete;
    FakeMaster &operator=(const FakeMaster &) = delete;

    /// To every client that is connected.
    void Send(const corvan::wire::Envelope &envelope);
    void SendBytes(std::string_view bytes);

    /// What came since the start, the greetings too. Waits until there are `count`, at most 10 s.
    std::vector<corvan::wire::Envelope> Received(std::size_t count);

    /// The last of so many messages, waited for as `Received` does. Where fewer come it fails the
    /// test and gives an empty one, so that whoever asked goes on to his end.
    corvan::wire::Envelope LastOf(std::size_t count);

    /// What the Welcome tells from now on.
    void SetProtocol(unsigned protocol);

    /// The tokens that calls have brought, in order; empty for a call that brought none.
    std::vector<std::string> Tokens() const;

    int Port() const;

    /// Bytes given to `Send` that the connections have not taken yet.
    std::size_t UnsentBytes() const;

private:
    class Service;
    std::unique_ptr<Service> m_service;
};
