#pragma once

#include <vector>

#include "corvan/Link.h"

/// A link that keeps what was sent and whose callbacks the test calls itself.
class FakeLink : public corvan::Link
{
public:
    struct Record
    {
        Callbacks callbacks;
        std::vector<boost::shared_ptr<corvan::Message>> sent;
        bool isStopped = false;
    };

    /// The record outlives the link, which the messenger owns.
    explicit FakeLink(Record &record) : m_record(record) {}

    void Start(Callbacks callbacks) override
    {
        m_record.callbacks = std::move(callbacks);
    }
    void Send(const boost::shared_ptr<corvan::Message> &message) override
    {
        m_record.sent.push_back(message);
    }
    void Stop() override
    {
        m_record.isStopped = true;
    }

private:
    Record &m_record;
};
