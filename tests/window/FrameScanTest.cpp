// Which files the window expects, and how it checks them.

#include <chrono>
#include <filesystem>
#include <functional>
#include <numeric>

#include <wx/eventfilter.h>
#include <wx/gauge.h>
#include <wx/timer.h>

#include "corvan/JobFactory.h"
#include "tests/support/LoopSources.h"
#include "tests/support/Printing.h"
#include "tests/window/OrdwickFixture.h"
#include "ui/MainWindow.h"
#include "wxcorvan/wxcChoice.h"

using namespace corvan;
using namespace ostrel;

namespace
{

/// Calls a function before each event of a kind is handled that concerns one window.
class EventWatch : public wxEventFilter
{
public:
    EventWatch(wxEventType type, const wxWindow &window, std::function<void()> look)
        : m_type(type), m_window(window), m_look(std::move(look))
    {
        wxEvtHandler::AddFilter(this);
    }
    ~EventWatch() override
    {
        wxEvtHandler::RemoveFilter(this);
    }
    EventWatch(const EventWatch &) = delete;
    EventWatch &operator=(const EventWatch &) = delete;

    int FilterEvent(wxEvent &event) override
    {
        if (event.GetEventType() == m_type && ConcernsWindow(event))
            m_look();
        return Event_Skip;
    }

private:
    bool ConcernsWindow(wxEvent &event) const
    {
        if (const auto *timer = dynamic_cast<wxTimerEvent *>(&event))
            return timer->GetTimer().GetOwner() == &m_window;
        return event.GetEventObject() == &m_window;
    }

    wxEventType m_type;
    const wxWindow &m_window;
    std::function<void()> m_look;
};

} // namespace

class FrameScan : public OrdwickFixture
{
protected:
    /// One pass by itself, as the timer begins it.
    void RunPass()
    {
        Window().CheckFiles(false);
        PumpPass();
    }

    /// Gives the job a range, and returns when its files have been looked at.
    void ShowRange(const std::string &range)
    {
        const auto passes = [this] { return m_log.Count(k_LogStatus, "Finished scanning"); };
        const int before = passes();
        ReceiveParameter(p_Range, range);
        WaitFor([&] { return passes() > before; });
    }

    wxGauge &Gauge() const
    {
        for (wxWindow *child : Window().GetChildren())
            if (auto *gauge = dynamic_cast<wxGauge *>(child))
                return *gauge;
        throw std::logic_error("the window has no gauge");
    }

    std::vector<std::string> Names() const
    {
        std::vector<std::string> names;
        for (int row = 0; row < List().RowCount(); ++row)
            names.push_back(std::filesystem::path(List().GetDisplayText(row, 0)).filename());
        return names;
    }

    std::string Notice() const
    {
        return Window().Notice().utf8_string();
    }
};

TEST_F(FrameScan, ExpandsARangeByTheJobsParameters)
{
    Start();
    Connect();
    const struct
    {
        std::vector<std::pair<std::string, std::string>> parameters;
        std::vector<std::string> files;
    } cases[] = {
        {{{p_Range, "1-3"}}, {"f.1", "f.2", "f.3"}},
        {{{p_Range, "10-12"}, {p_RenumberStart, "1"}, {p_RenumberBy, "2"}}, {"f.1", "f.3", "f.5"}},
        {{{p_Range, "1-2"}, {p_SequenceBy, "0.5"}}, {"f.1", "f.2", "f.3", "f.4"}},
        {{{p_Range, "1,3,5"}, {p_PacketSize, "5"}}, {"f.1", "f.2", "f.3", "f.4", "f.5"}},
        {{{p_Range, "1-9"}, {p_CustomRange, "4,6"}, {p_RenumberStart, "100"}}, {"f.4", "f.6"}},
    };
    for (const auto &[parameters, files] : cases)
    {
        auto all = parameters;
        all.emplace_back(p_ImageFormat, "/none/f.%d");
        ReceiveJob(MakeJob(all));
        Window().RefillList();
        EXPECT_EQ(Names(), files) << parameters.front().second;
    }
}

