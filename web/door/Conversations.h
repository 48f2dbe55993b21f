#pragma once

#include <cstddef>
#include <map>
#include <memory>

#include "web/door/Request.h"

namespace web
{

class Conversation;

/// All connections that are open, and how many there may be. Loop thread.
class Conversations
{
public:
    enum class Room
    {
        Free,
        ToRefuse, ///< Too many, but few enough of those to tell them so.
        None,
    };

    static constexpr std::size_t k_MostRefused = 64;

    /// The peer of all who may not come in, together: they have few places, and wait for no other.
    static constexpr const char *k_Strangers = "strangers";

    Conversations(std::size_t most, std::size_t mostOfPeer);

    /// Where all places are taken, or all of the peer, the one is closed that has kept the server
    /// waiting longest: idle, or with half a request. What is served stays.
    Room MakeRoom(const String &peer);
    void Add(const std::shared_ptr<Conversation> &conversation);
    void Remove(Conversation *conversation);

    /// Closes the streams of a session.
    void EndStreams(const String &session);
    std::size_t CountStreams() const;
    std::size_t CountStreamsOf(const String &session) const;

    /// Closes all; nobody is told.
    void DropAll();

private:
    void CloseLongestWaiting(const String *peer);

    const std::size_t m_most;
    const std::size_t m_mostOfPeer;
    std::map<Conversation *, std::shared_ptr<Conversation>> m_all;
    std::map<String, std::size_t> m_ofPeer;
};

} // namespace web
