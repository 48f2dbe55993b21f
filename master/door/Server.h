#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <deque>
#include <map>
#include <memory>
#include <span>
#include <vector>

#include "master/door/Doorkeeper.h"
#include "master/door/Listener.h"
#include "master/door/Outgoing.h"
#include "master/door/ServerSettings.h"
#include "master/door/Session.h"
#include "ostrel/LoopThread.h"

namespace master
{

using ostrel::LoopThread;

/// The Master's side of all connections.
///
/// Whoever calls proves who he is before anything is kept for him; then it admits clients (Hello,
/// their number), hands over what they ask, checked, and sends what it is given. Loop thread;
/// gRPC's own threads ask the doorkeeper, and post to the loop.
class Server : private Session::Owner
{
public:
    /// What it needs of whoever serves the clients. Loop thread.
    class User
    {
    public:
        virtual ~User() = default;
        /// Requests wait to be taken.
        virtual void OnRequests() = 0;
        virtual void OnClientGone(ClientNumber client) = 0;
    };

    /// Listens from now on. Throws `ostrel::Exception *` where it cannot. `masterID` is told to
    /// the clients. The loop must be run no more once the server is gone.
    Server(boost::asio::io_context &loop, ServerSettings settings, const UID &masterID, User &user);
    /// Ends all connections.
    ~Server() override;

    /// Most requests for long answers that are handed over at once.
    static constexpr std::size_t k_MuchPerTurn = 4;

    /// One request of a client.
    struct Request
    {
        ClientNumber client = 0;
        std::shared_ptr<const Identity> who; ///< Never null. Shared with the client's connection.
        boost::shared_ptr<Message> message;  ///< Null where it is to be refused.
        bool asksForMuch = false;
        std::uint64_t serial = 0;
        String what;   ///< The message's name.
        String reason; ///< Why it is to be refused.
    };

    /// The requests that wait, a few hundred at most, and of those that ask for much no more than
    /// `k_MuchPerTurn`, since all answers of a turn are in memory together; `OnRequests` is called
    /// again for the rest.
    std::vector<Request> TakeRequests();
    /// Everything that those requests asked for was sent, and more may be taken.
    void EndRequests();

    void Send(const Outgoing &message, std::span<const ClientNumber> to);

    /// Those that were welcomed.
    std::size_t CountClients() const;

    /// Where it listens; the port is the one that the system chose where port 0 was asked for.
    const String &Address() const
    {
        return m_listener->Address();
    }

    /// Takes a renewed certificate and changed tokens. Nobody is cut off but those whose token is
    /// gone. What cannot be used leaves all as it is, with an error line.
    void Reload();

private:
    class Service;
    struct Client;

    void OnArrived(const std::shared_ptr<Session> &session, std::shared_ptr<const Identity> who);
    String CheckRoom(const Identity &who) const;
    void WatchHello(Client &client);
    void WatchTokens();
    void RefreshTokens();
    void OnIncoming(const std::shared_ptr<Session> &session) override;
    void OnGone(const std::shared_ptr<Session> &session) override;

    void TakeFrom(Client &client, std::vector<Request> &requests);
    void Welcome(Client &client, const wire::Envelope &envelope);
    void CutOff(Client &client, const String &reason);
    void ScheduleReady(Client &client);

    boost::asio::io_context &m_loop;
    const ServerSettings m_settings;
    const UID m_masterID;
    User &m_user;
    LoopThread m_thread;
    Doorkeeper m_doorkeeper;
    boost::asio::steady_timer m_tokensTimer;

    std::map<ClientNumber, std::unique_ptr<Client>> m_clients;
    std::map<const Session *, Client *> m_bySession;
    std::map<String, std::size_t> m_clientsOfPeers;
    ClientNumber m_lastClient = 0;
    std::deque<ClientNumber> m_ready;
    std::vector<ClientNumber> m_taken;

    std::unique_ptr<Service> m_service;
    std::unique_ptr<Listener> m_listener;
};

} // namespace master
