// Editing the job: custom range, image formats and the analysis settings, by menu and dialog.

#include <csignal>
#include <sys/resource.h>

#include <wx/dialog.h>
#include <wx/gauge.h>
#include <wx/listbox.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>

#include "app/Ordwick.h"
#include "corvan/JobFactory.h"
#include "tests/support/Printing.h"
#include "tests/window/CommandFixture.h"
#include "ui/CommandIds.h"
#include "wxcorvan/wxcTextCtrl.h"

using namespace corvan;
using namespace ostrel;
using wxcorvan::k_TextLineBytes;

namespace
{

/// From now on no file of this process gets larger, as on a disk that is full.
class FullDisk
{
public:
    explicit FullDisk(rlim_t bytes) : m_handler(std::signal(SIGXFSZ, SIG_IGN))
    {
        getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit limit{bytes, m_before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FullDisk()
    {
        setrlimit(RLIMIT_FSIZE, &m_before);
        std::signal(SIGXFSZ, m_handler);
    }
    FullDisk(const FullDisk &) = delete;
    FullDisk &operator=(const FullDisk &) = delete;

private:
    void (*m_handler)(int);
    rlimit m_before{};
};

/// Lists that must not differ, and would fill the screen where they do.
testing::AssertionResult IsSame(const std::string &text, const std::string &expected)
{
    if (text == expected)
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << text.size() << " bytes, not " << expected.size();
}

} // namespace

class JobEditsTest : public CommandFixture
{
protected:
    /// Opens the dialog of a command by the menu and does the steps in it.
    void InDialog(int command, const std::function<void(wxTopLevelWindow &)> &steps)
    {
        WhileModal([&] { ChooseFromMenu(command); }, steps);
    }
    static wxTextCtrl &Field(wxTopLevelWindow &dialog)
    {
        return dynamic_cast<wxTextCtrl &>(*wxWindow::FindWindowByName(wxTextCtrlNameStr, &dialog));
    }
    static std::string TextOf(const wxTopLevelWindow &dialog)
    {
        for (const wxWindow *child : dialog.GetChildren())
            if (const auto *text = dynamic_cast<const wxStaticText *>(child))
                return text->GetLabel().utf8_string();
        return {};
    }
    void SetRange(const std::string &text)
    {
        InDialog(k_IdCustomRange,
                 [&](wxTopLevelWindow &dialog)
                 {
                     TypeInto(Field(dialog), text);
                     PressKeys("Return");
                 });
    }
    /// A job whose custom range is a little longer than the field, which is given back.
    std::string WatchLongRange()
    {
        std::string range = "1-5";
        while (range.size() <= k_TextLineBytes)
            range += ",1-5";
        Watch("1-9");
        ReceiveParameter(p_CustomRange, range);
        m_log.Clear();
        return range;
    }
    void EditLongRange(const std::string &keys, const std::string &last)
    {
        InDialog(k_IdCustomRange,
                 [&](wxTopLevelWindow &dialog)
                 {
                     EXPECT_EQ(Field(dialog).GetValue().length(), k_TextLineBytes);
                     PressKeys(keys);
                     PressKeys(last);
                 });
    }
    /// Edits the list of formats: `steps` first, then Enter.
    void EditFormats(const std::function<void(wxTopLevelWindow &)> &steps)
    {
        InDialog(k_IdChangePaths,
                 [&](wxTopLevelWindow &dialog)
                 {
                     steps(dialog);
                     ClickButton(dialog, wxID_OK);
                 });
    }
    /// In the list of formats: adds one, or edits the one that is selected.
    static void EnterFormat(wxTopLevelWindow &dialog, int button, const std::string &path)
    {
        WhileModal([&] { ClickButton(dialog, button); },
                   [&](wxTopLevelWindow &editor)
                   {
                       PasteInto(Field(editor), path);
                       PressKeys("Return");
                   });
    }
    static void SelectFormat(wxTopLevelWindow &dialog, int index)
    {
        auto &list = dynamic_cast<wxListBox &>(*wxWindow::FindWindowByName("listBox", &dialog));
        list.SetFocus();
        PressKeys("Home");
        for (int i = 0; i < index; ++i)
            PressKeys("Down");
        EXPECT_TRUE(PumpUntil([&] { return list.GetSelection() == index; }));
    }