TEST_F(FrameScan, AMillionFilesMayBeListed)
{
#ifdef __SANITIZE_ADDRESS__
    // A window that is busy for a minute counts as one that hangs.
    constexpr int k_half = 50'000;
#else
    constexpr int k_half = 500'000;
#endif
    const std::string half = std::to_string(k_half);
    const std::string last = std::to_string(k_half - 1);
    Start();
    ConnectWithJob({{p_Range, "-" + half + "-" + last}, {p_ImageFormat, "/none/f.%d"}});
    EXPECT_EQ(List().RowCount(), 2 * k_half);
    EXPECT_EQ(List().GetDisplayText(0, 0), "/none/f.-" + half);
    EXPECT_EQ(List().GetDisplayText(2 * k_half - 1, 0), "/none/f." + last);
    // The pass goes on.
    EXPECT_EQ(StatusTexts().find(std::to_string(2 * k_half) + " Files | "), 0u) << StatusTexts();
}

TEST_F(FrameScan, TwoFramesOfOnePathAreOneFileAndTwoRows)
{
    Start();
    ConnectWithJob({{p_Range, "1-4"}, {p_SequenceBy, "2"}, {p_ImageFormat, "/none/f.%d"}});
    ASSERT_EQ(List().RowCount(), 4);
    EXPECT_EQ(Names(), (std::vector<std::string>{"f.1", "f.2", "", ""}));
    EXPECT_EQ(RowColor(3), "normal");
    PumpPass();
    EXPECT_EQ(StatusTexts(), "4 Files | 2 Missing | 0 Too Small");
}

TEST_F(FrameScan, KeepsTheSelectedFormatAndTheListWithIt)
{
    Start();
    ConnectWithJob({{p_ImageFormat, "/none/a.%04d.exr;/none/b.%04d.exr"}});
    EXPECT_EQ(FormatChoice().GetCount(), 2u);
    EXPECT_EQ(FormatChoice().GetSelection(), 0);

    FormatChoice().SetSelection(1);
    Window().RefillList();
    const int before = m_log.Count(k_LogStatus, "Displaying:");
    ReceiveParameter(p_ImageFormat, "/none/c.%d;/none/b.%04d.exr");
    EXPECT_EQ(FormatChoice().GetSelection(), 1);
    EXPECT_EQ(m_log.Count(k_LogStatus, "Displaying:"), before);

    ReceiveParameter(p_ImageFormat, "/none/c.%d");
    EXPECT_EQ(FormatChoice().GetSelection(), 0);
    EXPECT_EQ(List().GetDisplayText(0, 0), "/none/c.1");
}

TEST_F(FrameScan, OfTwoEqualFormatsTheLastIsSelected)
{
    Start();
    ConnectWithJob({{p_ImageFormat, "/none/a.%d"}});
    ReceiveParameter(p_ImageFormat, "/none/b.%d;/none/a.%d;/none/c.%d;/none/a.%d;/none/d.%d");
    EXPECT_EQ(FormatChoice().GetSelection(), 3);
    EXPECT_EQ(FormatChoice().wxItemContainer::GetStringSelection(), "/none/a.%d");
}

TEST_F(FrameScan, FormatsAreShownAsThisMachineWritesThem)
{
    const std::string folder = m_folder.Folder().Text() + "/50%done";
    m_folder.MakeFile("50%done/f.2.exr", std::string(9000, 'x'));
    WriteOptions("[PathMap]\n//server/shots = " + folder + "\n\\\\server\\old = /old\n");
    Start();
    ConnectWithJob({{p_Range, "1-2"}, {p_ImageFormat, "//server/shots/f.%d.exr;//server/old/%d"}});
    PumpPass();
    ASSERT_EQ(FormatChoice().GetCount(), 2u);
    EXPECT_EQ(FormatChoice().GetString(0), m_folder.Folder().Text() + "/50%%done/f.%d.exr");
    EXPECT_EQ(FormatChoice().GetString(1), "/old/%d");
    EXPECT_EQ(Notice(), "");
    EXPECT_EQ(List().GetDisplayText(1, 0), folder + "/f.2.exr");
    EXPECT_EQ(RowColor(0), "grey");
    EXPECT_EQ(RowColor(1), "normal");

    // The same formats in the farm's notation again: the one selected stays.
    FormatChoice().SetSelection(1);
    ReceiveParameter(p_ImageFormat, "//server/new/%d;//server/old/%d");
    EXPECT_EQ(FormatChoice().GetSelection(), 1);
}

