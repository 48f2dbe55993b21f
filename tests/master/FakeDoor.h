#pragma once

#include <functional>
#include <utility>
#include <vector>

#include "master/door/Door.h"

/// A door without connections: one client, an administrator, asks what the test says, and what the
/// Master sends is kept.
class FakeDoor : public master::Door
{
public:
    explicit FakeDoor(User &user) : m_user(user)
    {
        auto who = std::make_shared<master::Identity>();
        who->user = "somebody";
        who->role = master::Role::Admin;
        m_who = who;
    }

    void Ask(const boost::shared_ptr<corvan::Message> &message)
    {
        Request request;
        request.client = 1;
        request.who = m_who;
        request.serial = message->serial = ++m_serial;
        request.what = message->TypeName();
        request.message = message;
        m_waiting.push_back(std::move(request));
        m_user.OnRequests();
    }

    std::vector<Request> TakeRequests() override
    {
        ++taken;
        return std::exchange(m_waiting, {});
    }
    void EndRequests() override
    {
        ++ended;
    }
    void Send(const master::Outgoing &message,
              std::span<const master::ClientNumber> /*to*/) override
    {
        sent.push_back(message);
        if (onSend)
            onSend();
    }
    std::size_t CountClients() const override
    {
        return 1;
    }
    const ostrel::String &Address() const override
    {
        return m_address;
    }
    void Reload() override {}

    int taken = 0; ///< How often `TakeRequests` was called, and `EndRequests`.
    int ended = 0;
    std::vector<master::Outgoing> sent;
    std::function<void()> onSend; ///< After each message that is sent.

private:
    User &m_user;
    std::shared_ptr<const master::Identity> m_who;
    std::uint64_t m_serial = 0;
    std::vector<Request> m_waiting;
    ostrel::String m_address = "nowhere";
};