    /// A job of a type that has no custom range.
    boost::shared_ptr<Job> StillJob() const
    {
        JobType type;
        type.id = UID("5c0cbb4e-6a0a-4d0c-9f6d-7d2f7a1b5f02", true);
        type.name = "Still";
        type.hasCustomRange = false;
        JobFactory::s_JobFactory.AddType(type);
        const auto job = JobFactory::s_JobFactory.CreateJob(type.id);
        job->SetID(UID(s_jobId, true));
        job->SetParameter(p_Name, "Still");
        job->SetParameter(p_Range, "1-3");
        job->SetParameter(p_ImageFormat, Pattern());
        return job;
    }
    wxGauge &Gauge() const
    {
        for (wxWindow *child : Window().GetChildren())
            if (auto *gauge = dynamic_cast<wxGauge *>(child))
                return *gauge;
        throw std::logic_error("the window has no gauge");
    }
};

TEST_F(JobEditsTest, TheRangeDialogHasItsTextsAndThePresentRange)
{
    Watch("1-9", {{p_CustomRange, "3-4"}});
    InDialog(k_IdCustomRange,
             [](wxTopLevelWindow &dialog)
             {
                 EXPECT_EQ(dialog.GetTitle(), "Custom Range");
                 EXPECT_EQ(TextOf(dialog), "Set a custom range to search for files");
                 EXPECT_EQ(Field(dialog).GetValue(), "3-4");
                 EXPECT_TRUE(GetsKeyboard(Field(dialog)));
                 EXPECT_NE(dialog.FindWindow(wxID_OK), nullptr);
                 EXPECT_NE(dialog.FindWindow(wxID_CANCEL), nullptr);
                 Screenshot(dialog, "custom-range");
                 PressKeys("Escape");
             });
}

TEST_F(JobEditsTest, ARangeIsSentVerbatimAndNothingIsAppliedHere)
{
    Watch("1-9");
    for (const char *range : {"2-4", "  2 - 4 , 9 ", "no range at all", "1-10:5", ""})
    {
        m_log.Clear();
        SetRange(range);
        EXPECT_EQ(LastSentParameter(), std::string("CustomRange = ") + range);
        EXPECT_EQ(CommandLog(), "5 Sending updated custom range\n");
    }
    EXPECT_EQ(SentSinceJob(), 5u);
    EXPECT_EQ(wxGetApp().CurrentJob()->ParameterText(p_CustomRange, false), "");
    EXPECT_EQ(List().RowCount(), 9);

    ReceiveParameter(p_CustomRange, "2-4");
    EXPECT_EQ(List().RowCount(), 3) << "the Master's word counts";
}

TEST_F(JobEditsTest, CancelInTheRangeDialogSendsTheUnchangedRange)
{
    Watch("1-9", {{p_CustomRange, " 3-4 "}});
    InDialog(k_IdCustomRange, [](wxTopLevelWindow &dialog) { ClickButton(dialog, wxID_CANCEL); });
    EXPECT_EQ(SentParameters(), std::vector<std::string>{"CustomRange =  3-4 "});
    EXPECT_EQ(CommandLog(), "5 Sending updated custom range\n");

    InDialog(k_IdCustomRange, [](wxTopLevelWindow &) { PressKeys("Escape"); });
    InDialog(k_IdCustomRange, [](wxTopLevelWindow &dialog) { dialog.Close(); });
    EXPECT_EQ(SentParameters().size(), 3u);
    EXPECT_EQ(LastSentParameter(), "CustomRange =  3-4 ");
}

TEST_F(JobEditsTest, ARangeOfAMegabyteStaysWhole)
{
    std::string range = "1-5";
    while (range.size() < 1'000'000)
        range += ",1-5";
    Watch("1-9");
    ReceiveParameter(p_CustomRange, range);
    ASSERT_EQ(List().RowCount(), 5);
    InDialog(k_IdCustomRange, [](wxTopLevelWindow &) { PressKeys("Return"); });
    ASSERT_EQ(SentParameters().size(), 1u);
    EXPECT_TRUE(IsSame(LastSentParameter(), "CustomRange = " + range));

    // One that is pasted is refused whole, not cut.
    ReceiveParameter(p_CustomRange, "3-4");
    m_log.Clear();
    InDialog(k_IdCustomRange,
             [&](wxTopLevelWindow &dialog)
             {
                 SetClipboard(range);
                 PressKeys("ctrl+a");
                 PressKeys("ctrl+v");
                 EXPECT_TRUE(PumpUntil(
                     [this] { return m_log.Count(k_LogWarning, "too long for this field") == 1; }));
                 EXPECT_EQ(Field(dialog).GetValue(), "3-4");
                 PressKeys("Return");
             });
    EXPECT_EQ(LastSentParameter(), "CustomRange = 3-4");
}

TEST_F(JobEditsTest, ARangeLongerThanItsFieldIsNotSentOnceItIsEdited)
{
    const std::string range = WatchLongRange();
    EditLongRange("Home Delete", "Return");
    EXPECT_EQ(SentSinceJob(), 0u);
    EXPECT_EQ(m_log.Count(k_LogInfo, "Sending updated"), 0);
    EXPECT_EQ(m_log.Count(k_LogWarning, "Edit Custom Range: a range of "), 1) << CommandLog();
    EXPECT_TRUE(Window().Notice().StartsWith("The custom range was not sent: it has " +
                                             std::to_string(range.size()) +
                                             " bytes, the field holds the first 65534 alone"))
        << Window().Notice();
    Screenshot(Window(), "range-not-sent");

    EditLongRange("Home Delete", "Escape");
    ASSERT_EQ(SentParameters().size(), 1u);
    EXPECT_TRUE(IsSame(LastSentParameter(), "CustomRange = " + range)) << "as any cancelled one";
}

TEST_F(JobEditsTest, ARangeInPlaceOfALongOneIsWholeWhetherTheFieldWasEmptiedOrTypedOver)
{
    WatchLongRange();
    EditLongRange("ctrl+a Delete 2 minus 4", "Return");
    EXPECT_EQ(LastSentParameter(), "CustomRange = 2-4");
    EditLongRange("ctrl+a 3 minus 5", "Return");
    EXPECT_EQ(LastSentParameter(), "CustomRange = 3-5");
    EditLongRange("ctrl+a Delete", "Return");
    EXPECT_EQ(LastSentParameter(), "CustomRange = ");
}

TEST_F(JobEditsTest, AJobTypeWithoutACustomRangeIsToldInABox)
{
    Watch("1-5");
    ReceiveJob(StillJob());
    m_log.Clear();
    const std::string text = "This job does not support setting a custom range";
    InDialog(k_IdCustomRange,
             [&](wxTopLevelWindow &box)
             {
                 EXPECT_EQ(box.GetTitle(), "Ordwick");
                 EXPECT_EQ(TextOf(box), text);
                 EXPECT_EQ(box.FindWindow(wxID_CANCEL), nullptr);
                 EXPECT_TRUE(GetsKeyboard(*box.FindWindow(wxID_OK)));
                 Screenshot(box, "no-custom-range");
                 PressKeys("Return");
             });
    EXPECT_EQ(CommandLog(), "3 " + text + '\n');
    EXPECT_EQ(SentSinceJob(), 0u);
}

TEST_F(JobEditsTest, ABoxThatShallNotComeAgainDoesNot)
{
    Watch("1-5");
    ReceiveJob(StillJob());
    m_log.Clear();
    InDialog(k_IdCustomRange,
             [](wxTopLevelWindow &box)
             {
                 wxWindow *tick = wxWindow::FindWindowByName("checkBox", &box);
                 ASSERT_NE(tick, nullptr);
                 EXPECT_EQ(tick->GetLabel(), "Do not show again");
                 ClickAt(*tick, {10, tick->GetSize().y / 2});
                 PressKeys("Return");
             });
    EXPECT_EQ(wxGetApp().Options().FindText("Messages", "NoCustomRange"), "No");
    ChooseFromMenu(k_IdCustomRange); // Comes back at once.
    EXPECT_EQ(m_log.Count(k_LogWarning, "does not support"), 2) << "it is logged all the same";
    PressKeys("ctrl+w");
    EXPECT_NE(ReadOptions().find("NoCustomRange = No"), std::string::npos) << ReadOptions();
}

TEST_F(JobEditsTest, WithoutAJobTheEditsDoNothing)
{
    Start();
    Connect();
    const auto sent = Link().sent.size();
    m_log.Clear();
    ChooseFromMenu(k_IdCustomRange);
    EXPECT_EQ(CommandLog(), "3 Edit Custom Range: there is no job yet, nothing was done\n");

    m_log.Clear();
    InDialog(k_IdChangePaths,
             [](wxTopLevelWindow &box)
             {
                 EXPECT_EQ(box.GetTitle(), "Ordwick");
                 EXPECT_EQ(TextOf(box), "There is no Job to set the paths for");
                 wxWindow *tick = wxWindow::FindWindowByName("checkBox", &box);
                 ClickAt(*tick, {10, tick->GetSize().y / 2});
                 PressKeys("Return");
             });
    EXPECT_EQ(CommandLog(), "");
    EXPECT_EQ(Link().sent.size(), sent);
    EXPECT_EQ(wxGetApp().Options().FindText("Messages", "NoChangePaths"), "No");
}

TEST_F(JobEditsTest, OneFormatIsSentWithoutASeparatorAndNothingIsAppliedHere)
{
    Watch("1-5");
    EditFormats(
        [this](wxTopLevelWindow &dialog)
        {
            SelectFormat(dialog, 0);
            EnterFormat(dialog, 102, "/other/f.%d");
            EXPECT_EQ(List().RowCount(), 5);
        });
    EXPECT_EQ(SentParameters(), std::vector<std::string>{"ImageFormat = /other/f.%d"});
    EXPECT_EQ(CommandLog(), "5 Sending updated image format\n");
    EXPECT_EQ(FormatChoice().GetString(0), Pattern());
    EXPECT_EQ(List().GetDisplayText(0, 0), FramePath(1));

    ReceiveParameter(p_ImageFormat, "/other/f.%d");
    EXPECT_EQ(List().GetDisplayText(0, 0), "/other/f.1");
}

TEST_F(JobEditsTest, SeveralFormatsAreJoinedInOrder)
{
    Watch("1-5", {{p_ImageFormat, "/a/%d;/b/%d"}});
    EditFormats([](wxTopLevelWindow &dialog) { EnterFormat(dialog, 101, "/c/%d"); });
    EXPECT_EQ(SentParameters(), std::vector<std::string>{"ImageFormat = /a/%d;/b/%d;/c/%d"});
}

TEST_F(JobEditsTest, AnEmptyFirstFormatLeavesNoTraceAndALaterOneASeparator)
{
    Watch("1-5", {{p_ImageFormat, "/a/%d;/b/%d"}});
    EditFormats(
        [](wxTopLevelWindow &dialog)
        {
            SelectFormat(dialog, 0);
            EnterFormat(dialog, 102, "");
            EnterFormat(dialog, 101, "");
            EnterFormat(dialog, 101, "/c/%d");
        });
    EXPECT_EQ(SentParameters(), std::vector<std::string>{"ImageFormat = /b/%d;;/c/%d"});
}

TEST_F(JobEditsTest, AnEmptyListOfFormatsIsAnEmptyValue)
{
    Watch("1-5");
    EditFormats(
        [](wxTopLevelWindow &dialog)
        {
            SelectFormat(dialog, 0);
            ClickButton(dialog, 103);
        });
    EXPECT_EQ(SentParameters(), std::vector<std::string>{"ImageFormat = "});
}

TEST_F(JobEditsTest, FormatsAreSentAsTypedWhateverTheyHold)
{
    const std::string format = R"(  /x/"quoted" 'q' back\slash;semi $(touch pwned) grün 日本 %d  )";
    Watch("1-5");
    EditFormats([&](wxTopLevelWindow &dialog) { EnterFormat(dialog, 101, format); });
    EXPECT_EQ(SentParameters(),
              std::vector<std::string>{"ImageFormat = " + Pattern() + ';' + format});
}

TEST_F(JobEditsTest, FormatsGoOutInTheNotationOfTheFarm)
{
    const std::string formats = "//server/shots/a.%d;/other/b.%d;//server/done/c.%d";
    Watch("1-5", {{p_ImageFormat, formats}},
          "[PathMap]\n//server/shots = /mnt/shots\n\\\\server\\done = /50%done\n");
    ASSERT_EQ(FormatChoice().GetString(0), "/mnt/shots/a.%d");
    ASSERT_EQ(FormatChoice().GetString(2), "/50%%done/c.%d");
    EditFormats([](wxTopLevelWindow &) {});
    EXPECT_EQ(SentParameters(), std::vector<std::string>{"ImageFormat = " + formats});
    EditFormats([](wxTopLevelWindow &dialog) { EnterFormat(dialog, 101, "/mnt/shots/new/d.%d"); });
    EXPECT_EQ(LastSentParameter(), "ImageFormat = " + formats + ";//server/shots/new/d.%d");
    EXPECT_EQ(Window().Notice(), "");
    EXPECT_EQ(m_log.Count(k_LogWarning, ""), 0) << CommandLog();
}

TEST_F(JobEditsTest, FormatsThatDoNotReadBackAreSentAndTold)
{
    const struct
    {
        const char *value;   ///< As the job has it.
        const char *sent;    ///< By OK alone.
        const char *changed; ///< The first pattern that is another one then; none by "".
    } cases[] = {
        {"/a/%d;/b/%d", "/a/%d;/b/%d", ""},
        {R"(/a/%d;"/b;c/%d")", "/a/%d;/b;c/%d", "/b;c/%d"},
        {R"(/a\\b/%d;/c/%d)", R"(/a\b/%d;/c/%d)", R"(/a\b/%d)"},
        {R"(/a/\"b\"/%d)", R"(/a/"b"/%d)", R"(/a/"b"/%d)"},
        // Here it is the map that makes another path of a local one.
        {"//server/shots/b/%d", "//server/shots/b/%d", ""},
        {"/x/y/%d", "/x/y/%d", ""},
    };
    Watch("1-5", {}, "[PathMap]\n//server/shots = /mnt/shots\n/shared = /local\n");
    for (const auto &[value, sent, changed] : cases)
    {
        Window().HideNotice();
        m_log.Clear();
        ReceiveParameter(p_ImageFormat, value);
        EditFormats([](wxTopLevelWindow &) {});
        EXPECT_EQ(LastSentParameter(), std::string("ImageFormat = ") + sent);
        EXPECT_EQ(m_log.Count(k_LogInfo, "Sending updated image format"), 1);
        EXPECT_EQ(m_log.Count(k_LogWarning, "does not read back"), *changed ? 1 : 0) << value;
        EXPECT_EQ(Window().Notice().Contains(wxString("from ") + changed + " on: "), *changed != 0)
            << Window().Notice();
        if (*changed)
            Screenshot(Window(), "formats-changed");
    }

    // A path that the farm's notation has for another.
    EditFormats([](wxTopLevelWindow &dialog) { EnterFormat(dialog, 101, "/shared/%d"); });
    EXPECT_EQ(LastSentParameter(), "ImageFormat = /x/y/%d;/shared/%d");
    EXPECT_TRUE(Window().Notice().Contains("from /shared/%d on: ")) << Window().Notice();
}

TEST_F(JobEditsTest, ACancelledListOfFormatsSendsNothing)
{
    Watch("1-5");
    InDialog(k_IdChangePaths,
             [](wxTopLevelWindow &dialog)
             {
                 EnterFormat(dialog, 101, "/c/%d");
                 ClickButton(dialog, wxID_CANCEL);
             });
    InDialog(k_IdChangePaths, [](wxTopLevelWindow &) { PressKeys("Escape"); });
    InDialog(k_IdChangePaths, [](wxTopLevelWindow &dialog) { dialog.Close(); });
    EXPECT_EQ(SentSinceJob(), 0u);
    EXPECT_EQ(CommandLog(), "");
}

TEST_F(JobEditsTest, AnEditWithoutAConnectionIsDroppedWithAWarning)
{
    Watch("1-5");
    InDialog(k_IdCustomRange,
             [this](wxTopLevelWindow &dialog)
             {
                 Disconnect(); // While the dialog is open: the command keeps its job.
                 TypeInto(Field(dialog), "2");
                 PressKeys("Return");
             });
    EXPECT_EQ(SentSinceJob(), 0u);
    EXPECT_EQ(m_log.Count(k_LogWarning, "not connected to the Master"), 1);
}

TEST_F(JobEditsTest, ConfirmedSettingsScanAgainEvenUnchanged)
{
    Watch("1-5");
    InDialog(k_IdConfig, [](wxTopLevelWindow &) { PressKeys("Return"); });
    WaitFor([this] { return m_log.Count(k_LogStatus, "Finished scanning 5 files") == 1; });
    EXPECT_EQ(SentSinceJob(), 0u);
}

TEST_F(JobEditsTest, CancelledSettingsChangeNothing)
{
    Watch("1-5");
    const String before = wxGetApp().Options().ToText();
    InDialog(k_IdConfig,
             [](wxTopLevelWindow &dialog)
             {
                 TypeInto(Field(dialog), "77");
                 PressKeys("Escape");
             });
    InDialog(k_IdConfig, [](wxTopLevelWindow &dialog) { dialog.Close(); });
    PumpIdle();
    EXPECT_EQ(wxGetApp().Options().ToText(), before);
    EXPECT_EQ(m_log.Count(k_LogStatus, "Finished scanning"), 0);
}

TEST_F(JobEditsTest, NewSettingsJudgeTheFramesAndSwitchTheGauge)
{
    MakeFrames(1, 5, 9000);
    Watch("1-5");
    ASSERT_TRUE(Gauge().IsShown());
    InDialog(k_IdConfig,
             [](wxTopLevelWindow &dialog)
             {
                 TypeInto(Field(dialog), "9001");
                 wxWindow *tick = wxWindow::FindWindowByName("checkBox", &dialog);
                 ClickAt(*tick, {10, tick->GetSize().y / 2});
                 PressKeys("Return");
             });
    EXPECT_FALSE(Gauge().IsShown());
    WaitFor([this] { return StatusTexts() == "5 Files | 0 Missing | 5 Too Small"; });
    EXPECT_EQ(RowColor(0), "red");
    EXPECT_NE(ReadOptions().find("MinSize = 9001"), std::string::npos) << ReadOptions();
}

TEST_F(JobEditsTest, AFullDiskKeepsTheOldOptionsWholeAndLetsTheWindowClose)
{
    Watch("1-5", {}, "[Ballast]\nText = " + std::string(300'000, 'x') + '\n');
    const std::string before = ReadOptions();
    {
        const FullDisk full(200'000);
        InDialog(k_IdConfig,
                 [](wxTopLevelWindow &dialog)
                 {
                     TypeInto(Field(dialog), "77");
                     PressKeys("Return");
                 });
        EXPECT_EQ(m_log.Count(k_LogError, "options: "), 1) << CommandLog();
        EXPECT_EQ(m_log.Texts(k_LogError).size(), 1u);
        EXPECT_TRUE(IsSame(ReadOptions(), before));
        WaitFor([this] { return m_log.Count(k_LogStatus, "Finished scanning") == 1; });

        m_log.Clear();
        PressKeys("ctrl+w");
        WaitFor([] { return wxTheApp->GetTopWindow() == nullptr; });
        EXPECT_EQ(m_log.Count(k_LogError, "options: "), 1) << CommandLog();
        EXPECT_EQ(m_log.Texts(k_LogError).size(), 1u);
    }
    EXPECT_TRUE(IsSame(ReadOptions(), before));
    EXPECT_EQ(m_folder.Listing(), "home\n");
}
