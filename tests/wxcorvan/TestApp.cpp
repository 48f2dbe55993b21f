#include "tests/wxcorvan/TestApp.h"

#include "ostrel/Log.h"
#include "tests/support/WindowTest.h"

FakeLink *FakeLink::s_live = nullptr;

TestApp::TestApp() : wxCorvanApp(ostrel::k_LogError, ostrel::k_LogNone, "TestApp") {}

std::unique_ptr<corvan::Link> TestApp::MakeLink(const corvan::MasterAddress & /*address*/)
{
    return std::make_unique<FakeLink>();
}

wxApp *MakeTestApp()
{
    return new TestApp;
}
