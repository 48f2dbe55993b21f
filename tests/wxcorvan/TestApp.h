#pragma once

#include <vector>

#include "corvan/Link.h"
#include "wxcorvan/wxCorvanApp.h"

/// A link that keeps what was sent and never leaves the program.
class FakeLink : public corvan::Link
{
public:
    /// The one that the program started; null before.
    static FakeLink *s_live;

    FakeLink()
    {
        s_live = this;
    }
    ~FakeLink() override
    {
        s_live = nullptr;
    }

    void Start(Callbacks given) override
    {
        callbacks = std::move(given);
    }
    void Send(const boost::shared_ptr<corvan::Message> &message) override
    {
        sent.push_back(message);
    }
    void Stop() override {}

    Callbacks callbacks;
    std::vector<boost::shared_ptr<corvan::Message>> sent;
};

/// The application of these tests: the library's own, over the fake link.
class TestApp : public wxcorvan::wxCorvanApp
{
public:
    TestApp();

    bool Startup(corvan::CommandLine &commandLine) override;

    /// What the program itself was told of the connection.
    std::vector<std::string> seen;

protected:
    std::unique_ptr<corvan::Link> MakeLink(const corvan::MasterAddress &address) override;

private:
    ostrel::SignalConnection m_connected;
    ostrel::SignalConnection m_disconnected;
};
