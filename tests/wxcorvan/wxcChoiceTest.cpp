#include "wxcorvan/wxcChoice.h"

#include <gtest/gtest.h>
#include <wx/frame.h>
#include <wx/sizer.h>
#include <wx/wupdlock.h>

#include "tests/support/WindowTest.h"

using namespace wxcorvan;

namespace
{

class wxcChoiceTest : public testing::Test
{
protected:
    wxcChoiceTest()
    {
        m_frame = new wxFrame(nullptr, wxID_ANY, "Choice", {40, 40}, {320, 200});
        m_choice = new wxcChoice(m_frame, wxID_ANY);
        auto *sizer = new wxBoxSizer(wxVERTICAL);
        sizer->Add(m_choice, 0, wxEXPAND | wxALL, 10);
        m_frame->SetSizer(sizer);
        m_frame->Bind(wxEVT_COMBOBOX, [this](wxCommandEvent &event)
                      { m_reported.push_back(event.GetSelection()); });
        m_frame->Bind(wxEVT_CHOICE, [](wxCommandEvent &) { FAIL(); });
    }

    void Fill()
    {
        m_choice->Append("/server/a.%04d.exr");
        m_choice->Append("/server/b.%04d.exr");
        m_choice->Append("/a/very/long/way/to/the/rendered/frames/of/one/shot/beauty.%04d.exr");
    }

    wxFrame *m_frame;
    wxcChoice *m_choice;
    std::vector<int> m_reported;
};

} // namespace

TEST_F(wxcChoiceTest, ReportsAChangeByTheUserAsAComboBox)
{
    Fill();
    m_choice->Select(0);
    ShowActive(*m_frame);
    EXPECT_TRUE(m_reported.empty()) << "the program's own selection is not reported";

    m_choice->SetFocus();
    PumpIdle();
    PressKeys("Down");
    EXPECT_EQ(m_choice->GetSelection(), 1);
    EXPECT_EQ(m_reported, std::vector{1});
    EXPECT_EQ(m_choice->GetStringSelection(), "/server/b.%04d.exr");
}

TEST_F(wxcChoiceTest, OpensItsListAndTakesWhatIsChosenThere)
{
    Fill();
    m_choice->Select(0);
    ShowActive(*m_frame);
    ClickAt(*m_choice, {20, 10});
    ASSERT_TRUE(PumpUntil([this] { return m_choice->IsPopupShown(); }));
    Screenshot(*m_frame, "choice-open");
    PressKeys("Down Down Return");
    EXPECT_TRUE(PumpUntil([this] { return !m_choice->IsPopupShown(); }));
    EXPECT_EQ(m_choice->GetSelection(), 2);
    EXPECT_EQ(m_reported, std::vector{2});
    Screenshot(*m_frame, "choice-long");
}

TEST_F(wxcChoiceTest, CannotBeTypedInto)
{
    Fill();
    m_choice->Select(0);
    ShowActive(*m_frame);
    m_choice->SetFocus();
    PumpIdle();
    TypeText("xyz");
    EXPECT_EQ(m_choice->GetStringSelection(), "/server/a.%04d.exr");
}

TEST_F(wxcChoiceTest, ShowsTheWholeTextAsItsTip)
{
    Fill();
    EXPECT_EQ(m_choice->GetToolTipText(), "");
    m_choice->Select(2);
    EXPECT_EQ(m_choice->GetToolTipText(), m_choice->GetString(2));
    m_choice->Clear();
    EXPECT_EQ(m_choice->GetToolTipText(), "");
}

TEST_F(wxcChoiceTest, TakesAThawWithoutAFreeze)
{
    m_choice->Thaw();
    EXPECT_FALSE(m_choice->IsFrozen());

    m_choice->Freeze();
    m_choice->Freeze();
    m_choice->Thaw();
    EXPECT_TRUE(m_choice->IsFrozen());
    m_choice->Thaw();
    m_choice->Thaw();
    EXPECT_FALSE(m_choice->IsFrozen());
}

TEST_F(wxcChoiceTest, StaysFrozenWithItsWindow)
{
    ShowActive(*m_frame);
    {
        const wxWindowUpdateLocker frozen(m_frame);
        m_choice->Thaw();
        EXPECT_TRUE(m_choice->IsFrozen());
    }
    EXPECT_FALSE(m_choice->IsFrozen());
}

TEST_F(wxcChoiceTest, StaysNarrowWithLongTexts)
{
    Fill();
    EXPECT_LT(m_choice->GetBestSize().x, 200);
}

TEST_F(wxcChoiceTest, GivesItsItemsBackInOrder)
{
    Fill();
    ASSERT_EQ(m_choice->GetCount(), 3u);
    EXPECT_EQ(m_choice->GetStrings()[1], "/server/b.%04d.exr");
    EXPECT_EQ(m_choice->GetSelection(), wxNOT_FOUND);
    EXPECT_EQ(m_choice->GetStringSelection(), "");
    m_choice->Clear();
    EXPECT_EQ(m_choice->GetCount(), 0u);
}
