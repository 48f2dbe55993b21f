#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <deque>
#include <map>
#include <memory>
#include <span>
#include <unordered_map>
#include <vector>

#include "master/door/Courier.h"
#include "master/door/Door.h"
#include "master/door/Doorkeeper.h"
#include "master/door/Listener.h"
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
class Server : public Door, private Session::Owner
{
public:
    /// Listens from now on. Throws `ostrel::Exception *` where it cannot. `masterID` is told to
    /// the clients. The loop must be run no more once the server is gone.
    Server(boost::asio::io_context &loop, ServerSettings settings, const UID &masterID, User &user);
    /// Ends all connections.
    ~Server() override;

    /// Most requests for long answers that are handed over at once.
    static constexpr std::size_t k_MuchPerTurn = 4;

    /// The requests that wait, a few hundred at most, and of those that ask for much no more than
    /// `k_MuchPerTurn`, since all answers of a turn are in memory together; `OnRequests` is called
    /// again for the rest.
    std::vector<Request> TakeRequests() override;
    /// Everything that those requests asked for was sent, and more may be taken.
    void EndRequests() override;

    void Send(const Outgoing &message, std::span<const ClientNumber> to) override;

    std::size_t CountClients() const override;

    const String &Address() const override
    {
        return m_listener->Address();
    }

    /// Takes a renewed certificate and changed tokens. Nobody is cut off but those whose token is
    /// gone. What cannot be used leaves all as it is, with an error line.
    void Reload() override;

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

    Courier m_courier; // Outlives the streams.

    std::unordered_map<ClientNumber, std::unique_ptr<Client>> m_clients;
    std::unordered_map<const Session *, Client *> m_bySession;
    std::map<String, std::size_t> m_clientsOfPeers;
    ClientNumber m_lastClient = 0;
    std::deque<ClientNumber> m_ready;
    std::vector<ClientNumber> m_taken;

    std::unique_ptr<Service> m_service;
    std::unique_ptr<Listener> m_listener;
};

} // namespace master
