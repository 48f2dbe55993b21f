#include "wxcorvan/wxCorvanDlg.h"

#include <gtest/gtest.h>

#include "ostrel/OptionsFile.h"
#include "tests/support/WindowTest.h"
#include "tests/wxcorvan/TestApp.h"
#include "wxcorvan/WindowPlace.h"
#include "wxcorvan/wxCorvanFrame.h"
#include "wxcorvan/wxCorvanMessageBox.h"
#include "wxcorvan/wxcCheckBox.h"
#include "wxcorvan/wxcColors.h"
#include "wxcorvan/wxcStaticText.h"
#include "wxcorvan/wxcTextCtrl.h"

using namespace wxcorvan;
using ostrel::String;

namespace
{

/// Two fields, and what they hold.
class TwoFields : public wxCorvanDlg
{
public:
    explicit TwoFields(wxWindow *parent, const String &name = "TwoFields", bool hasCancel = true)
        : wxCorvanDlg(parent, "Two Fields", name, true)
    {
        wxBoxSizer *controls = StartControls();
        controls->Add(NewStatic("A heading", true), 0, wxALL, 5);
        first = new wxcTextCtrl(this, -1, "one");
        second = new wxcTextCtrl(this, -1, "two");
        controls->Add(first, 0, wxEXPAND | wxALL, 5);
        controls->Add(second, 0, wxEXPAND | wxALL, 5);
        controls->Add(NewStatic("less important", false, true), 0, wxALL, 5);
        AddButtons(controls, hasCancel);
    }

    wxcTextCtrl *first;
    wxcTextCtrl *second;
};

class wxCorvanDlgTest : public testing::Test
{
protected:
    wxCorvanDlgTest()
    {
        m_parent = new wxCorvanFrame("Parent", {60, 60}, {700, 500});
        ShowActive(*m_parent);
    }

    int ResultOf(const std::function<void(wxTopLevelWindow &)> &steps, bool hasCancel = true)
    {
        int result = -1;
        TwoFields dialog(m_parent, "TwoFields", hasCancel);
        WhileModal([&] { result = dialog.ShowModal(); }, steps);
        return result;
    }

    wxCorvanFrame *m_parent;
};

void ClickButton(wxWindow &dialog, int id)
{
    const wxWindow *button = dialog.FindWindow(id);
    ASSERT_NE(button, nullptr);
    ClickAt(*button, {button->GetSize().x / 2, button->GetSize().y / 2});
}

} // namespace

TEST_F(wxCorvanDlgTest, EndsWithZeroUnlessAccepted)
{
    using Dialog = wxTopLevelWindow;
    EXPECT_EQ(ResultOf([](Dialog &) { PressKeys("Escape"); }), 0) << "Escape";
    EXPECT_EQ(ResultOf([](Dialog &dialog) { ClickButton(dialog, wxID_CANCEL); }), 0) << "Cancel";
    EXPECT_EQ(ResultOf([](Dialog &dialog) { dialog.Close(); }), 0) << "closing";
    EXPECT_EQ(ResultOf([](Dialog &) { PressKeys("Return"); }), wxID_OK) << "Enter";
    EXPECT_EQ(ResultOf([](Dialog &dialog) { ClickButton(dialog, wxID_OK); }), wxID_OK) << "OK";
    EXPECT_EQ(ResultOf([](Dialog &) { PressKeys("Escape"); }, false), 0) << "Escape, no Cancel";
    EXPECT_EQ(ResultOf([](Dialog &) { PressKeys("Return"); }, false), wxID_OK);
}

TEST_F(wxCorvanDlgTest, GivesTheKeyboardToTheFirstFieldAndTabsOn)
{
    TwoFields dialog(m_parent);
    WhileModal([&] { dialog.ShowModal(); },
               [&](wxTopLevelWindow &)
               {
                   EXPECT_TRUE(GetsKeyboard(*dialog.first));
                   PressKeys("ctrl+a");
                   TypeText("500");
                   PressKeys("Tab");
                   EXPECT_TRUE(GetsKeyboard(*dialog.second));
                   Screenshot(dialog, "dialog-dark");
                   PressKeys("Return");
               });
    EXPECT_EQ(dialog.first->GetValue(), "500");
    EXPECT_EQ(dialog.second->GetValue(), "two");
}

