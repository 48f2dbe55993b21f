#pragma once

#include <string>
#include <vector>

#include "tests/support/FakeLink.h"
#include "wxcorvan/wxCorvanApp.h"

/// The application of these tests: the library's own, over a link that never leaves the program.
class TestApp : public wxcorvan::wxCorvanApp
{
public:
    TestApp();

    /// The running one.
    static TestApp &Get();

    bool Startup(corvan::CommandLine &commandLine) override;

    FakeLink::Record link;

    /// What the program itself was told of the connection.
    std::vector<std::string> seen;

protected:
    std::unique_ptr<corvan::Link> MakeLink(const corvan::MasterAddress &address) override;

private:
    ostrel::SignalConnection m_connected;
    ostrel::SignalConnection m_disconnected;
};

/// The options of the running one.
ostrel::OptionsFile &Options();
