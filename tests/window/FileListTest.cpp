// The list: texts, selection by path, sorting.

#include "ui/FileList.h"

#include <limits>

#include "tests/support/Printing.h"
#include "tests/window/OrdwickFixture.h"

using namespace corvan;
using namespace ostrel;

class FileListTest : public OrdwickFixture
{
protected:
    /// Frames 1 to `last` of growing sizes, all looked at.
    void Show(int last)
    {
        for (int frame = 1; frame <= last; ++frame)
            MakeFrame(frame, 10000u + static_cast<unsigned>(frame));
        Start();
        ConnectWithJob({{p_Range, "1-" + std::to_string(last)}});
        PumpPass();
    }
    bool IsInView(int row) const
    {
        wxRect place;
        EXPECT_TRUE(List().GetItemRect(row, place));
        return place.y >= 0 && place.GetBottom() <= List().GetClientSize().y;
    }
    std::set<Path> Frames(std::initializer_list<int> frames) const
    {
        std::set<Path> paths;
        for (const int frame : frames)
            paths.insert(FramePath(frame));
        return paths;
    }
};

TEST_F(FileListTest, ShowsSizesInWholeKilobytesAndTheTimeToTheSecond)
{
    MakeFrame(1, 1023);
    MakeFrame(2, 2048);
    Start();
    ConnectWithJob({{p_Range, "1-3"}});
    PumpPass();
    EXPECT_EQ(List().GetDisplayText(0, 1), "0 KB");
    EXPECT_EQ(List().GetDisplayText(1, 1), "2 KB");
    EXPECT_EQ(List().GetDisplayText(0, 2).size(), std::string("2026-11-20 14:03:09").size());
    EXPECT_EQ(List().GetDisplayText(2, 0), FramePath(3));
    EXPECT_EQ(List().GetDisplayText(2, 1), "");
    EXPECT_EQ(List().GetDisplayText(2, 2), "");
    EXPECT_EQ(List().GetDisplayText(3, 0), "");
    EXPECT_EQ(List().GetDisplayText(-1, 0), "");
    EXPECT_EQ(RowColor(3), "normal");
}

TEST_F(FileListTest, ClicksSelectByPathAndSortingKeepsTheFiles)
{
    Show(8);
    ClickRow(2);
    ClickRow(4, "ctrl");
    EXPECT_EQ(List().SelectedPaths(), Frames({3, 5}));
    EXPECT_EQ(List().GetSelection(), (std::vector<int>{2, 4}));
    EXPECT_EQ(Window().CurrentSelection(), FramePath(3));

    Window().SetSortCol(0); // Descending.
    EXPECT_EQ(List().SelectedPaths(), Frames({3, 5}));
    EXPECT_EQ(List().GetSelection(), (std::vector<int>{5, 3}));
    EXPECT_TRUE(List().IsRowSelected(3));
    EXPECT_FALSE(List().IsRowSelected(2));
    Screenshot(Window(), "selected-and-sorted");
}

TEST_F(FileListTest, AShiftClickReachesTheSelectionWhole)
{
    Show(8);
    ClickRow(1);
    ClickRow(5, "shift");
    EXPECT_EQ(List().SelectedPaths(), Frames({2, 3, 4, 5, 6}));
    ClickRow(3, "ctrl");
    EXPECT_EQ(List().SelectedPaths(), Frames({2, 3, 5, 6}));
    ClickRow(0);
    EXPECT_EQ(List().SelectedPaths(), Frames({1}));
}

TEST_F(FileListTest, KeysReachTheSelectionWhole)
{
    Show(8);
    ClickRow(2);
    PressKeys("shift+Down");
    PressKeys("shift+Down");
    EXPECT_EQ(List().SelectedPaths(), Frames({3, 4, 5}));
    PressKeys("ctrl+a");
    EXPECT_EQ(List().SelectedPaths().size(), 8u);
    PressKeys("Home");
    EXPECT_EQ(List().SelectedPaths(), Frames({1}));
    PressKeys("shift+End");
    EXPECT_EQ(List().SelectedPaths().size(), 8u);
}

TEST_F(FileListTest, ASelectedPathThatIsGoneHasTheLowestFrameNumber)
{
    Show(4);
    ClickRow(0);
    EXPECT_EQ(List().GetSDISelection(), (SequenceDistributor::Items{1}));
    // The table loses the path, the selection does not.
    List().Table().Clear();
    EXPECT_EQ(List().GetSelection(), std::vector<int>{-1});
    EXPECT_EQ(List().GetSDISelection(),
              (SequenceDistributor::Items{std::numeric_limits<int>::min()}));
}

TEST_F(FileListTest, ARefillEmptiesTheSelection)
{
    Show(4);
    ClickRow(0);
    Window().RefillList();
    EXPECT_TRUE(List().SelectedPaths().empty());
    EXPECT_EQ(Window().CurrentSelection(), "");
}

