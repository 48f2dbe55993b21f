// The list: texts, selection by path, sorting.

#include "ui/FileList.h"

#include <ctime>
#include <fcntl.h>
#include <limits>
#include <sys/stat.h>

#include <wx/statusbr.h>

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
    void SetTime(int frame, std::time_t seconds) const
    {
        const timespec times[2] = {{seconds, 0}, {seconds, 0}};
        ASSERT_EQ(utimensat(AT_FDCWD, FramePath(frame).c_str(), times, 0), 0);
    }
    /// A point in a row that is in view.
    wxPoint PointIn(int row) const
    {
        wxRect place;
        EXPECT_TRUE(List().GetItemRect(row, place));
        return {place.x + 30, place.y + place.height / 2};
    }
    int HeaderHeight() const
    {
        return List().GetSize().y - List().GetTargetWindow()->GetSize().y;
    }
    /// The mouse at a point of the list, without a turn of the main loop, in which a pass would go
    /// on.
    void SendMouse(wxEventType type, const wxPoint &point) const
    {
        wxMouseEvent mouse(type);
        mouse.SetPosition(point - wxPoint(0, HeaderHeight()));
        List().GetTargetWindow()->ProcessWindowEvent(mouse);
    }
    /// A pass that finds a file of another size and sorts.
    void PassWithNews(int frame, std::size_t bytes)
    {
        MakeFrame(frame, bytes);
        Window().CheckFiles(false);
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

TEST_F(FileListTest, ShowsTheTimeOfTheFileOnTheClockOfThisPlace)
{
    // Half an hour beside the hours of Greenwich, and no summer time.
    const EnvironmentGuard place("TZ", "TEST-5:30");
    tzset();
    MakeFrames(1, 2, 1000);
    SetTime(1, 1'772'600'767); // 2026-03-04 05:06:07 in Greenwich.
    SetTime(2, -1);
    Start();
    ConnectWithJob({{p_Range, "1-2"}});
    PumpPass();
    EXPECT_EQ(List().GetDisplayText(0, 2), "2026-03-04 10:36:07");
    EXPECT_EQ(List().GetDisplayText(1, 2), "1970-01-01 05:29:59");
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

TEST_F(FileListTest, APassThatSortsWhileTheButtonIsDownSelectsNoMoreThanThePressDid)
{
    Show(12);
    Window().SetSortCol(1);
    std::size_t bytes = 20000;
    const struct
    {
        int row; ///< Another one each time, lest it become a double click.
        wxPoint way;
    } presses[] = {{2, {0, 0}}, {5, {2, -1}}, {1, {0, 60}}};
    for (const auto &[row, way] : presses)
    {
        const wxPoint point = PointIn(row);
        const String path = List().GetDisplayText(row, 0);
        PressButtonAt(List(), point);
        ASSERT_EQ(List().SelectedPaths(), std::set<Path>{path});

        PassWithNews(List().GetSDISelection().front(), bytes += 1000);
        ASSERT_EQ(List().GetDisplayText(11, 0), path) << "it has gone to the end";
        ReleaseButtonAt(List(), point + way);
        EXPECT_EQ(List().SelectedPaths(), std::set<Path>{path}) << "moved by " << way.y;
        EXPECT_EQ(List().FocusRow(), 11);
    }
}

TEST_F(FileListTest, ARefillWhileTheButtonIsDownLeavesNothingSelected)
{
    Show(12);
    const wxPoint point = PointIn(7);
    PressButtonAt(List(), PointIn(2));
    Window().RefillList();
    SendMouse(wxEVT_LEFT_UP, point);
    EXPECT_EQ(List().SelectedPaths(), std::set<Path>{}) << "before the pass has sorted";
    PumpPass();
    ReleaseButtonAt(List(), point);
    EXPECT_EQ(List().SelectedPaths(), std::set<Path>{});
}

TEST_F(FileListTest, AClickAtARowThatTheEdgeCutsSelectsThatRowAlone)
{
    Show(200);
    wxRect row;
    ASSERT_TRUE(List().GetItemRect(0, row));
    const wxWindow &rows = *List().GetTargetWindow();
    const int uneven = row.height / 2 - rows.GetClientSize().y % row.height;
    const wxRect place = Window().GetRect();
    PutOnDisplay(Window(), {place.x, place.y, place.width, place.height + uneven});
    WaitFor([&] { return rows.GetClientSize().y % row.height == row.height / 2; });

    const int whole = rows.GetClientSize().y / row.height;
    ClickAt(rows, {30, whole * row.height + 3});
    EXPECT_EQ(List().SelectedPaths(), Frames({whole + 1}));
    EXPECT_TRUE(IsInView(whole)) << "it was scrolled into view";
}

TEST_F(FileListTest, NoGestureReachesARowWithoutAFile)
{
    Start();
    ConnectWithJob({{p_Range, "1-10"}, {p_SequenceBy, "2"}});
    PumpPass();
    ASSERT_EQ(List().RowCount(), 10);
    ASSERT_EQ(List().GetDisplayText(5, 0), "") << "two frames of one path: five files";
    ClickRow(0); // Keys go to the list from here on.

    // Each begins with the third row selected.
    const struct
    {
        const char *what;
        std::function<void()> act;
        std::set<Path> selected;
        int focus;
    } gestures[] = {
        {"click", [&] { ClickRow(7); }, {}, 2},
        {"click with Shift", [&] { ClickRow(7, "shift"); }, Frames({3}), 2},
        {"click with Ctrl", [&] { ClickRow(7, "ctrl"); }, Frames({3}), 2},
        {"click with both", [&] { ClickRow(7, "ctrl+shift"); }, Frames({3}), 2},
        {"right click", [&] { ClickAt(List(), PointIn(7), {}, 3); }, Frames({3}), 2},
        {"double click", [&] { DoubleClickAt(List(), PointIn(7)); }, {}, 2},
        {"middle double click", [&] { DoubleClickAt(List(), PointIn(7), 2); }, Frames({3}), 2},
        {"right double click", [&] { DoubleClickAt(List(), PointIn(7), 3); }, Frames({3}), 2},
        {"side double click", [&] { DoubleClickAt(List(), PointIn(7), 8); }, Frames({3}), 2},
        {"drag", [&] { DragFromTo(List(), PointIn(3), PointIn(8)); }, Frames({4, 5}), 4},
        {"drag from there", [&] { DragFromTo(List(), PointIn(8), PointIn(3)); }, {}, 2},
        {"Ctrl+A", [] { PressKeys("ctrl+a"); }, Frames({1, 2, 3, 4, 5}), 2},
        {"End", [] { PressKeys("End"); }, Frames({5}), 4},
        {"Shift+End", [] { PressKeys("shift+End"); }, Frames({3, 4, 5}), 4},
        {"Ctrl+End", [] { PressKeys("ctrl+End"); }, Frames({3}), 4},
        {"Page Down", [] { PressKeys("Next"); }, Frames({5}), 4},
        {"Down", [] { PressKeys("Down Down Down Down"); }, Frames({5}), 4},
        {"Alt and arrows", [] { PressKeys("alt+End alt+Down alt+Next"); }, Frames({3}), 2},
        {"letters", [] { PressKeys("f shift+f slash 9"); }, Frames({3}), 2},
        {"space", [] { PressKeys("End ctrl+Down space"); }, Frames({5}), 4},
        {"Home", [] { PressKeys("End Home"); }, Frames({1}), 0},
    };
    for (const auto &[what, act, selected, focus] : gestures)
    {
        List().SetFocusRow(1);
        PressKeys("Down"); // A click at the same place each time would be a double click.
        act();
        EXPECT_EQ(List().SelectedPaths(), selected) << what;
        EXPECT_EQ(List().FocusRow(), focus) << what;
    }
    for (int row = 5; row < 10; ++row)
        EXPECT_FALSE(List().IsRowSelected(row)) << row;
}

TEST_F(FileListTest, ARowWithoutAFileIsDrawnEmpty)
{
    Start();
    ConnectWithJob({{p_Range, "1-10"}, {p_SequenceBy, "2"}});
    PumpPass();
    ClickRow(0);
    PressKeys("ctrl+a");
    Screenshot(Window(), "rows-without-a-file");
    wxRect place;
    ASSERT_TRUE(List().GetItemRect(7, place));
    for (const int column : {0, 1})
    {
        place.x = column ? List().GetColumnWidth(0) + 2 : 2;
        place.width = List().GetColumnWidth(column) - 4;
        const wxImage row = ImageOf(List(), place);
        EXPECT_EQ(row.CountColours(), 1u) << "column " << column;
    }
    ASSERT_TRUE(List().GetItemRect(4, place));
    EXPECT_GT(ImageOf(List(), place).CountColours(), 1u) << "the last file's text";
}

TEST_F(FileListTest, ARangeGoesOnFromItsFileAfterASort)
{
    Show(8);
    ClickRow(1);
    PressKeys("shift+Down");
    ASSERT_EQ(List().SelectedPaths(), Frames({2, 3}));
    Window().SetSortCol(0); // Descending.
    PressKeys("shift+Up");
    EXPECT_EQ(List().SelectedPaths(), Frames({2, 3, 4}));

    Window().SetSortCol(1); // By size, as by number.
    PassWithNews(2, 30000);
    EXPECT_EQ(List().GetDisplayText(7, 0), FramePath(2));
    PressKeys("shift+Up");
    EXPECT_EQ(List().SelectedPaths(), Frames({3, 4, 5, 6, 7, 8, 2})) << "from the last row up";
    ClickRow(5, "shift");
    EXPECT_EQ(List().SelectedPaths(), Frames({7, 8, 2}));
}

TEST_F(FileListTest, ARangeGoesOnFromItsFileAfterARefill)
{
    Show(8);
    Window().SetSortCol(0); // Descending: a refill fills in ascending order at first.
    ClickRow(6);
    PressKeys("shift+Up");
    ASSERT_EQ(List().SelectedPaths(), Frames({2, 3}));
    Window().RefillList();
    Window().RefillList();
    PumpPass();
    EXPECT_EQ(List().SelectedPaths(), std::set<Path>{});
    PressKeys("shift+Up");
    EXPECT_EQ(List().SelectedPaths(), Frames({2, 3, 4}));
}

TEST_F(FileListTest, WhatIsChosenBeforeARefilledListIsSortedIsWhereTheKeysGoOn)
{
    Show(8);
    Window().SetSortCol(0); // Descending.
    ClickRow(6);
    const wxPoint point = PointIn(6);
    Window().RefillList();
    SendMouse(wxEVT_LEFT_DOWN, point);
    const std::set<Path> chosen = Frames({7});
    ASSERT_EQ(List().SelectedPaths(), chosen) << "in ascending order still";
    PumpPass();
    EXPECT_EQ(List().SelectedPaths(), chosen);
    EXPECT_EQ(List().GetDisplayText(List().FocusRow(), 0), FramePath(7));
    PressKeys("shift+Up");
    EXPECT_EQ(List().SelectedPaths(), Frames({7, 8}));
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

TEST_F(FileListTest, NeighboursAreTheRowsNextToEachOtherOnTheScreen)
{
    for (int frame = 1; frame <= 6; ++frame)
        MakeFrame(frame, frame % 2 ? 10000 : 20000);
    WriteOptions("[Analysis]\nFrameOffset = 1\n");
    Start();
    ConnectWithJob({{p_Range, "1-6"}});
    PumpPass();
    ClickRow(0);
    PressKeys("ctrl+s");
    EXPECT_EQ(List().SelectedPaths(), Frames({1, 2, 3, 4, 5, 6})) << "each between two others";

    PressKeys("ctrl+2"); // By size: frames 1, 3, 5, 2, 4, 6.
    PressKeys("ctrl+s");
    EXPECT_EQ(List().SelectedPaths(), Frames({2, 5})) << "where the two sizes meet";
    const char *const colors[] = {"normal", "normal", "orange", "orange", "normal", "normal"};
    for (int row = 0; row < 6; ++row)
        EXPECT_EQ(RowColor(row), colors[row]) << row;
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
    const auto getsKeyboard = [](const wxWindow &part)
    { return PumpUntil([&part] { return part.IsDescendant(wxWindow::FindFocus()); }); };
    Show(6);
    ClickRow(0);
    for (const char *key : {"F6", "Tab", "shift+F6", "shift+Tab"})
    {
        ASSERT_TRUE(getsKeyboard(List())) << key;
        PressKeys(key);
        EXPECT_TRUE(getsKeyboard(FormatChoice())) << key;
        PressKeys(key);
    }
    EXPECT_TRUE(getsKeyboard(List()));
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
