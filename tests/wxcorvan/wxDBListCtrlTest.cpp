#include "wxcorvan/wxDBListCtrl.h"

#include <chrono>
#include <functional>
#include <memory>
#include <set>

#include <gtest/gtest.h>
#include <wx/frame.h>
#include <wx/imaglist.h>
#include <wx/menu.h>
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
        return column == 0
                   ? "/server/shot/beauty/a_rather_long_name." + std::to_string(row) + ".exr"
                   : std::to_string(row * 7) + " KB";
    }
    wxColour GetRowColor(int row) override
    {
        const String *colors[] = {&color_Text, &color_TextGrey, &color_TextRed, &color_TextOrange};
        return wxcGetColor(*colors[row % 4]);
    }
    int FilledRowCount() const override
    {
        return filled < 0 ? RowCount() : filled;
    }
    void DoClear() override
    {
        selected.clear();
        ++clears;
    }

    Rows selected;
    int eventCount = 0;
    int textsAsked = 0;
    int clears = 0;
    int filled = -1; ///< Rows that are not empty; -1 for all.

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

    /// How long the owner's thread was busy with it, from the key to the last event.
    double MsOf(const std::string &keys)
    {
        const auto begin = std::chrono::steady_clock::now();
        PressKeys(keys);
        return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin)
            .count();
    }

    /// Has the rows painted and says how many texts were asked for.
    int TextsOfOnePaint()
    {
        PumpIdle();
        m_list->textsAsked = 0;
        m_list->Redraw();
        m_list->GetTargetWindow()->Update();
        PumpUntil([this] { return m_list->textsAsked > 0; }, 2000);
        return m_list->textsAsked;
    }

    /// The ground of a row, in a column that is not highlighted, as the screen shows it.
    wxColour GroundOf(int row)
    {
        wxRect place;
        EXPECT_TRUE(m_list->GetItemRect(row, place));
        return PixelAt(*m_list, {m_list->GetColumnWidth(0) + 2, place.y + place.height / 2});
    }

    int TopRow() const
    {
        return m_list->GetViewStart().y;
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

TEST_F(wxDBListCtrlTest, ReportsEveryRowOfADrag)
{
    Make(10);
    wxRect first;
    wxRect last;
    m_list->GetItemRect(2, first);
    m_list->GetItemRect(5, last);
    DragFromTo(*m_list, {60, first.y + 5}, {60, last.y + 5});
    EXPECT_EQ(m_list->selected, Range(2, 5));
}

TEST_F(wxDBListCtrlTest, TakesATremblingHandForAClick)
{
    Make(10);
    // From the lower edge of a row the next one is near; each at a row of its own, lest the clicks
    // become a double click.
    const auto lowEdge = [this](int row)
    {
        wxRect place;
        m_list->GetItemRect(row, place);
        return wxPoint(60, place.GetBottom() - 2);
    };
    DragFromTo(*m_list, lowEdge(3), lowEdge(3) + wxPoint(4, 5));
    EXPECT_EQ(m_list->selected, Rows{3});
    DragFromTo(*m_list, lowEdge(6), lowEdge(6) + wxPoint(0, 10));
    EXPECT_EQ(m_list->selected, (Rows{6, 7}));
    PressButtonAt(*m_list, lowEdge(1));
    ReleaseButtonAt(*m_list, lowEdge(3));
    EXPECT_EQ(m_list->selected, Range(1, 3)) << "also where only the release tells of the way";
}

TEST_F(wxDBListCtrlTest, EndsADragWhenTheRowsChangePlaces)
{
    Make(10);
    wxRect place;
    m_list->GetItemRect(2, place);
    const wxPoint from(60, place.y + 5);
    m_list->GetItemRect(6, place);
    const wxPoint to(60, place.y + 5);
    const struct
    {
        const char *what;
        std::function<void()> change;
        Rows selected;
    } cases[] = {
        {"nothing", [] {}, Range(2, 6)},
        {"repainted", [this] { m_list->Redraw(); }, Range(2, 6)},
        {"a row more at the end", [this] { m_list->Insert(m_list->RowCount(), false); },
         Range(2, 6)},
        {"sorted", [this] { m_list->Reordered(9, 9); }, {2}},
        {"sorted, the row at its place", [this] { m_list->Reordered(2, 2); }, {2}},
        {"a row more before it", [this] { m_list->Insert(1, false); }, {2}},
        {"emptied", [this] { m_list->Clear(); }, {}},
    };
    for (const auto &[what, change, selected] : cases)
    {
        PressButtonAt(*m_list, from);
        change();
        ReleaseButtonAt(*m_list, to);
        EXPECT_EQ(m_list->selected, selected) << what;
    }
}

TEST_F(wxDBListCtrlTest, HasKeyboardAndRangeGoAlongWithTheirRows)
{
    Make(1000);
    Click(2);
    PressKeys("shift+Down");
    m_list->Reordered(7, 9);
    EXPECT_EQ(m_list->FocusRow(), 7);
    EXPECT_EQ(m_list->AnchorRow(), 9);
    PressKeys("shift+Up");
    EXPECT_EQ(m_list->selected, Range(6, 9));

    m_list->Reordered(800, 802);
    PumpIdle();
    EXPECT_GT(TopRow(), 700) << "what was in view stays in view";
    m_list->Scroll(-1, 100);
    m_list->Reordered(4, 5);
    PumpIdle();
    EXPECT_EQ(TopRow(), 100) << "what was out of view scrolls nothing";

    m_list->Reordered(-1, -1);
    EXPECT_EQ(m_list->FocusRow(), 4);
    EXPECT_EQ(m_list->AnchorRow(), -1);
    PressKeys("shift+Down");
    EXPECT_EQ(m_list->selected, Range(4, 5)) << "a new range begins where the keyboard is";
}

TEST_F(wxDBListCtrlTest, BeginsARangeAtTheRowWithTheKeyboard)
{
    Make(10);
    ASSERT_EQ(m_list->FocusRow(), 0);
    PressKeys("shift+Down");
    EXPECT_EQ(m_list->selected, Range(0, 1));
    m_list->Clear();
    for (int row = 0; row < 10; ++row)
        m_list->Insert(row, false);
    PumpIdle();
    Click(6, "shift");
    EXPECT_EQ(m_list->selected, Rows{6}) << "the mouse begins where it clicks";
}

TEST_F(wxDBListCtrlTest, ActsOnNoRowThatIsEmpty)
{
    Make(10);
    m_list->filled = 4;
    for (const char *keys : {"ctrl+a", "End", "shift+End", "Next", "alt+End", "alt+Down"})
    {
        PressKeys(keys);
        for (const int row : m_list->selected)
            EXPECT_LT(row, 4) << keys;
        EXPECT_LT(m_list->FocusRow(), 4) << keys;
    }
    Click(2);
    Click(8);
    EXPECT_EQ(m_list->selected, Rows()) << "as below the last row";
    m_list->SetFocusRow(8);
    EXPECT_EQ(m_list->FocusRow(), 2);

    m_list->filled = 0;
    PressKeys("ctrl+a End Down space");
    EXPECT_EQ(m_list->selected, Rows());
    m_list->filled = 100;
    PressKeys("End");
    EXPECT_EQ(m_list->selected, Rows{9}) << "no more rows than there are";
}

TEST_F(wxDBListCtrlTest, DeselectsAllByAClickBelowTheLastRow)
{
    Make(3);
    PressKeys("ctrl+a");
    EXPECT_EQ(m_list->selected, Range(0, 2));
    wxRect last;
    m_list->GetItemRect(2, last);
    ClickAt(*m_list, {60, last.GetBottom() + 40}, "ctrl");
    EXPECT_EQ(m_list->selected, Range(0, 2));
    ClickAt(*m_list, {60, last.GetBottom() + 40});
    EXPECT_EQ(m_list->selected, Rows());
}

TEST_F(wxDBListCtrlTest, KeepsOneRowAtMostWhenMadeForSingleSelection)
{
    Make(10, true);
    const struct
    {
        const char *keys;
        Rows selected;
    } steps[] = {
        {"Down", {1}},      {"shift+Down", {2}}, {"ctrl+a", {2}},
        {"shift+End", {9}}, {"ctrl+space", {}},  {"space", {9}},
    };

    for (const auto &[keys, selected] : steps)
    {
        PressKeys(keys);
        EXPECT_EQ(m_list->selected, selected) << keys;
    }
    Click(3, "ctrl");
    EXPECT_EQ(m_list->selected, Rows{3});
    Click(6, "shift");
    EXPECT_EQ(m_list->selected, Rows{6});
}

TEST_F(wxDBListCtrlTest, ReportsActivationByEnterAndDoubleClick)
{
    Make(10);
    std::vector<int> activated;
    m_list->Bind(wxEVT_LIST_ITEM_ACTIVATED,
                 [&](wxListEvent &event) { activated.push_back(int(event.GetIndex())); });
    PressKeys("Down Return");
    wxRect place;
    m_list->GetItemRect(4, place);
    DoubleClickAt(*m_list, {60, place.y + 5});
    EXPECT_EQ(activated, (std::vector{1, 4}));
}

TEST_F(wxDBListCtrlTest, SelectsTheRowUnderARightClickUnlessItIsSelected)
{
    Make(10);
    std::vector<int> clicked;
    m_list->Bind(wxEVT_LIST_ITEM_RIGHT_CLICK,
                 [&](wxListEvent &event) { clicked.push_back(int(event.GetIndex())); });
    Click(2);
    Click(4, "shift");
    wxRect place;
    m_list->GetItemRect(3, place);
    ClickAt(*m_list, {60, place.y + 5}, "", 3);
    EXPECT_EQ(m_list->selected, Range(2, 4));
    m_list->GetItemRect(7, place);
    ClickAt(*m_list, {60, place.y + 5}, "", 3);
    EXPECT_EQ(m_list->selected, Rows{7});
    EXPECT_EQ(clicked, (std::vector{3, 7}));
}

TEST_F(wxDBListCtrlTest, ShowsWhatTheOwnerSelectsWithoutAnEvent)
{
    Make(10);
    m_list->selected = {1, 3};
    m_list->eventCount = 0;
    m_list->Redraw();
    PumpIdle();
    EXPECT_EQ(m_list->eventCount, 0);

    // The next gesture starts from the owner's selection.
    Click(3, "ctrl");
    EXPECT_EQ(m_list->selected, Rows{1});
    EXPECT_EQ(m_list->eventCount, 1);
}

TEST_F(wxDBListCtrlTest, PaintsGroundsInTheColorsOfTheTheme)
{
    Make(10);
    m_list->selected = {1, 3};
    m_list->SetFocusRow(3);
    m_list->Redraw();
    for (const ColorTheme theme : {ColorTheme::Light, ColorTheme::Dark})
    {
        wxcSetTheme(theme);
        const wxColour ground = wxcGetColor(color_ListBG);
        const wxColour selected = wxcGetColor(color_ListSelection);
        EXPECT_TRUE(PumpUntil([&] { return GroundOf(0) == ground; }));
        EXPECT_TRUE(PumpUntil([&] { return GroundOf(1) == selected; }));
        EXPECT_EQ(GroundOf(2), ground);
        EXPECT_EQ(GroundOf(3), selected);
        wxRect place;
        m_list->GetItemRect(9, place);
        const wxPoint below(1, place.GetBottom() + 20);
        EXPECT_EQ(PixelAt(*m_list, below), wxcGetColor(color_ListHighlight));
        m_list->GetItemRect(3, place);
        EXPECT_EQ(PixelAt(*m_list, {300, place.y - 1}), wxcGetColor(color_ListFocus));
        Screenshot(*m_frame, theme == ColorTheme::Dark ? "list-dark" : "list-light");
    }

    // One row alone is painted anew, whole.
    m_list->selected = {2};
    for (const int row : {1, 2, 3})
        m_list->RedrawItem(row);
    EXPECT_TRUE(PumpUntil([this] { return GroundOf(2) == wxcGetColor(color_ListSelection); }));
    EXPECT_EQ(GroundOf(1), wxcGetColor(color_ListBG));
    wxRect place;
    m_list->GetItemRect(2, place);
    EXPECT_EQ(PixelAt(*m_list, {520, place.y + 5}), wxcGetColor(color_ListSelection));
}

TEST_F(wxDBListCtrlTest, ExtendsARangeAfterTheOwnerChangedTheSelection)
{
    Make(10);
    PressKeys("Down shift+Down");
    m_list->selected = {7};
    m_list->Redraw();
    PressKeys("shift+Down");
    EXPECT_EQ(m_list->selected, Range(1, 3));
}

TEST_F(wxDBListCtrlTest, LeavesOtherKeysToTheWindow)
{
    Make(10);
    PressKeys("Down");
    int commands = 0;
    auto *menu = new wxMenu;
    menu->Append(2001, "Select\tCtrl+S");
    auto *bar = new wxMenuBar;
    bar->Append(menu, "File");
    m_frame->SetMenuBar(bar);
    m_frame->Bind(
        wxEVT_MENU, [&](wxCommandEvent &) { ++commands; }, 2001);
    PressKeys("ctrl+s x 5");
    EXPECT_EQ(commands, 1);
    EXPECT_EQ(m_list->selected, Rows{1});
    EXPECT_EQ(m_list->FocusRow(), 1);
}

TEST_F(wxDBListCtrlTest, SelectsAHundredThousandRowsAtOnce)
{
    Make(100'000);
    const double selectAll = MsOf("ctrl+a");
    EXPECT_EQ(m_list->selected.size(), 100'000u);
    EXPECT_EQ(m_list->eventCount, 100'000);

    m_list->eventCount = 0;
    const double again = MsOf("ctrl+a");
    EXPECT_EQ(m_list->eventCount, 0);

    const double one = MsOf("Down");
    EXPECT_EQ(m_list->selected, Rows{1});

    const double toEnd = MsOf("shift+End");
    EXPECT_EQ(m_list->selected, Range(1, 99'999));
    m_list->eventCount = 0;
    const double oneLess = MsOf("shift+Up");
    EXPECT_EQ(m_list->eventCount, 1);
    EXPECT_EQ(m_list->FocusRow(), 99'998);

    RecordProperty("selectAllMs", int(selectAll));
    RecordProperty("selectAllAgainMs", int(again));
    RecordProperty("selectOneMs", int(one));
    RecordProperty("extendToEndMs", int(toEnd));
    RecordProperty("extendByOneMs", int(oneLess));
    // Far from what rows times rows would take, on any machine and under a sanitizer.
    EXPECT_LT(selectAll, 5000);
    EXPECT_LT(one, 5000);
    EXPECT_LT(toEnd, 5000);
}

TEST_F(wxDBListCtrlTest, ReportsGesturesFarDownAHundredThousandRows)
{
    Make(100'000);
    PressKeys("End");
    EXPECT_EQ(m_list->selected, Rows{99'999});
    Click(99'995);
    EXPECT_EQ(m_list->selected, Rows{99'995});
    Click(99'998, "shift");
    EXPECT_EQ(m_list->selected, Range(99'995, 99'998));
    PressKeys("ctrl+Home");
    EXPECT_EQ(TopRow(), 0);
    Click(2, "ctrl+shift");
    EXPECT_EQ(m_list->selected, Range(2, 99'998));
}

TEST_F(wxDBListCtrlTest, AsksForTheVisibleRowsOnly)
{
    Make(100'000);
    const int texts = TextsOfOnePaint();
    EXPECT_GT(texts, 10);
    EXPECT_LT(texts, 100);
}

TEST_F(wxDBListCtrlTest, RepaintsNothingForARowThatIsOutOfSight)
{
    Make(100'000);
    TextsOfOnePaint();
    m_list->textsAsked = 0;
    m_list->RedrawItem(50'000);
    m_list->RedrawItem(-1);
    m_list->RedrawItem(100'000);
    PumpIdle();
    EXPECT_EQ(m_list->textsAsked, 0);
    m_list->RedrawItem(2);
    EXPECT_TRUE(PumpUntil([this] { return m_list->textsAsked > 0; }));
    EXPECT_LE(m_list->textsAsked, 4);
}

TEST_F(wxDBListCtrlTest, InsertsWithoutAskingForRows)
{
    Make(0);
    PumpIdle();
    m_list->textsAsked = 0;
    for (int row = 0; row < 1'000'000; ++row)
        m_list->Insert(row, false);
    EXPECT_EQ(m_list->textsAsked, 0);
    EXPECT_EQ(m_list->RowCount(), 1'000'000);
    EXPECT_EQ(m_list->GetItemCount(), 1'000'000);
    EXPECT_TRUE(PumpUntil([this] { return m_list->textsAsked > 0; }));
}

TEST_F(wxDBListCtrlTest, KeepsScrollPositionAndKeyboardRowOverARefill)
{
    Make(1000);
    m_list->SetFocusRow(500);
    PumpIdle();
    const int top = TopRow();
    EXPECT_GT(top, 0);

    m_list->Redraw();
    PumpIdle();
    EXPECT_EQ(TopRow(), top);

    m_list->Clear();
    EXPECT_EQ(m_list->clears, 1);
    EXPECT_EQ(m_list->RowCount(), 0);
    for (int row = 0; row < 1000; ++row)
        m_list->Insert(row, false);
    PumpIdle();
    EXPECT_EQ(TopRow(), top);
    EXPECT_EQ(m_list->FocusRow(), 500);
}

TEST_F(wxDBListCtrlTest, MovesTheKeyboardToTheLastRowOfAShorterList)
{
    Make(1000);
    m_list->SetFocusRow(500);
    m_list->Clear();
    for (int row = 0; row < 5; ++row)
        m_list->Insert(row, false);
    PumpIdle();
    EXPECT_EQ(m_list->FocusRow(), 4);
    EXPECT_EQ(TopRow(), 0);
    PressKeys("Up");
    EXPECT_EQ(m_list->selected, Rows{3});

    m_list->Clear();
    PumpIdle();
    EXPECT_EQ(m_list->FocusRow(), -1);
    PressKeys("Down ctrl+a space End");
    EXPECT_EQ(m_list->selected, Rows());
}

TEST_F(wxDBListCtrlTest, FollowsARowThatIsPushedDown)
{
    Make(10);
    m_list->SetFocusRow(4);
    m_list->Insert(2, true);
    EXPECT_EQ(m_list->FocusRow(), 5);
    m_list->Insert(11, false);
    EXPECT_EQ(m_list->FocusRow(), 5);
}

TEST_F(wxDBListCtrlTest, ScrollsARowIntoViewWithTheKeyboard)
{
    Make(1000);
    PressKeys("End");
    EXPECT_GT(TopRow(), 900);
    PressKeys("Home");
    EXPECT_EQ(TopRow(), 0);
    m_list->Insert(1000, false);
    m_list->SetFocusRow(1000);
    PumpIdle();
    EXPECT_GT(TopRow(), 900);
}

TEST_F(wxDBListCtrlTest, TakesTwoQuickClicksAtAHeaderForTwo)
{
    Make(10);
    std::vector<int> clicked;
    m_list->Bind(wxEVT_LIST_COL_CLICK,
                 [&](wxListEvent &event) { clicked.push_back(event.GetColumn()); });
    const wxWindow *header = nullptr;
    for (const wxWindow *child : m_list->GetChildren())
        if (child != m_list->GetTargetWindow())
            header = child;
    ASSERT_TRUE(header);
    const int middle = header->GetSize().y / 2;
    const int edge = m_list->GetColumnWidth(0);
    DoubleClickAt(*header, {60, middle});
    EXPECT_EQ(clicked, (std::vector{0, 0}));
    DoubleClickAt(*header, {edge + 20, middle});
    EXPECT_EQ(clicked, (std::vector{0, 0, 1, 1}));
    DoubleClickAt(*header, {edge - 1, middle});
    EXPECT_EQ(clicked.size(), 4u) << "between two columns";
}

TEST_F(wxDBListCtrlTest, PutsImagesIntoColumnHeaders)
{
    Make(10);
    auto *images = new wxImageList(12, 12);
    images->Add(wxBitmap(12, 12));
    images->Add(wxBitmap(12, 12));
    m_list->AssignImageList(images, wxIMAGE_LIST_SMALL);
    m_list->SetColumnImage(1, 1);
    wxListItem header;
    header.SetMask(wxLIST_MASK_IMAGE | wxLIST_MASK_TEXT);
    m_list->GetColumn(1, header);
    EXPECT_EQ(header.GetImage(), 1);
    EXPECT_EQ(header.GetText(), "Size");
    m_list->SetColumnImage(1, -1);
    m_list->GetColumn(1, header);
    EXPECT_EQ(header.GetImage(), -1);
    EXPECT_EQ(header.GetText(), "Size");
    m_list->SetColumnImage(7, 0);
    m_list->SetColumnImage(-1, 0);
    PumpIdle();
}