TEST_F(FileListTest, SelectBadTakesTheBadRowsAndNoOthers)
{
    MakeFrames(1, 9, 10000);
    MakeFrame(4, 10);
    MakeFrame(7, 100000);
    Start();
    ConnectWithJob({{p_Range, "1-10"}});
    PumpPass();
    ClickRow(0);
    List().SelectBad();
    EXPECT_EQ(List().SelectedPaths().count(FramePath(1)), 0u);
    EXPECT_EQ(List().SelectedPaths(), List().FindBadPaths());
    EXPECT_EQ(List().SelectedPaths().count(FramePath(4)), 1u);
    EXPECT_EQ(List().SelectedPaths().count(FramePath(10)), 1u);
}

TEST_F(FileListTest, AnotherColumnSortsAscendingAndTheSameOneTurnsRound)
{
    Show(6);
    EXPECT_EQ(List().GetDisplayText(0, 0), FramePath(1));
    Window().SetSortCol(1);
    EXPECT_EQ(Window().m_sortColumn, 1);
    EXPECT_TRUE(Window().m_sortAscending);
    Window().SetSortCol(1);
    EXPECT_FALSE(Window().m_sortAscending);
    EXPECT_EQ(List().GetDisplayText(0, 0), FramePath(6));
    Window().SetSortCol(-1);
    EXPECT_EQ(Window().m_sortColumn, 1);
    EXPECT_FALSE(Window().m_sortAscending);
    Window().SetSortCol(1);
    EXPECT_TRUE(Window().m_sortAscending) << "twice is as before";
}

TEST_F(FileListTest, CtrlAndANumberSortWithoutAMouse)
{
    Show(6);
    ClickRow(0);
    PressKeys("ctrl+2");
    EXPECT_EQ(Window().m_sortColumn, 1);
    EXPECT_TRUE(Window().m_sortAscending);
    PressKeys("ctrl+2");
    EXPECT_FALSE(Window().m_sortAscending);
    PressKeys("ctrl+4");
    PressKeys("ctrl+0");
    EXPECT_EQ(Window().m_sortColumn, 1);
    PressKeys("ctrl+1");
    EXPECT_EQ(Window().m_sortColumn, 0);
    EXPECT_TRUE(Window().m_sortAscending);
}

TEST_F(FileListTest, TabAndF6GoRoundThePartsOfTheWindow)
{
    Show(6);
    ClickRow(0);
    for (const char *key : {"F6", "Tab", "shift+F6", "shift+Tab"})
    {
        ASSERT_TRUE(List().IsDescendant(wxWindow::FindFocus())) << key;
        PressKeys(key);
        EXPECT_TRUE(FormatChoice().IsDescendant(wxWindow::FindFocus())) << key;
        PressKeys(key);
    }
    EXPECT_TRUE(List().IsDescendant(wxWindow::FindFocus()));
}

TEST_F(FileListTest, ASortLeavesTheKeyboardWithItsFrameAndTheFrameInView)
{
    Show(200);
    ClickRow(3);
    PressKeys("Next");
    const std::string frame = List().GetDisplayText(List().FocusRow(), 0);
    const int row = List().FocusRow();
    Window().SetSortCol(0); // Descending.
    EXPECT_EQ(List().FocusRow(), 199 - row);
    EXPECT_EQ(List().GetDisplayText(List().FocusRow(), 0), frame);
    EXPECT_TRUE(IsInView(List().FocusRow()));
    PressKeys("Down");
    EXPECT_EQ(List().FocusRow(), 200 - row);
}

TEST_F(FileListTest, ASortLeavesTheViewWhereTheUserScrolledAwayFromTheKeyboard)
{
    Show(200);
    ClickRow(0);
    List().Scroll(-1, 100);
    PumpIdle();
    Window().SetSortCol(1); // The same order.
    Window().SetSortCol(1);
    EXPECT_EQ(List().FocusRow(), 199);
    EXPECT_EQ(List().GetViewStart().y, 100);
}

TEST_F(FileListTest, PassesAndRefillsLeaveScrollPositionAndKeyboardAlone)
{
    Show(200);
    Window().SetSortCol(0); // Descending: a refill fills in ascending order at first.
    ClickRow(2);
    PressKeys("Next");
    PressKeys("Next");
    PressKeys("Up");
    const int row = List().FocusRow();
    const int top = List().GetViewStart().y;
    ASSERT_GT(top, 0);

    MakeFrame(200, 1); // Something to sort for.
    Window().CheckFiles(false);
    PumpPass();
    EXPECT_EQ(List().FocusRow(), row);
    EXPECT_EQ(List().GetViewStart().y, top);

    Window().RefillList();
    Window().RefillList();
    PumpPass();
    EXPECT_EQ(List().FocusRow(), row);
    EXPECT_EQ(List().GetViewStart().y, top);
}
