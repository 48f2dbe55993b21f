#include "tests/simulation/SimulatedDoor.h"

#include <algorithm>

namespace simulation
{

namespace
{

// Everybody may do everything: rights are no matter of time and crashes.
std::shared_ptr<const master::Identity> Somebody()
{
    master::Identity who;
    who.user = "somebody";
    who.role = master::Role::Admin;
    who.peer = "nowhere";
    return std::make_shared<const master::Identity>(who);
}

} // namespace

SimulatedDoor::SimulatedDoor(User &user, Chance &chance, std::function<bool()> isStopped)
    : m_who(Somebody()), m_user(user), m_chance(chance), m_isStopped(std::move(isStopped))
{
}

ClientNumber SimulatedDoor::Come(Visitor &visitor)
{
    m_visitors[++m_last] = &visitor;
    return m_last;
}

void SimulatedDoor::Leave(ClientNumber client)
{
    m_visitors.erase(client);
    std::erase_if(m_waiting, [&](const Request &request) { return request.client == client; });
    m_user.OnClientGone(client);
}

void SimulatedDoor::Ask(ClientNumber client, std::uint64_t serial,
                        boost::shared_ptr<Message> message)
{
    Request request;
    request.client = client;
    request.who = m_who;
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
        m_visitors.at(taken.back().client)->OnTaken(taken.back().serial);
    }
    if (!m_waiting.empty())
        m_user.OnRequests();
    return taken;
}

void SimulatedDoor::Send(const Outgoing &message, std::span<const ClientNumber> to)
{
    if (m_isStopped())
        return;
    for (const ClientNumber client : to)
        if (const auto found = m_visitors.find(client); found != m_visitors.end())
            found->second->OnSent(message);
}

} // namespace simulation
