#pragma once

#include <vector>

#include "corvan/Link.h"

/// A link without a Master: it keeps what was sent, and the test says what happens.
class FakeLink : public corvan::Link
{
public:
    void Start(Callbacks callbacks) override
    {
        m_callbacks = std::move(callbacks);
    }
    void Send(const boost::shared_ptr<corvan::Message> &message) override
    {
        sent.push_back(message);
    }
    void Stop() override
    {
        m_callbacks = {};
    }

    void Connect()
    {
        m_callbacks.connected();
    }
    void Disconnect()
    {
        m_callbacks.disconnected("the test says so");
    }
    void Receive(const boost::shared_ptr<corvan::Message> &message)
    {
        m_callbacks.received(message);
    }

    std::vector<boost::shared_ptr<corvan::Message>> sent;

private:
    Callbacks m_callbacks;
};