TEST_F(FrameScan, QuotesAndEscapesInAFormatListAreHonoured)
{
    Start();
    ConnectWithJob({{p_ImageFormat, R"("/none/a;b.%d";/none/c\;d.%d)"}});
    ASSERT_EQ(FormatChoice().GetCount(), 2u);
    EXPECT_EQ(FormatChoice().GetString(0), "/none/a;b.%d");
    EXPECT_EQ(FormatChoice().GetString(1), "/none/c;d.%d");
}

TEST_F(FrameScan, AnEmptyFormatListEmptiesTheChoiceAndLeavesTheRows)
{
    Start();
    ConnectWithJob({});
    ReceiveParameter(p_ImageFormat, "");
    EXPECT_EQ(FormatChoice().GetCount(), 0u);
    EXPECT_EQ(List().RowCount(), 5);
}

TEST_F(FrameScan, AnIndexThatNoEntryHasChangesNothing)
{
    Start();
    ConnectWithJob({});
    Window().SetFormat(-1);
    Window().SetFormat(1);
    EXPECT_EQ(List().RowCount(), 5);
    Window().SetNoFormat();
    EXPECT_EQ(List().RowCount(), 0);
    EXPECT_EQ(FormatChoice().GetCount(), 0u);
}

TEST_F(FrameScan, AnEmptyRangeIsAWarningAndAnEmptyList)
{
    Start();
    ConnectWithJob({});
    ReceiveParameter(p_Range, "");
    EXPECT_EQ(m_log.Count(k_LogWarning, "Job 'Shot' has empty range: "), 1);
    EXPECT_EQ(List().RowCount(), 0);
    EXPECT_EQ(StatusTexts(), "0 Files | 0 Missing | 0 Too Small");
}

TEST_F(FrameScan, APatternThatCannotBeFormattedIsNamedAndStartsNoScan)
{
    Start();
    ConnectWithJob({});
    PumpPass();
    for (const char *pattern : {"/none/%s.exr", "/none/%n", "/none/%d.%d", "/none/50%", "/none/x"})
    {
        m_log.Clear();
        ReceiveParameter(p_ImageFormat, pattern);
        EXPECT_EQ(m_log.Count(k_LogError, pattern), 1) << pattern;
        EXPECT_EQ(List().RowCount(), 0);
        EXPECT_EQ(m_log.Count(k_LogStatus, "Finished scanning"), 0);
    }
}

TEST_F(FrameScan, TheWindowTellsWhyNoFileIsListedUntilSomeAre)
{
    Start();
    ConnectWithJob({{p_ImageFormat, "/none/%s.exr"}});
    EXPECT_NE(Notice().find("The files of /none/%s.exr cannot be shown: "), std::string::npos)
        << Notice();

    ReceiveParameter(p_ImageFormat, "/none/%d.exr");
    EXPECT_EQ(Notice(), "");
    EXPECT_EQ(List().RowCount(), 5);

    ReceiveParameter(p_Range, "1-10000000");
    EXPECT_NE(Notice().find("more than 1000000 files"), std::string::npos) << Notice();
    Screenshot(Window(), "why-no-files");
    ReceiveParameter(p_Range, "1-2");
    EXPECT_EQ(Notice(), "");

    ReceiveParameter(p_Range, "1-10000000");
    Window().ShowNotice("Another matter");
    ReceiveParameter(p_Range, "1-2");
    EXPECT_EQ(Notice(), "Another matter");
}

