#include "tests/simulation/SimulatedDoor.h"

#include <algorithm>

namespace simulation
{

std::shared_ptr<const master::Identity> MakeIdentity(const char *user, master::Role role)
{
    master::Identity who;
    who.user = user;
    who.role = role;
    who.peer = "nowhere";
    return std::make_shared<const master::Identity>(who);
}

SimulatedDoor::SimulatedDoor(User &user, Chance &chance, std::function<bool()> isStopped,
                             std::function<void(const Message &)> hear)
    : m_user(user), m_chance(chance), m_isStopped(std::move(isStopped)), m_hear(std::move(hear))
{
}

ClientNumber SimulatedDoor::Come(Visitor &visitor, std::shared_ptr<const master::Identity> who)
{
    m_guests[++m_last] = {&visitor, std::move(who)};
    return m_last;
}

void SimulatedDoor::Leave(ClientNumber client)
{
    m_guests.erase(client);
    std::erase_if(m_waiting, [&](const Request &request) { return request.client == client; });
    m_user.OnClientGone(client);
}

void SimulatedDoor::Ask(ClientNumber client, std::uint64_t serial,
                        boost::shared_ptr<Message> message)
{
    Request request;
    request.client = client;
    request.who = m_guests.at(client).who;
    request.serial = serial;
    request.what = message->TypeName();
    message->serial = serial;
    request.message = std::move(message);
    m_waiting.push_back(std::move(request));
    m_user.OnRequests();
}

std::vector<master::Door::Request> SimulatedDoor::TakeRequests()
{
    std::vector<Request> taken;
    const std::size_t most = m_chance.Between(1, 8);
    while (!m_waiting.empty() && taken.size() < most)
    {
        taken.push_back(std::move(m_waiting.front()));
        m_waiting.pop_front();
        m_guests.at(taken.back().client).visitor->OnTaken(taken.back().serial);
    }
    if (!m_waiting.empty())
        m_user.OnRequests();
    return taken;
}

void SimulatedDoor::Send(const Outgoing &message, std::span<const ClientNumber> to)
{
    if (m_isStopped())
        return;
    m_hear(*message.message);
    for (const ClientNumber client : to)
        if (const auto found = m_guests.find(client); found != m_guests.end())
            found->second.visitor->OnSent(message);
}

} // namespace simulation
