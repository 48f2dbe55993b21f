// The window: its layout, its two views, and what it keeps from run to run.

#include "ui/MainWindow.h"

#include <filesystem>

#include <wx/gauge.h>
#include <wx/menu.h>
#include <wx/statusbr.h>

#include "tests/window/OrdwickFixture.h"
#include "ui/CommandIds.h"
#include "ui/SortArrows.h"
#include "wxcorvan/wxcChoice.h"
#include "wxcorvan/wxcColors.h"

using namespace corvan;
using namespace ostrel;

class MainWindowTest : public OrdwickFixture
{
protected:
    wxGauge &Gauge() const
    {
        for (wxWindow *child : Window().GetChildren())
            if (auto *gauge = dynamic_cast<wxGauge *>(child))
                return *gauge;
        throw std::logic_error("the window has no gauge");
    }
    wxWindow &NotConnectedText() const
    {
        for (wxWindow *child : Window().GetChildren())
            if (child->GetLabel() == "Not connected to the Master")
                return *child;
        throw std::logic_error("the window has no such text");
    }
    int HeaderImage(int column) const
    {
        wxListItem item;
        item.SetMask(wxLIST_MASK_IMAGE);
        EXPECT_TRUE(List().GetColumn(column, item));
        return item.GetImage();
    }
    /// "275 100 100"
    std::string Widths() const
    {
        std::string widths;
        for (int column = 0; column < 3; ++column)
            widths += (column ? " " : "") + std::to_string(List().GetColumnWidth(column));
        return widths;
    }
    /// A real click in the middle of a column's header.
    void ClickHeader(int column) const
    {
        const wxRect place = HeaderPlace(column);
        ClickAt(Header(), {place.x + place.width / 2, place.height / 2});
    }
    wxWindow &Header() const
    {
        for (wxWindow *child : List().GetChildren())
            if (child != List().GetTargetWindow())
                return *child;
        throw std::logic_error("the list has no header");
    }
    wxRect HeaderPlace(int column) const
    {
        int left = 0;
        for (int before = 0; before < column; ++before)
            left += List().GetColumnWidth(before);
        return {left, 0, List().GetColumnWidth(column), Header().GetSize().y};
    }
    /// "up", "down" or "none": where the arrow in a header, as the screen shows it, is wide.
    std::string ArrowShown(int column) const
    {
        constexpr int k_outline = 0xF5AD7A;
        const wxImage image = ImageOf(Header(), HeaderPlace(column));
        std::vector<int> widths; // From its first to its last point in each line that it is in.
        for (int y = 0; y < image.GetHeight(); ++y)
        {
            int first = -1;
            int last = -1;
            for (int x = 0; x < image.GetWidth(); ++x)
                if (wxColour(image.GetRed(x, y), image.GetGreen(x, y), image.GetBlue(x, y)) ==
                    wxColour(k_outline >> 16, (k_outline >> 8) & 0xFF, k_outline & 0xFF))
                {
                    first = first < 0 ? x : first;
                    last = x;
                }
            if (first >= 0)
                widths.push_back(last - first + 1);
        }
        if (widths.empty())
            return "none";
        return widths.front() < widths.back() ? "up" : "down";
    }
};

TEST_F(MainWindowTest, OpensNotConnectedWithDefaults)
{
    Start();
    EXPECT_FALSE(List().IsShown());
    EXPECT_TRUE(NotConnectedText().IsShown());
    EXPECT_EQ(List().GetColumnWidth(0), 275);
    EXPECT_EQ(List().GetColumnWidth(1), 100);
    EXPECT_EQ(List().GetColumnWidth(2), 100);
    EXPECT_EQ(HeaderImage(0), 0);
    EXPECT_EQ(Window().m_sortColumn, 0);
    EXPECT_TRUE(Window().m_sortAscending);
    EXPECT_EQ(Window().GetStatusBar()->GetFieldsCount(), 3);
    EXPECT_EQ(StatusTexts(), "0 Files | 0 Missing | 0 Too Small");
    const wxPoint text = NotConnectedText().GetPosition();
    EXPECT_NEAR(text.y, Window().GetClientSize().y / 3, 25);
    Screenshot(Window(), "not-connected");
}