TEST_F(FrameScan, TheWindowTellsOfAJobThatHasNoRangeOrAnEmptyOne)
{
    Start();
    const auto job = JobFactory::s_JobFactory.CreateJob(UID(OrdwickProgram::s_jobTypeId, true));
    job->SetID(UID(s_jobId, true));
    job->SetParameter(p_Name, "Shot");
    job->SetParameter(p_ImageFormat, "/none/%d.exr");
    Connect();
    ReceiveJob(job);
    EXPECT_EQ(m_log.Count(k_LogError, "Could not get range from Job: Shot"), 1);
    EXPECT_EQ(Notice(), "Could not get the range of this job, so there are no files to look for.");
    Screenshot(Window(), "no-range");

    ReceiveParameter(p_Range, "1-3");
    EXPECT_EQ(Notice(), "");
    EXPECT_EQ(List().RowCount(), 3);

    ReceiveParameter(p_Range, "");
    EXPECT_EQ(m_log.Count(k_LogWarning, "Job 'Shot' has empty range: "), 1);
    EXPECT_EQ(Notice(), "The range of this job names no frame, so there are no files to look for.");
    ReceiveParameter(p_Range, "1-3");
    EXPECT_EQ(Notice(), "");
}

TEST_F(FrameScan, FramesThatSinglePrecisionDoesNotCountAreNamed)
{
    Start();
    ConnectWithJob({{p_Range, "1,16777216"}, {p_ImageFormat, "/none/%d.exr"}});
    const auto text = [](const std::string &frames)
    {
        return "The files of these frames are not looked for: " + frames +
               ". From 16,777,216 on, numbers are counted in single precision, which misses some.";
    };
    EXPECT_EQ(List().RowCount(), 1);
    EXPECT_EQ(Notice(), text("16777216"));
    EXPECT_EQ(m_log.Count(k_LogWarning, "frames 16777216"), 2) << "two expansions";

    ReceiveParameter(p_Range, "20261120");
    EXPECT_EQ(List().RowCount(), 0);
    EXPECT_EQ(Notice(), text("20261120"));
    Screenshot(Window(), "frames-without-file");

    ReceiveParameter(p_Range, "1-2");
    EXPECT_EQ(Notice(), "");
}

TEST_F(FrameScan, AListThatIsClearedForWantOfAJobIsNotCalledLeftAlone)
{
    Start();
    ConnectWithJob({});
    Disconnect();
    m_log.Clear();
    Window().RefillList();
    EXPECT_EQ(List().RowCount(), 0);
    EXPECT_EQ(
        m_log.Texts(k_LogWarning),
        std::vector<std::string>{"Show format: there is no job, so there are no files to list"});
}

TEST_F(FrameScan, TenMillionFilesAreRefusedInOneLine)
{
    Start();
    ConnectWithJob({});
    PumpPass();
    m_log.Clear();
    ReceiveParameter(p_Range, "1-10000000");
    EXPECT_EQ(m_log.Count(k_LogError, Pattern() + "': more than 1000000 files"), 1);
    EXPECT_EQ(m_log.Count(k_LogInfo, "  Checked "), 0);
    EXPECT_EQ(List().RowCount(), 0);
}

TEST_F(FrameScan, ListsEachExpectedFileInTheLog)
{
    Start();
    ConnectWithJob({});
    // The formats are new and the user range is: two expansions.
    EXPECT_EQ(m_log.Count(k_LogInfo, "  Checked "), 10);
    m_log.Clear();
    Window().RefillList();
    EXPECT_EQ(m_log.Count(k_LogInfo, "  Checked "), 5);
    EXPECT_EQ(m_log.Count(k_LogInfo, "  Checked " + FramePath(3)), 1);
    EXPECT_EQ(m_log.Count(k_LogStatus, "Displaying:\n\tFormat: " + Pattern() + "\n\tRange: 1-5"),
              1);
}

TEST_F(FrameScan, CountsMissingAndTooSmallFiles)
{
    MakeFrames(1, 8, 1000);
    MakeFrame(3, 100);
    Start();
    ConnectWithJob({{p_Range, "1-10"}});
    PumpPass();
    EXPECT_EQ(StatusTexts(), "10 Files | 2 Missing | 1 Too Small");
    EXPECT_EQ(m_log.Count(k_LogStatus, "Finished scanning 10 files. Will scan again in 5000 ms"),
              1);
    EXPECT_EQ(RowColor(8), "grey");
    EXPECT_EQ(RowColor(2), "red");
    EXPECT_EQ(RowColor(0), "normal");
}

