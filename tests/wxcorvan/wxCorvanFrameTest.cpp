#include "wxcorvan/wxCorvanFrame.h"

#include <gtest/gtest.h>
#include <wx/menu.h>
#include <wx/sizer.h>
#include <wx/statusbr.h>

#include "ostrel/OptionsFile.h"
#include "tests/support/WindowTest.h"
#include "tests/wxcorvan/TestApp.h"
#include "wxcorvan/WindowPlace.h"

using namespace wxcorvan;
using ostrel::String;

namespace
{

void StorePlace(const char *x, const char *y, const char *width, const char *height,
                const char *maximized)
{
    Options().InsertSection("Window");
    Options().SetValue("X", x);
    Options().SetValue("Y", y);
    Options().SetValue("Width", width);
    Options().SetValue("Height", height);
    Options().SetValue("Maximized", maximized);
}

String Stored(const char *key)
{
    return Options().FindText("Window", key).value_or("(none)");
}

class wxCorvanFrameTest : public testing::Test
{
protected:
    wxCorvanFrameTest()
    {
        m_frame = new wxCorvanFrame("Frame", {70, 80}, {500, 300});
    }

    wxCorvanFrame *m_frame;
};

} // namespace

TEST_F(wxCorvanFrameTest, ComesBackToItsPlace)
{
    const wxRect place(150, 120, 640, 410);
    StorePlace("150", "120", "640", "410", "no");
    m_frame->LoadWindowPosition();
    m_frame->Show();
    EXPECT_TRUE(
        PumpUntil([&] { return m_frame->IsActive() && PlaceOnDisplay(*m_frame) == place; }));
    PumpIdle();
    m_frame->SaveWindowPosition();
    EXPECT_EQ(LoadPlace(Options(), "Window"), place);
    m_frame->Destroy();
    PumpIdle();

    // No matter how often: the window manager's frame does not push it along.
    auto *again = new wxCorvanFrame("Frame", {0, 0}, {300, 200});
    again->LoadWindowPosition();
    again->Show();
    EXPECT_TRUE(PumpUntil([&] { return again->IsActive() && PlaceOnDisplay(*again) == place; }));
    PumpIdle();
    again->SaveWindowPosition();
    EXPECT_EQ(LoadPlace(Options(), "Window"), place);
}

TEST_F(wxCorvanFrameTest, FollowsTheUserWhoMovesIt)
{
    StorePlace("150", "120", "640", "410", "no");
    m_frame->LoadWindowPosition();
    ShowActive(*m_frame);
    m_frame->SetSize(200, 210, 420, 380);
    EXPECT_TRUE(PumpUntil(
        [this]
        {
            m_frame->SaveWindowPosition();
            return *LoadPlace(Options(), "Window") == wxRect(200, 210, 420, 380);
        }))
        << Stored("X") << ' ' << Stored("Y") << ' ' << Stored("Width") << ' ' << Stored("Height");
}

TEST_F(wxCorvanFrameTest, StaysOnTheScreen)
{
    StorePlace("9000", "-9000", "640", "400", "no");
    m_frame->LoadWindowPosition();
    ShowActive(*m_frame);
    const wxRect screen = ListScreens().front();
    EXPECT_TRUE(PumpUntil(
        [&]
        {
            const wxRect place = PlaceOnDisplay(*m_frame);
            return screen.Contains(place) && place.GetSize() == wxSize(640, 400);
        }));
}

TEST_F(wxCorvanFrameTest, StaysAsItIsForNonsense)
{
    const struct
    {
        const char *x;
        const char *width;
    } cases[] = {{"left", "640"}, {"10", "0"}, {"10", "-1"}, {"10", "99999999"}, {"1e9", "640"}};

    for (const auto &[x, width] : cases)
    {
        StorePlace(x, "120", width, "400", "perhaps");
        m_frame->LoadWindowPosition();
        EXPECT_EQ(m_frame->GetSize(), wxSize(500, 300)) << x << ' ' << width;
        EXPECT_FALSE(m_frame->IsMaximized());
    }
}

TEST_F(wxCorvanFrameTest, RemembersThePlaceBeforeItWasMaximised)
{
    StorePlace("150", "120", "640", "410", "no");
    m_frame->LoadWindowPosition();
    ShowActive(*m_frame);
    ASSERT_TRUE(
        PumpUntil([this] { return PlaceOnDisplay(*m_frame).GetSize() == wxSize(640, 410); }));
    m_frame->Maximize();
    ASSERT_TRUE(
        PumpUntil([this] { return m_frame->IsMaximized() && m_frame->GetSize().x > 1000; }));
    m_frame->SaveWindowPosition();
    EXPECT_EQ(Stored("Maximized"), "Yes");
    EXPECT_EQ(LoadPlace(Options(), "Window")->GetSize(), wxSize(640, 410));

    m_frame->Destroy();
    PumpIdle();
    auto *again = new wxCorvanFrame("Frame", {0, 0}, {300, 200});
    again->LoadWindowPosition();
    ShowActive(*again);
    EXPECT_TRUE(PumpUntil([again] { return again->IsMaximized(); }));
}