TEST_F(MainWindowTest, TitlesOfTheColumns)
{
    Start();
    const char *titles[] = {"Filename", "Size", "Date"};
    for (int column = 0; column < 3; ++column)
    {
        wxListItem item;
        item.SetMask(wxLIST_MASK_TEXT);
        List().GetColumn(column, item);
        EXPECT_EQ(item.GetText(), titles[column]);
    }
}

TEST_F(MainWindowTest, TheListsFontIsOnePointSmallerThanAListsOwn)
{
    Start();
    const FileList plain(&Window());
    EXPECT_DOUBLE_EQ(List().GetFont().GetFractionalPointSize(),
                     plain.GetFont().GetFractionalPointSize() - 1);
}

TEST_F(MainWindowTest, SwitchesViewsWithTheConnection)
{
    // A pass that is over before anybody waits for it is soon followed by another.
    WriteOptions("[Analysis]\nRefresh = 50\n");
    Start();
    ConnectWithJob({});
    EXPECT_TRUE(List().IsShown());
    EXPECT_TRUE(Gauge().IsShown());
    EXPECT_FALSE(NotConnectedText().IsShown());
    Disconnect();
    EXPECT_FALSE(List().IsShown());
    EXPECT_FALSE(Gauge().IsShown());
    EXPECT_TRUE(NotConnectedText().IsShown());
    EXPECT_EQ(List().RowCount(), 5) << "hidden, not emptied";
    Connect();
    EXPECT_TRUE(List().IsShown());
    PumpPass();
}

TEST_F(MainWindowTest, TheGaugeCanBeSwitchedOff)
{
    WriteOptions("[Analysis]\nShowProgress = No\n");
    Start();
    ConnectWithJob({});
    EXPECT_TRUE(List().IsShown());
    EXPECT_FALSE(Gauge().IsShown());
}

TEST_F(MainWindowTest, ASavedSortIsShownAndNeverWritten)
{
    WriteOptions("[Window]\nSortCol = 1\nSortAscending = No\n");
    Start();
    EXPECT_EQ(HeaderImage(1), 1);
    EXPECT_EQ(HeaderImage(0), -1);
    Window().SetSortCol(2);
    EXPECT_EQ(HeaderImage(1), -1);
    EXPECT_EQ(HeaderImage(2), 0);
    Window().Close();
    PumpIdle();
    EXPECT_NE(ReadOptions().find("SortCol = 1"), std::string::npos) << ReadOptions();
    EXPECT_NE(ReadOptions().find("SortAscending = No"), std::string::npos) << ReadOptions();
}

TEST_F(MainWindowTest, TheHeadersArrowFollowsTheClicks)
{
    for (int frame = 1; frame <= 3; ++frame)
        MakeFrame(frame, 4000u - 1000u * static_cast<unsigned>(frame));
    Start();
    ConnectWithJob({{p_Range, "1-3"}});
    PumpPass();
    const struct
    {
        int column;
        int firstFrame;
        const char *arrows[3];
    } clicks[] = {
        {0, 3, {"down", "none", "none"}}, {0, 1, {"up", "none", "none"}},
        {1, 3, {"none", "up", "none"}},   {1, 1, {"none", "down", "none"}},
        {1, 3, {"none", "up", "none"}},   {2, 3, {"none", "none", "up"}},
    };
    for (const auto &[column, firstFrame, arrows] : clicks)
    {
        ClickHeader(column);
        for (int other = 0; other < 3; ++other)
            WaitFor([&, arrow = arrows[other]] { return ArrowShown(other) == arrow; }, 5);
        if (column != 2)
        {
            EXPECT_EQ(List().GetDisplayText(0, 0), FramePath(firstFrame)) << "column " << column;
        }
    }
    Screenshot(Window(), "sorted-by-header");
}