TEST_F(FrameScan, ScansAgainAndSeesWhatChanged)
{
    WriteOptions("[Analysis]\nRefresh = 20\n");
    MakeFrames(1, 5, 1000);
    Start();
    ConnectWithJob({});
    PumpPass();
    EXPECT_EQ(StatusTexts(), "5 Files | 0 Missing | 0 Too Small");

    std::filesystem::remove(FramePath(2));
    MakeFrame(4, 10);
    WaitFor([this] { return StatusTexts() == "5 Files | 1 Missing | 1 Too Small"; });
    PumpPass();
    EXPECT_EQ(RowColor(1), "grey");
    EXPECT_EQ(List().GetDisplayText(1, 1), "");
    EXPECT_EQ(RowColor(3), "red");
}

TEST_F(FrameScan, AFolderOrABrokenLinkIsNoFrame)
{
    MakeFrames(1, 5, 1000);
    std::filesystem::remove(FramePath(2));
    std::filesystem::create_directory(FramePath(2));
    std::filesystem::remove(FramePath(3));
    std::filesystem::create_symlink("nowhere", FramePath(3));
    Start();
    ConnectWithJob({});
    PumpPass();
    EXPECT_EQ(StatusTexts(), "5 Files | 2 Missing | 0 Too Small");
}

TEST_F(FrameScan, WhileDisconnectedThePassEndsAndNoneIsPlanned)
{
    WriteOptions("[Analysis]\nRefresh = 1\n");
    MakeFrames(1, 300, 1000);
    Start();
    Connect();
    m_log.Clear(); // Of the pass over no files at all.
    const auto message = boost::make_shared<JobMsg>();
    message->job = MakeJob({{p_Range, "1-300"}});
    Link().callbacks.received(message);
    Link().callbacks.disconnected("the test says so");
    WaitFor([] { return !Messenger::IsConnected(); });
    WaitFor([this] { return List().GetDisplayText(299, 1) == "0 KB"; });
    PumpIdle();
    EXPECT_EQ(m_log.Count(k_LogStatus, "Finished scanning"), 0);

    Connect();
    PumpPass();
    EXPECT_EQ(StatusTexts(), "300 Files | 0 Missing | 0 Too Small");
}

TEST_F(FrameScan, OptionsChangedDuringAPassCountFromTheNext)
{
    WriteOptions("[Analysis]\nRefresh = 20\n");
    MakeFrames(1, 5, 1000);
    Start();
    ConnectWithJob({{p_Range, "1-3000"}});
    wxGetApp().Options().InsertSection("Analysis");
    wxGetApp().Options().SetValue("MinSize", "2000");
    Window().CheckFiles(false); // A pass runs already: nothing.
    PumpPass();
    EXPECT_EQ(StatusTexts(), "3000 Files | 2995 Missing | 0 Too Small");
    PumpPass();
    EXPECT_EQ(StatusTexts(), "3000 Files | 2995 Missing | 5 Too Small");
    EXPECT_EQ(RowColor(0), "red");
}

TEST_F(FrameScan, NeighboursAreTheRowsNextToEachOther)
{
    MakeFrames(1, 20, 10000);
    MakeFrame(10, 4000);
    MakeFrame(15, 11000);
    MakeFrame(17, 12500);
    Start();
    ConnectWithJob({{p_Range, "1-20"}});
    PumpPass();
    EXPECT_EQ(RowColor(9), "orange");
    EXPECT_EQ(RowColor(16), "orange");
    EXPECT_EQ(RowColor(14), "normal");
    EXPECT_EQ(m_log.Count(k_LogInfo, FramePath(10) + " bad: Neighbors") > 0, true);
    EXPECT_EQ(List().FindBadFrames(), (SequenceDistributor::Items{10, 17}));
    EXPECT_EQ(List().FindBadPaths(), (std::set<Path>{FramePath(10), FramePath(17)}));
}