TEST_F(wxCorvanFrameTest, IsToldOfTheConnectionAfterTheProgram)
{
    TestApp::Get().seen.clear();
    std::vector<std::string> seen;
    const auto connected = corvan::MessengerConnectedEvt::s_Signal.ConnectFunction(
        [&](const corvan::MessengerConnectedEvt &) { seen.push_back("another receiver"); });
    m_frame->Bind(wxCORVAN_CONNECT_EVENT, [&](wxCommandEvent &) { seen.push_back("connect"); });
    m_frame->Bind(wxCORVAN_DISCONNECT_EVENT,
                  [&](wxCommandEvent &) { seen.push_back("disconnect"); });
    auto *plain = new wxFrame(m_frame, wxID_ANY, "Not one of ours");
    plain->Bind(wxCORVAN_CONNECT_EVENT, [&](wxCommandEvent &) { seen.push_back("plain"); });

    TestApp::Get().link.callbacks.connected();
    EXPECT_TRUE(PumpUntil([&] { return seen.size() >= 2; }));
    TestApp::Get().link.callbacks.disconnected("the test ends it");
    EXPECT_TRUE(PumpUntil([&] { return seen.size() >= 3; }));
    PumpIdle();
    EXPECT_EQ(TestApp::Get().seen,
              (std::vector<std::string>{"program connected", "program disconnected"}));
    EXPECT_EQ(seen, (std::vector<std::string>{"connect", "another receiver", "disconnect"}));
}

TEST_F(wxCorvanFrameTest, ClosesByTheExitCommandThatNobodyTook)
{
    auto *menu = new wxMenu;
    menu->Append(wxID_EXIT, "Close\tCtrl+W");
    auto *bar = new wxMenuBar;
    bar->Append(menu, "File");
    m_frame->SetMenuBar(bar);
    bool wasClosed = false;
    m_frame->Bind(
        wxEVT_MENU, [](wxCommandEvent &event) { event.Skip(); }, wxID_ANY);
    m_frame->Bind(wxEVT_CLOSE_WINDOW,
                  [&](wxCloseEvent &event)
                  {
                      wasClosed = true;
                      event.Skip();
                  });
    wxTheApp->SetTopWindow(m_frame);
    ShowActive(*m_frame);
    PressKeys("ctrl+w");
    EXPECT_TRUE(PumpUntil([&] { return wasClosed; }));
}

TEST_F(wxCorvanFrameTest, TextsOfAStatusBarWithoutRoomAreTakenInSilence)
{
    m_frame->CreateStatusBar(3);
    ShowActive(*m_frame);
    m_frame->GetStatusBar()->SetSize(2, 20);

    testing::internal::CaptureStderr();
    m_frame->SetStatusText("7 Files", 2);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(m_frame->GetStatusBar()->GetStatusText(2), "7 Files");
}

TEST_F(wxCorvanFrameTest, ManyTextsOfTheStatusBarArePaintedTogether)
{
    m_frame->CreateStatusBar(3);
    ShowActive(*m_frame);
    PumpIdle();
    int paints = 0;
    m_frame->GetStatusBar()->Bind(wxEVT_PAINT,
                                  [&](wxPaintEvent &event)
                                  {
                                      ++paints;
                                      event.Skip();
                                  });

    for (int count = 1; count <= 100; ++count)
        m_frame->SetStatusText(wxString::Format("%d Missing", count), 1);
    EXPECT_EQ(paints, 0);
    EXPECT_TRUE(PumpUntil([&] { return paints > 0; }));
    EXPECT_EQ(m_frame->GetStatusBar()->GetStatusText(1), "100 Missing");
}

TEST_F(wxCorvanFrameTest, ALongNoticeStaysInTheWindowWithItsButton)
{
    m_frame->SetSizer(new wxBoxSizer(wxVERTICAL));
    ShowActive(*m_frame);
    wxString text;
    for (int word = 0; word < 40; ++word)
        text += "refused ";
    m_frame->ShowNotice(text);
    PumpIdle();

    const wxWindow *notice = m_frame->GetSizer()->GetItem(std::size_t(0))->GetWindow();
    ASSERT_TRUE(notice);
    for (const wxWindow *part : notice->GetChildren())
        EXPECT_LE(part->GetRect().GetRight(), notice->GetClientSize().x) << part->GetName();
    Screenshot(*m_frame, "long-notice");
}
