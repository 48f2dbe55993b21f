#include "wxcorvan/wxDBListCtrl.h"

#include <chrono>
#include <memory>
#include <set>

#include <gtest/gtest.h>
#include <wx/frame.h>
#include <wx/sizer.h>

#include "tests/support/WindowTest.h"
#include "wxcorvan/wxcColors.h"

using namespace wxcorvan;
using ostrel::String;

namespace
{

using Rows = std::set<int>;

/// A list whose owner keeps the selection by its event handlers, as the program's own list does.
class OwnedList : public wxDBListCtrl
{
public:
    OwnedList(wxWindow *parent, bool singleSelection)
        : wxDBListCtrl(parent, wxID_ANY, singleSelection)
    {
        Bind(wxEVT_LIST_ITEM_SELECTED, [this](wxListEvent &event) { Take(event, true); });
        Bind(wxEVT_LIST_ITEM_DESELECTED, [this](wxListEvent &event) { Take(event, false); });
    }

    bool IsRowSelected(int row) override
    {
        return selected.contains(row);
    }
    std::vector<int> GetSelection() override
    {
        std::vector<int> rows(selected.begin(), selected.end());
        rows.push_back(-1); // A path that is in the table no more.
        return rows;
    }
    String GetDisplayText(int row, int column) override
    {
        ++textsAsked;
        return column == 0 ? "/farm/shot/beauty/a_rather_long_name." + std::to_string(row) + ".exr"
                           : std::to_string(row * 7) + " KB";
    }
    wxColour GetRowColor(int row) override
    {
        const String *colors[] = {&color_Text, &color_TextGrey, &color_TextRed, &color_TextOrange};
        return wxcGetColor(*colors[row % 4]);
    }
    void DoClear() override
    {
        selected.clear();
    }

    Rows selected;
    int eventCount = 0;
    int textsAsked = 0;

private:
    void Take(wxListEvent &event, bool select)
    {
        const int row = int(event.GetIndex());
        ++eventCount;
        // Every event tells of a change.
        EXPECT_NE(selected.contains(row), select) << "row " << row;
        if (select)
            selected.insert(row);
        else
            selected.erase(row);
        RedrawItem(row);
    }
};

class wxDBListCtrlTest : public testing::Test
{
protected:
    void Make(int rowCount, bool singleSelection = false)
    {
        m_frame = new wxFrame(nullptr, wxID_ANY, "List", {40, 40}, {560, 420});
        m_list = new OwnedList(m_frame, singleSelection);
        m_list->AddColumn("Filename", 275);
        m_list->AddColumn("Size", 100);
        m_list->SetHighlightColumn(0);
        for (int row = 0; row < rowCount; ++row)
            m_list->Insert(row, false);
        ShowActive(*m_frame);
        m_list->GetTargetWindow()->SetFocus();
        ASSERT_TRUE(PumpUntil([this] { return m_list->GetTargetWindow()->HasFocus(); }));
    }

    void Click(int row, const std::string &modifiers = {})
    {
        wxRect place;
        ASSERT_TRUE(m_list->GetItemRect(row, place));
        ClickAt(*m_list, {60, place.y + place.height / 2}, modifiers);
    }

    wxFrame *m_frame = nullptr;
    OwnedList *m_list = nullptr;
};

Rows Range(int first, int last)
{
    Rows rows;
    for (int row = first; row <= last; ++row)
        rows.insert(rows.end(), row);
    return rows;
}

} // namespace

TEST_F(wxDBListCtrlTest, ReportsEveryRowOfEachGestureWithTheMouse)
{
    Make(10);
    const struct
    {
        int row;
        const char *modifiers;
        Rows selected;
    } steps[] = {
        {2, "", {2}},
        {5, "", {5}},
        {7, "shift", {5, 6, 7}},
        {3, "shift", {3, 4, 5}},
        {8, "ctrl", {3, 4, 5, 8}},
        {4, "ctrl", {3, 5, 8}},
        {6, "ctrl+shift", {3, 4, 5, 6, 8}},
        {1, "", {1}},
    };

    for (const auto &[row, modifiers, selected] : steps)
    {
        Click(row, modifiers);
        EXPECT_EQ(m_list->selected, selected) << modifiers << " click on row " << row;
        EXPECT_EQ(m_list->FocusRow(), row);
    }
    Screenshot(*m_frame, "list-10");
}

TEST_F(wxDBListCtrlTest, ReportsEveryRowOfEachGestureWithTheKeyboard)
{
    Make(10);
    const struct
    {
        const char *keys;
        int focus;
        Rows selected;
    } steps[] = {
        {"Down", 1, {1}},
        {"Down", 2, {2}},
        {"shift+Down", 3, {2, 3}},
        {"shift+Down shift+Down", 5, {2, 3, 4, 5}},
        {"shift+Up", 4, {2, 3, 4}},
        {"shift+Up shift+Up shift+Up", 1, {1, 2}},
        {"shift+End", 9, Range(2, 9)},
        {"shift+Home", 0, {0, 1, 2}},
        {"End", 9, {9}},
        {"ctrl+Home", 0, {9}},
        {"ctrl+Down ctrl+space", 1, {1, 9}},
        {"ctrl+space", 1, {9}},
        {"space", 1, {1}},
        {"ctrl+Down ctrl+Down", 3, {1}},
        {"ctrl+shift+Down", 4, {1, 2, 3, 4}},
        {"ctrl+a", 4, Range(0, 9)},
        {"Up", 3, {3}},
        {"shift+Page_Down", 9, Range(3, 9)},
        {"Home shift+Page_Down", 9, Range(0, 9)},
        {"Page_Up", 0, {0}},
    };

    for (const auto &[keys, focus, selected] : steps)
    {
        PressKeys(keys);
        EXPECT_EQ(m_list->selected, selected) << keys;
        EXPECT_EQ(m_list->FocusRow(), focus) << keys;
    }
}