TEST_F(FrameScan, NonsenseInTheOptionsGivesDefaultsAndOneWarningAKey)
{
    WriteOptions("[Analysis]\nMinSize = abc\nRefresh = soon\nFrameOffset = 1e99\n"
                 "[Window]\nSortCol = x\nX = 99999999999\n[FileListCols]\nSize = wide\n");
    MakeFrames(1, 5, 100);
    Start();
    ConnectWithJob({});
    PumpPass();
    EXPECT_EQ(StatusTexts(), "5 Files | 0 Missing | 5 Too Small");
    Window().CheckFiles(false);
    PumpPass();
    EXPECT_EQ(m_log.Count(k_LogWarning, "MinSize"), 1);
    EXPECT_EQ(m_log.Count(k_LogWarning, "Refresh"), 1);
    EXPECT_EQ(List().GetColumnWidth(1), 100);
}

TEST_F(FrameScan, PassesLeaveNothingBehindInTheMainLoop)
{
    WriteOptions("[Analysis]\nRefresh = 1\n");
    Start();
    ConnectWithJob({{p_Range, "1-2000"}});
    PumpPass();

    int paints = 0;
    const EventWatch painting(wxEVT_PAINT, *Window().GetStatusBar(), [&] { ++paints; });
    const std::int64_t before = LoopSources::Counts().Held();
    const std::int64_t addedBefore = LoopSources::Counts().added;
    WaitFor([&] { return paints >= 40; }, 60);
    // Each repaint has a timer of its own. A few are due, or waiting for the next frame.
    EXPECT_GT(LoopSources::Counts().added - addedBefore, 40);
    EXPECT_LT(LoopSources::Counts().Held() - before, 10);
}

TEST_F(FrameScan, TheGaugeCountsTheFilesOfAPassAndIsEmptyAfterIt)
{
    WriteOptions("[Analysis]\nRefresh = 1000000\n");
    Start();
    ConnectWithJob({{p_Range, "1-9"}});
    PumpPass();
    for (const int files : {9, 4, 6})
    {
        ShowRange("1-" + std::to_string(files));
        EXPECT_EQ(Gauge().GetValue(), 0);

        std::vector<int> values;
        const EventWatch idle(wxEVT_IDLE, Window(),
                              [&]
                              {
                                  EXPECT_EQ(Gauge().GetRange(), files);
                                  values.push_back(Gauge().GetValue());
                              });
        RunPass();
        std::vector<int> all(files + 1);
        std::iota(all.begin(), all.end(), 0);
        EXPECT_EQ(values, all);
        EXPECT_EQ(Gauge().GetValue(), 0);
    }
}

TEST_F(FrameScan, AListThatIsEmptiedDuringAPassEmptiesTheGauge)
{
    Start();
    ConnectWithJob({{p_Range, "1-3000"}});
    WaitFor([this] { return Gauge().GetValue() > 100; });
    Window().SetNoFormat();
    EXPECT_EQ(Gauge().GetValue(), 0);
    EXPECT_EQ(StatusTexts(), "0 Files | 0 Missing | 0 Too Small");
}

TEST_F(FrameScan, TheCountsGrowFileByFileAndStartAnewWithEachPass)
{
    WriteOptions("[Analysis]\nRefresh = 1000000\n");
    MakeFrame(1, 1000);
    MakeFrame(3, 10);
    Start();
    ConnectWithJob({{p_Range, "1-4"}});
    PumpPass();
    for (int pass = 0; pass < 2; ++pass)
    {
        std::vector<std::string> texts;
        const EventWatch idle(wxEVT_IDLE, Window(), [&] { texts.push_back(StatusTexts()); });
        RunPass();
        EXPECT_EQ(texts, (std::vector<std::string>{
                             "4 Files | 0 Missing | 0 Too Small",
                             "4 Files | 0 Missing | 0 Too Small",
                             "4 Files | 1 Missing | 0 Too Small",
                             "4 Files | 1 Missing | 1 Too Small",
                             "4 Files | 2 Missing | 1 Too Small",
                         }));
    }
}

