#include "tests/wxcorvan/TestApp.h"

#include "ostrel/Log.h"
#include "tests/support/WindowTest.h"

TestApp::TestApp() : wxCorvanApp(ostrel::k_LogError, ostrel::k_LogNone, "TestApp") {}

TestApp &TestApp::Get()
{
    return *static_cast<TestApp *>(wxTheApp);
}

bool TestApp::Startup(corvan::CommandLine &commandLine)
{
    m_connected = corvan::MessengerConnectedEvt::s_Signal.ConnectFunction(
        [this](const corvan::MessengerConnectedEvt &) { seen.push_back("program connected"); });
    m_disconnected = corvan::MessengerDisconnectedEvt::s_Signal.ConnectFunction(
        [this](const corvan::MessengerDisconnectedEvt &)
        { seen.push_back("program disconnected"); });
    return wxCorvanApp::Startup(commandLine);
}

std::unique_ptr<corvan::Link> TestApp::MakeLink(const corvan::MasterAddress & /*address*/)
{
    return std::make_unique<FakeLink>(link);
}

ostrel::OptionsFile &Options()
{
    return TestApp::Get().Options();
}

wxApp *MakeTestApp()
{
    return new TestApp;
}