TEST_F(wxCorvanDlgTest, ComesUpWhereItWasInThisRun)
{
    wxRect place;
    {
        TwoFields dialog(m_parent, "Moved");
        WhileModal([&] { dialog.ShowModal(); },
                   [&](wxTopLevelWindow &window)
                   {
                       place = {300, 250, 420, 330};
                       PutOnDisplay(window, place);
                       PressKeys("Escape");
                   });
    }
    EXPECT_FALSE(Options().HasSection("Dialog Moved")) << "a cancelled dialog is not stored";
    {
        TwoFields dialog(m_parent, "Moved");
        WhileModal(
            [&] { dialog.ShowModal(); },
            [&](wxTopLevelWindow &window)
            {
                EXPECT_TRUE(PumpUntil(
                    [&] { return PlaceOnDisplay(window) == place && window.GetRect() == place; }));
                PressKeys("Return");
            });
    }
    EXPECT_EQ(LoadPlace(Options(), "Dialog Moved"), place);
}

TEST_F(wxCorvanDlgTest, ComesUpWhereTheOptionsSay)
{
    SavePlace(Options(), "Dialog Stored", {310, 220, 450, 340});
    TwoFields dialog(m_parent, "Stored");
    EXPECT_EQ(dialog.GetRect(), wxRect(310, 220, 450, 340));

    SavePlace(Options(), "Dialog Lost", {9000, 9000, 450, 340});
    const TwoFields lost(m_parent, "Lost");
    EXPECT_TRUE(ListScreens().front().Contains(lost.GetRect()));

    SavePlace(Options(), "Dialog Tiny", {310, 220, 1, 1});
    const TwoFields tiny(m_parent, "Tiny");
    EXPECT_GE(tiny.GetSize().x, tiny.GetMinSize().x);
    EXPECT_GE(tiny.GetSize().y, tiny.GetMinSize().y);
}

TEST_F(wxCorvanDlgTest, MakesTextsAsItsFlagsSay)
{
    TwoFields dialog(m_parent);
    EXPECT_EQ(dialog.NewStatic("plain")->GetParent(), &dialog);
    EXPECT_EQ(dialog.NewStatic("elsewhere", false, false, 0, 0, m_parent)->GetParent(), m_parent);
    EXPECT_EQ(dialog.NewStatic("bold", true)->GetFont().GetWeight(), wxFONTWEIGHT_BOLD);
    EXPECT_EQ(dialog.NewStatic("quiet", false, true)->GetForegroundColour(),
              wxcGetColor(color_TextGrey));
    EXPECT_EQ(dialog.NewStatic("plain")->GetForegroundColour(), wxcGetColor(color_Text));
    const wxString longText("so many words that they take more than one line");
    EXPECT_LT(dialog.NewStatic(longText + ' ' + longText, false, false, 150)->GetBestSize().x,
              dialog.NewStatic(longText + ' ' + longText)->GetBestSize().x);
    EXPECT_TRUE(dialog.NewStatic("right", false, false, 0, wxALIGN_RIGHT)->HasFlag(wxALIGN_RIGHT));
}

TEST_F(wxCorvanDlgTest, ShowsAMessageUntilItIsSuppressed)
{
    const auto show = [] { wxCorvanMessageBox("There is no Job", "NoJob", nullptr); };
    WhileModal(show,
               [](wxTopLevelWindow &window)
               {
                   EXPECT_EQ(window.GetTitle(), "TestApp");
                   Screenshot(window, "message");
                   PressKeys("Escape");
               });
    EXPECT_FALSE(Options().HasSection("Messages"));

    WhileModal(show,
               [](wxTopLevelWindow &window)
               {
                   wxWindow *box = window.FindWindowByName("checkBox", &window);
                   ASSERT_NE(box, nullptr);
                   ClickAt(*box, {10, box->GetSize().y / 2});
                   PressKeys("Return");
               });
    EXPECT_EQ(Options().FindText("Messages", "NoJob"), "No");

    show(); // Returns at once.
}

TEST_F(wxCorvanDlgTest, OffersNothingForAMessageWithoutAKey)
{
    WhileModal([this] { wxCorvanMessageBox("Once and again", "", m_parent); },
               [](wxTopLevelWindow &window)
               {
                   EXPECT_EQ(window.FindWindowByName("checkBox", &window), nullptr);
                   PressKeys("Return");
               });
}