TEST_F(FrameScan, APassSortsTheListWhereAFileHasChanged)
{
    // Descending, equal sizes change places with each sort: one too many shows.
    WriteOptions("[Analysis]\nRefresh = 1000000\n[Window]\nSortCol = 1\nSortAscending = No\n");
    MakeFrames(1, 3, 1000);
    Start();
    ConnectWithJob({{p_Range, "1-3"}});
    PumpPass();
    const std::vector<std::string> before = Names();
    RunPass();
    EXPECT_EQ(Names(), before) << "nothing has changed";

    const std::string &middle = before[1];
    const auto frame = middle[5] - '0';
    MakeFrame(frame, 5000);
    RunPass();
    EXPECT_EQ(Names().front(), middle) << "a file has grown";

    std::filesystem::remove(FramePath(frame));
    RunPass();
    EXPECT_EQ(Names().back(), middle) << "a file is gone";

    const std::vector<std::string> after = Names();
    Window().CheckFiles(true);
    PumpPass();
    EXPECT_NE(Names(), after) << "it was asked for";
}

TEST_F(FrameScan, TheFirstPassOverAListSortsIt)
{
    WriteOptions("[Window]\nSortAscending = No\n");
    Start();
    ConnectWithJob({{p_Range, "1-3"}});
    PumpPass();
    EXPECT_EQ(Names(), (std::vector<std::string>{"f.0003.exr", "f.0002.exr", "f.0001.exr"}));
}

TEST_F(FrameScan, ANewListStopsTheTimerOfTheOldOne)
{
    constexpr auto k_refresh = std::chrono::milliseconds(20);
    WriteOptions("[Analysis]\nRefresh = 20\n");
    Start();
    ConnectWithJob({{p_Range, "1-6000"}});
    PumpPass();

    int timers = 0;
    const EventWatch timer(wxEVT_TIMER, Window(), [&] { ++timers; });
    const auto start = std::chrono::steady_clock::now();
    Window().RefillList();
    PumpPass();
    ASSERT_GT(std::chrono::steady_clock::now() - start, k_refresh) << "the old one was not yet due";
    EXPECT_EQ(timers, 0);
    PumpPass();
    EXPECT_EQ(timers, 1);
}

TEST_F(FrameScan, WhereNothingIsListedNoPassFollows)
{
    WriteOptions("[Analysis]\nRefresh = 5\n");
    Start();
    ConnectWithJob({});
    const struct
    {
        String parameter;
        const char *value;
        const char *good;
    } cases[] = {
        {p_ImageFormat, "/none/%s.exr", "/none/%d.exr"},
        {p_ImageFormat, "/none/x.exr", "/none/%d.exr"},
        {p_Range, "", "1-5"},
        {p_Range, "1-10000000", "1-5"},
    };
    for (const auto &[parameter, value, good] : cases)
    {
        PumpPass();
        ReceiveParameter(parameter, value);
        m_log.Clear();
        ASSERT_EQ(List().RowCount(), 0) << value;
        const auto hasPassed = [this] { return m_log.Count(k_LogStatus, "Finished scanning") > 0; };
        EXPECT_FALSE(PumpUntil(hasPassed, 200)) << value;

        Window().CheckFiles(false); // As when the settings are confirmed.
        EXPECT_FALSE(PumpUntil(hasPassed, 200)) << value;
        ReceiveParameter(parameter, good);
    }
    PumpPass();
    PumpPass();
    EXPECT_EQ(StatusTexts(), "5 Files | 5 Missing | 0 Too Small");
}

TEST_F(FrameScan, WithoutFilesAReconnectionStartsOnePassAtMost)
{
    WriteOptions("[Analysis]\nRefresh = 5\n");
    Start();
    ConnectWithJob({{p_Range, ""}});
    Disconnect();
    ConnectWithJob({{p_Range, ""}});
    PumpIdle();
    PumpUntil([this] { return m_log.Count(k_LogStatus, "Finished scanning") > 1; }, 100);
    m_log.Clear();
    EXPECT_FALSE(
        PumpUntil([this] { return m_log.Count(k_LogStatus, "Finished scanning") > 0; }, 200));
}
