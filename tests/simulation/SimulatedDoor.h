#pragma once

#include <deque>
#include <functional>
#include <map>

#include "master/door/Door.h"
#include "tests/simulation/Chance.h"
#include "tests/simulation/Ledger.h"

namespace simulation
{

using corvan::Message;
using master::ClientNumber;
using master::Outgoing;

/// Somebody who has proved who he is.
std::shared_ptr<const master::Identity> MakeIdentity(const char *user, master::Role role);

/// The door of one run of the Master: clients come, ask and go by calls.
class SimulatedDoor : public master::Door
{
public:
    /// Somebody who is connected.
    class Visitor
    {
    public:
        virtual ~Visitor() = default;
        /// The Master has let go of a message to him. He does not call the door now.
        virtual void OnSent(const Outgoing &message) = 0;
        /// The Master takes a request of his.
        virtual void OnTaken(std::uint64_t serial) = 0;
    };

    /// `isStopped`: the Master is dead, though it does not know; nothing that it does counts.
    /// `hear` gets each message that the Master lets go of, to whomever.
    SimulatedDoor(User &user, Chance &chance, std::function<bool()> isStopped,
                  std::function<void(const Message &)> hear);

    ClientNumber Come(Visitor &visitor, std::shared_ptr<const master::Identity> who);
    void Leave(ClientNumber client);
    void Ask(ClientNumber client, std::uint64_t serial, boost::shared_ptr<Message> message);

    std::vector<Request> TakeRequests() override;
    void EndRequests() override {}
    void Send(const Outgoing &message, std::span<const ClientNumber> to) override;
    std::size_t CountClients() const override
    {
        return m_guests.size();
    }
    const String &Address() const override
    {
        return m_address;
    }
    void Reload() override {}

private:
    struct Guest
    {
        Visitor *visitor = nullptr;
        std::shared_ptr<const master::Identity> who; // Shared with his requests.
    };

    User &m_user;
    Chance &m_chance;
    std::function<bool()> m_isStopped;
    std::function<void(const Message &)> m_hear;
    String m_address = "nowhere";
    ClientNumber m_last = 0;
    std::map<ClientNumber, Guest> m_guests;
    std::deque<Request> m_waiting;
};

} // namespace simulation
