#include "web/door/Conversations.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "ostrel/CallEntry.h"
#include "web/door/Conversation.h"

namespace web
{

using ostrel::_CallEntry;

Conversations::Conversations(std::size_t most, std::size_t mostOfPeer)
    : m_most(most), m_mostOfPeer(mostOfPeer)
{
    _CallEntry call("Conversations::Conversations", __FILE__, __LINE__);
}

Conversations::Room Conversations::MakeRoom(const String &peer)
{
    _CallEntry call("Conversations::MakeRoom", __FILE__, __LINE__);

    const auto countOfPeer = [&]
    {
        const auto ofPeer = m_ofPeer.find(peer);
        return ofPeer == m_ofPeer.end() ? 0 : ofPeer->second;
    };
    if (peer == k_Strangers)
    {
        if (countOfPeer() >= k_MostRefused)
            CloseLongestWaiting(&peer);
        return countOfPeer() >= k_MostRefused ? Room::None : Room::ToRefuse;
    }
    if (countOfPeer() >= m_mostOfPeer)
        CloseLongestWaiting(&peer);
    if (m_all.size() >= m_most)
        CloseLongestWaiting(nullptr);
    if (m_all.size() >= m_most + k_MostRefused || countOfPeer() >= m_mostOfPeer + k_MostRefused)
        return Room::None;
    return m_all.size() >= m_most || countOfPeer() >= m_mostOfPeer ? Room::ToRefuse : Room::Free;
}

void Conversations::Add(const std::shared_ptr<Conversation> &conversation)
{
    _CallEntry call("Conversations::Add", __FILE__, __LINE__);

    m_all.emplace(conversation.get(), conversation);
    ++m_ofPeer[conversation->Peer()];
}

void Conversations::Remove(Conversation *conversation)
{
    _CallEntry call("Conversations::Remove", __FILE__, __LINE__);

    const auto node = m_all.extract(conversation);
    if (!node)
        return;
    const auto ofPeer = m_ofPeer.find(conversation->Peer());
    if (--ofPeer->second == 0)
        m_ofPeer.erase(ofPeer);
}

void Conversations::EndStreams(const String &session)
{
    _CallEntry call("Conversations::EndStreams", __FILE__, __LINE__);

    std::vector<std::shared_ptr<Conversation>> ended;
    for (const auto &[key, conversation] : m_all)
        if (conversation->IsStreamOf(session))
            ended.push_back(conversation);
    for (const auto &conversation : ended)
        conversation->Close();
}

std::size_t Conversations::CountStreams() const
{
    _CallEntry call("Conversations::CountStreams", __FILE__, __LINE__);

    return std::size_t(std::count_if(m_all.begin(), m_all.end(),
                                     [](const auto &each) { return each.second->IsStream(); }));
}

std::size_t Conversations::CountStreamsOf(const String &session) const
{
    _CallEntry call("Conversations::CountStreamsOf", __FILE__, __LINE__);

    return std::size_t(std::count_if(m_all.begin(), m_all.end(),
                                     [&](const auto &each)
                                     { return each.second->IsStreamOf(session); }));
}

void Conversations::DropAll()
{
    _CallEntry call("Conversations::DropAll", __FILE__, __LINE__);

    const auto all = std::exchange(m_all, {});
    for (const auto &[key, conversation] : all)
        conversation->Drop();
}

void Conversations::CloseLongestWaiting(const String *peer)
{
    _CallEntry call("Conversations::CloseLongestWaiting", __FILE__, __LINE__);

    std::shared_ptr<Conversation> longest;
    for (const auto &[key, conversation] : m_all)
        if (conversation->IsWaiting() && (!peer || conversation->Peer() == *peer) &&
            (!longest || conversation->WaitingSince() < longest->WaitingSince()))
            longest = conversation;
    if (longest)
        longest->Close();
}

} // namespace web