TEST_F(MainWindowTest, ClosingKeepsColumnsAndPlace)
{
    Start();
    PutOnDisplay(Window(), {40, 50, 700, 500});
    List().SetColumnWidth(0, 321);
    Window().Close();
    PumpIdle();
    const std::string options = ReadOptions();
    for (const char *line : {"Filename = 321", "Size = 100", "Date = 100", "X = 40", "Y = 50",
                             "Width = 700", "Height = 500"})
        EXPECT_NE(options.find(std::string(line) + '\n'), std::string::npos) << line << '\n'
                                                                             << options;
}

TEST_F(MainWindowTest, ComesBackWithTheColumnsAndThePlaceThatItHad)
{
    // As closing writes them.
    WriteOptions("[FileListCols]\nFilename = 321\nSize = 16\nDate = 4096\n"
                 "[Window]\nX = 150\nY = 120\nWidth = 720\nHeight = 480\nMaximized = No\n");
    Start();
    EXPECT_EQ(Widths(), "321 16 4096");
    WaitFor([this] { return PlaceOnDisplay(Window()) == wxRect(150, 120, 720, 480); });
}

TEST_F(MainWindowTest, WidthsThatHideAColumnAreHeldToWhatCanBeSeen)
{
    WriteOptions("[FileListCols]\nFilename = 2147483647\nSize = -1\nDate = 15\n");
    Start();
    EXPECT_EQ(Widths(), "4096 16 16");
    Window().Close();
    PumpIdle();
    EXPECT_NE(ReadOptions().find("Filename = 4096"), std::string::npos) << ReadOptions();
}

TEST_F(MainWindowTest, ClosingInsideABatchLeavesTheWritingToIt)
{
    Start();
    OptionsFile &options = wxGetApp().Options();
    options.BeginUpdate();
    Window().Close();
    PumpIdle();
    EXPECT_FALSE(std::filesystem::exists(std::string(options.Filename().Text())));
    options.EndUpdate();
    EXPECT_TRUE(std::filesystem::exists(std::string(options.Filename().Text())));
}

TEST_F(MainWindowTest, ClosingDuringAPassIsCalm)
{
    MakeFrames(1, 500, 1000);
    Start();
    ConnectWithJob({{p_Range, "1-500"}});
    Window().Close();
    ReceiveParameter(p_Range, "1-9");
    PumpIdle();
    EXPECT_EQ(wxTheApp->GetTopWindow(), nullptr);
}

TEST_F(MainWindowTest, TheArrowsAreEachOtherUpsideDown)
{
    for (int row = 0; row < 12; ++row)
        EXPECT_STREQ(sortUp_xpm[4 + row], sortDown_xpm[15 - row]);
    EXPECT_STREQ(sortUp_xpm[0], "12 12 3 1");
    EXPECT_STREQ(sortUp_xpm[4], "     -      ");
    EXPECT_STREQ(sortUp_xpm[14], "-xxxxxxxxx- ");
}

TEST_F(MainWindowTest, TabGoesBetweenTheChoiceAndTheList)
{
    Start();
    ConnectWithJob({});
    PumpPass();
    ClickRow(0);
    for (const char *key : {"Tab", "shift+Tab", "shift+Tab", "Tab"})
    {
        EXPECT_TRUE(GetsKeyboard(List())) << key;
        PressKeys(key);
        EXPECT_TRUE(GetsKeyboard(FormatChoice())) << key;
        PressKeys(key);
    }
    EXPECT_TRUE(GetsKeyboard(List()));
    PressKeys("Down");
    EXPECT_EQ(List().SelectedPaths(), std::set<Path>{FramePath(2)});
}

TEST_F(MainWindowTest, SpeaksGermanWhereTheUserDoes)
{
    const EnvironmentGuard language("LANG", "de_DE.UTF-8");
    const EnvironmentGuard noOther("LC_ALL", nullptr);
    Start();
    EXPECT_EQ(Window().GetMenuBar()->GetMenuLabel(0), "Datei");
    EXPECT_EQ(Window().GetMenuBar()->GetLabel(k_IdCustomRange),
              wxString::FromUTF8("Eigenen Bereich ändern"));
    Screenshot(Window(), "german");
}
