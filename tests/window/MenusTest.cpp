// The two menus: every text of them, their keys, and the job's own commands.

#include <boost/make_shared.hpp>
#include <filesystem>
#include <stdexcept>

#include <wx/statusbr.h>

#include "app/Ordwick.h"
#include "corvan/JobFactory.h"
#include "ostrel/Exception.h"
#include "ostrel/Folders.h"
#include "tests/support/NativeDialog.h"
#include "tests/support/Printing.h"
#include "tests/window/CommandFixture.h"
#include "ui/CommandIds.h"

using namespace corvan;
using namespace ostrel;

namespace
{

struct ItemTexts
{
    int id;
    std::string label;
    std::string help;

    bool operator==(const ItemTexts &) const = default;
};

void PrintTo(const ItemTexts &item, std::ostream *stream)
{
    *stream << item.id << " \"" << item.label << "\" \"" << item.help << '"';
}

const std::vector<ItemTexts> k_file_menu = {
    {k_IdSelectBad, "Select Bad/Missing Frames\tCtrl+S",
     "Select frames that have been detected as bad or missing"},
    {wxID_SEPARATOR, "", ""},
    {k_IdRequeueSelected, "Requeue Selected\tCtrl+R",
     "Requeue the frames that are currently selected in the list"},
    {k_IdRequeueBad, "Requeue Bad/Missing Frames\tCtrl+B",
     "Requeue the frames that have been detected as bad or missing"},
    {wxID_SEPARATOR, "", ""},
    {k_IdDeleteSelected, "Delete Selected",
     "Delete the frames that are currently selected in the list"},
    {k_IdDeleteBad, "Delete Bad/Missing Frames",
     "Delete the frames that have been detected as bad or missing"},
    {wxID_SEPARATOR, "", ""},
    {k_IdConfig, "Analysis settings...", "Configure how frame files are analyzed"},
    {wxID_SEPARATOR, "", ""},
    {wxID_EXIT, "Close\tCtrl+W", "Close this window"},
};

const std::vector<ItemTexts> k_job_menu = {
    {k_IdCustomRange, "Edit Custom Range", "Change the range of files to search for"},
    {k_IdChangePaths, "Edit Image Formats", "Add, change, or remove image formatting paths"},
};

/// A job whose note cannot be written, which happens before each command.
class UnwritableJob : public RenderJob
{
public:
    using RenderJob::RenderJob;

    void SetNote(const String & /*note*/) override
    {
        throw std::length_error("no room for a note");
    }
};

std::vector<ItemTexts> TextsOf(const wxMenu &menu)
{
    std::vector<ItemTexts> items;
    for (const wxMenuItem *item : menu.GetMenuItems())
    {
        EXPECT_TRUE(item->IsEnabled());
        EXPECT_FALSE(item->IsSubMenu());
        EXPECT_TRUE(item->IsSeparator() || item->GetKind() == wxITEM_NORMAL);
        items.push_back(
            {item->GetId(), item->GetItemLabel().utf8_string(), item->GetHelp().utf8_string()});
    }
    return items;
}

} // namespace

class MenusTest : public CommandFixture
{
protected:
    std::string HelpShown() const
    {
        return Window().GetStatusBar()->GetStatusText(0).utf8_string();
    }

    /// Options with one command that writes the arguments behind `note`, each followed by "|", to
    /// the file `Written` names.
    std::string WritingCommand() const
    {
        return std::string("[") + OrdwickProgram::s_jobTypeId +
               "]\n"
               "Command.1.Label = Write\nCommand.1.1 = sh\nCommand.1.2 = -c\n"
               "Command.1.3 = printf '%s|' \"$@\" >\"$0.new\"; mv \"$0.new\" \"$0\"\n"
               "Command.1.4 = " +
               Written().Text() +
               "\nCommand.1.5 = {Note}\nCommand.1.6 = {Name}\nCommand.1.7 = {ID}\n"
               "Command.1.8 = {Range}\n";
    }
    std::string Command(const std::string &program) const
    {
        return std::string("[") + OrdwickProgram::s_jobTypeId +
               "]\nCommand.1.Label = Go\nCommand.1.1 = " + program + '\n';
    }
    const wxMenuItem &ItemOf(const wxString &label) const
    {
        for (const wxMenuItem *item : Menu("Job").GetMenuItems())
            if (item->GetItemLabelText() == label)
                return *item;
        throw std::logic_error("no item " + label.utf8_string());
    }
    Path Written() const
    {
        return m_folder / "written";
    }
    /// Runs the command "Write" and gives what it wrote.
    std::string Write()
    {
        std::filesystem::remove(Written().Text().c_str());
        ChooseFromMenu("Write");
        const std::string file = Written().Text();
        WaitFor([&file] { return std::filesystem::exists(file); }, 20);
        return ContentOf(Written());
    }
    String Note() const
    {
        return wxGetApp().CurrentJob()->ParameterText(p_Note, false);
    }
};

TEST(CommandIds, AreTheNumbersOfTheWindowsOwnCommands)
{
    const std::vector<int> ids = {k_IdCustomRange, k_IdSelectBad,      k_IdRequeueSelected,
                                  k_IdRequeueBad,  k_IdDeleteSelected, k_IdDeleteBad,
                                  k_IdConfig,      k_IdChangePaths};
    EXPECT_EQ(ids, (std::vector<int>{1001, 1002, 1003, 1004, 1005, 1006, 1007, 1008}));
}

TEST_F(MenusTest, HaveEveryTextInItsPlace)
{
    Start();
    const wxMenuBar &bar = *Window().GetMenuBar();
    ASSERT_EQ(bar.GetMenuCount(), 2u);
    EXPECT_EQ(bar.GetMenuLabel(0), "File");
    EXPECT_EQ(bar.GetMenuLabel(1), "Job");
    EXPECT_EQ(TextsOf(*bar.GetMenu(0)), k_file_menu);
    EXPECT_EQ(TextsOf(*bar.GetMenu(1)), k_job_menu) << "without a job: the two edits and no more";
}

TEST_F(MenusTest, ShowTheHelpOfTheItemAndThenTheCountsAgain)
{
    Watch("1-5");
    ASSERT_EQ(StatusTexts(), "5 Files | 5 Missing | 0 Too Small");
    std::vector<std::string> shown;
    PressKeys("F10");
    for (int i = 0; i < 7; ++i)
    {
        PressKeys("Down");
        shown.push_back(HelpShown());
    }
    Screenshot(Window(), "menu-file");
    PressKeys("Right");
    Screenshot(Window(), "menu-job");
    PressKeys("Escape");
    PressKeys("Escape");

    for (const ItemTexts &item : k_file_menu)
        if (!item.help.empty())
        {
            EXPECT_NE(std::find(shown.begin(), shown.end(), item.help), shown.end()) << item.help;
        }
    WaitFor([this] { return StatusTexts() == "5 Files | 5 Missing | 0 Too Small"; });
}

TEST_F(MenusTest, HelpGivesWayToTheCountsOfTheFilesThereAreNow)
{
    Watch("1-6");
    PressKeys("F10 Down");
    ASSERT_NE(HelpShown(), "6 Files");
    ReceiveParameter(p_Range, "1-7");
    PressKeys("Down");
    ASSERT_NE(HelpShown(), "7 Files") << "the next item's help";
    PressKeys("Escape Escape");
    WaitFor([this] { return StatusTexts() == "7 Files | 7 Missing | 0 Too Small"; });
}

TEST_F(MenusTest, OpenByAClickAndRunTheItemThatIsClicked)
{
    MakeFrames(1, 4, 9000);
    Watch("1-5");
    ClickAt(Window(), {15, -8});
    ClickAt(Window(), {60, 14});
    WaitFor([this] { return List().SelectedPaths() == std::set<Path>{FramePath(5)}; });
}

TEST_F(MenusTest, CtrlWClosesTheWindow)
{
    Watch("1-5");
    FocusList();
    PressKeys("ctrl+w");
    WaitFor([] { return wxTheApp->GetTopWindow() == nullptr; });
    EXPECT_NE(ReadOptions().find("[FileListCols]"), std::string::npos) << "as any closing does";
}

TEST_F(MenusTest, TheItemCloseClosesTheWindow)
{
    Watch("1-5");
    ChooseFromMenu(wxID_EXIT);
    WaitFor([] { return wxTheApp->GetTopWindow() == nullptr; });
}

TEST_F(MenusTest, TheCloseCommandClosesTheWindowAndTravelsOn)
{
    Watch("1-5");
    bool hasTravelled = false;
    wxTheApp->Bind(
        wxEVT_MENU, [&](wxCommandEvent &) { hasTravelled = true; }, wxID_CLOSE);
    wxCommandEvent close(wxEVT_MENU, wxID_CLOSE);
    Window().GetEventHandler()->ProcessEvent(close);
    EXPECT_TRUE(hasTravelled);
    WaitFor([] { return wxTheApp->GetTopWindow() == nullptr; });
}

TEST_F(MenusTest, ACommandThatNobodyKnowsDoesNothing)
{
    Watch("1-5", {}, Command("true"));
    for (const int id : {1, 999, 1009, 6000, 7999, 30000})
    {
        wxCommandEvent event(wxEVT_MENU, id);
        EXPECT_TRUE(Window().GetEventHandler()->ProcessEvent(event)) << id;
    }
    EXPECT_EQ(CommandLog(), "");
    EXPECT_EQ(SentSinceJob(), 0u);
}

TEST_F(MenusTest, TheJobsCommandsStandBehindTheEditsAndFollowTheJob)
{
    Watch("1-5", {}, Command("true"));
    const std::string edits = "Edit Custom Range, Edit Image Formats";
    EXPECT_EQ(LabelsOf("Job"), edits + ", -, Pause, Cancel, Raise Priority, Lower Priority, -, Go");
    for (const wxMenuItem *item : Menu("Job").GetMenuItems())
        if (!item->IsSeparator() && item->GetId() != k_IdCustomRange &&
            item->GetId() != k_IdChangePaths)
        {
            EXPECT_GT(item->GetId(), wxID_HIGHEST);
        }

    ReceiveJob(MakeJob({{p_Status, "4"}}));
    EXPECT_EQ(LabelsOf("Job"),
              edits + ", -, Resume, Cancel, Raise Priority, Lower Priority, -, Go");
    ReceiveParameter(p_Status, "2");
    EXPECT_EQ(LabelsOf("Job"), edits + ", -, Run Again, -, Go");
    Window().FillJobMenu(nullptr, 4);
    EXPECT_EQ(LabelsOf("Job"), edits);
}

TEST_F(MenusTest, WishesGoToTheMasterAndChangeNothingHere)
{
    Watch("1-5");
    for (const char *wish : {"Pause", "Raise Priority", "Lower Priority", "Cancel"})
        ChooseFromMenu(wish);
    EXPECT_EQ(SentParameters(), (std::vector<std::string>{"Status = 4", "Priority = 60",
                                                          "Priority = 40", "Status = 5"}));
    EXPECT_EQ(wxGetApp().CurrentJob()->ParameterText(p_Status, false), "");

    ReceiveParameter(p_Status, "4");
    ChooseFromMenu("Resume");
    EXPECT_EQ(LastSentParameter(), "Status = 0");
    ReceiveParameter(p_Status, "5");
    ChooseFromMenu("Run Again");
    EXPECT_EQ(LastSentParameter(), "Status = 0");
}

TEST_F(MenusTest, WithNothingSelectedTheNoteIsAnEmptyTextAndStillAnArgument)
{
    Watch("1-5", {{p_Note, "an old note"}}, WritingCommand());
    EXPECT_EQ(Write(), std::string("|Shot|") + s_jobId + "|1-5|");
    EXPECT_EQ(Note(), "");
}

TEST_F(MenusTest, OfSeveralRowsTheNoteIsTheFirstPath)
{
    MakeFrames(1, 9, 9000);
    Watch("1-9", {}, WritingCommand());
    Window().SetSortCol(0); // Descending: the first path is not the first row.
    SelectRows({2, 6, 4});
    EXPECT_EQ(Write(), FramePath(3) + "|Shot|" + s_jobId + "|1-9|");
    EXPECT_EQ(Note(), FramePath(3));
}

TEST_F(MenusTest, TheNoteReachesTheProgramAsOneArgumentWhateverItHolds)
{
    const struct
    {
        std::string format; ///< As the job's list of formats has it.
        std::string path;
        std::string argument = path; ///< A path is no option.
    } cases[] = {
        {"/n/with blanks  %d", "/n/with blanks  7"},
        {R"(/n/\"double\" 'single' %d)", R"(/n/"double" 'single' 7)"},
        {R"(/n/a\;b && c | d > e %d)", "/n/a;b && c | d > e 7"},
        {"/n/$(touch pwned) `touch pwned` $HOME %d", "/n/$(touch pwned) `touch pwned` $HOME 7"},
        {"-rf %d", "-rf 7", "./-rf 7"},
        {"--help=%d", "--help=7", "./--help=7"},
        {"/n/{ID} {{x} {Nothing} %d", "/n/{ID} {{x} {Nothing} 7"},
        {R"(/n/back\\slash \\n %d)", R"(/n/back\slash \n 7)"},
        {"/n/grün 日本 %d", "/n/grün 日本 7"},
    };
    Watch("7", {}, WritingCommand());
    for (const auto &[format, path, argument] : cases)
    {
        ReceiveParameter(p_ImageFormat, format);
        FocusList();
        PressKeys("Home");
        ASSERT_EQ(Window().CurrentSelection(), path);
        EXPECT_EQ(Write(), argument + "|Shot|" + s_jobId + "|7|");
    }
    EXPECT_FALSE(std::filesystem::exists("pwned"));
}

TEST_F(MenusTest, AFileWhoseNameHasALineEndReachesNoProgram)
{
    Watch("7", {}, WritingCommand());
    ReceiveParameter(p_ImageFormat, "/n/two\nlines\n%d");
    FocusList();
    PressKeys("Home");
    ASSERT_EQ(Window().CurrentSelection(), "/n/two\nlines\n7");
    EXPECT_EQ(WhileMessageBox([this] { ChooseFromMenu("Write"); }),
              (MessageBoxTexts{"Ordwick", "The command failed with an exception:\n5s", "OK"}));
    EXPECT_FALSE(std::filesystem::exists(Written().Text().c_str()));
}

TEST_F(MenusTest, AProgramThatCannotBeStartedIsNamedInABox)
{
    Watch("1-5", {}, Command("/no/such/program"));
    EXPECT_EQ(WhileMessageBox([this] { ChooseFromMenu("Go"); }),
              (MessageBoxTexts{"Ordwick",
                               "The Job Command tried to launch a program that could not be "
                               "executed:\n/no/such/program: No such file or directory",
                               "OK"}));
    EXPECT_EQ(CommandLog(), "") << "the box says it all";
    EXPECT_TRUE(Window().IsShown());
}

TEST_F(MenusTest, AnotherFailureOfACommandIsToldWithoutItsReason)
{
    Watch("1-5", {}, Command("{NoSuchParameter}"));
    EXPECT_EQ(WhileMessageBox([this] { ChooseFromMenu("Go"); }),
              (MessageBoxTexts{"Ordwick", "The command failed with an exception:\n5s", "OK"}));
    EXPECT_EQ(CommandLog(), "");
}

TEST_F(MenusTest, AnExceptionOfAThirdKindPassesThroughTheCommand)
{
    Watch("1-5", {}, Command("true"));
    const auto job = boost::make_shared<UnwritableJob>(
        JobFactory::s_JobFactory.FindType(UID(OrdwickProgram::s_jobTypeId, true)));
    Window().FillJobMenu(job, 4);
    wxCommandEvent event(wxEVT_MENU, ItemOf("Go").GetId());
    EXPECT_THROW(Window().GetEventHandler()->ProcessEvent(event), std::length_error);
    EXPECT_EQ(CommandLog(), "");

    // By hand it comes to the application, which logs it and goes on.
    ChooseFromMenu("Go");
    EXPECT_EQ(CommandLog(), "2 a command failed: no room for a note\n");
    EXPECT_TRUE(Window().IsShown());
}

TEST_F(MenusTest, AProgramThatFailsLaterIsLogged)
{
    Watch("1-5", {}, Command("false"));
    ChooseFromMenu("Go");
    WaitFor([this] { return m_log.Count(k_LogWarning, "a job command's program") == 1; }, 20);
}

TEST_F(MenusTest, CommandsOfTheSharedOptionsAreShownBehindThoseOfTheType)
{
    // What ships: the job types of the installation.
    JobFactory::s_JobFactory.LoadTypes(ShareFolder() / "jobtypes");
    const char *const commandType = "6d396773-6d80-4f82-823f-fbc6c1cca52f";
    m_folder.MakeFile("home/XDG_CONFIG_HOME/CorvanGui/CorvanGui.ini",
                      std::string("[") + commandType +
                          "]\nCommand.7.Label = Compare\nCommand.7.1 = sh\nCommand.7.2 = -c\n"
                          "Command.7.3 = printf %s \"$1\" >\"$0.new\"; mv \"$0.new\" \"$0\"\n"
                          "Command.7.4 = " +
                          Written().Text() + "\nCommand.7.5 = {Note}\n");
    // The user's own of the same number is another command, and adds nothing to that one.
    WriteOptions(std::string("[") + commandType +
                 "]\nCommand.7.Label = Mine\nCommand.7.1 = true\nCommand.7.6 = mine\n");
    Start();
    Connect();
    const auto job = JobFactory::s_JobFactory.CreateJob(UID(commandType, true));
    job->SetID(UID(s_jobId, true));
    job->SetParameter(p_Name, "Shot");
    job->SetParameter(p_Range, "1-3");
    job->SetParameter(p_ImageFormat, Pattern());
    ReceiveJob(job);
    EXPECT_EQ(LabelsOf("Job"), "Edit Custom Range, Edit Image Formats, -, Pause, Cancel, "
                               "Raise Priority, Lower Priority, -, View frame, Open folder, "
                               "Show task logs, Compare, Mine");
    SelectRows({1});
    ChooseFromMenu("Compare");
    const std::string file = Written().Text();
    WaitFor([&file] { return std::filesystem::exists(file); }, 20);
    EXPECT_EQ(ContentOf(Written()), FramePath(2));
}

TEST_F(MenusTest, FrameAndFolderOpenInTheDesktopsPrograms)
{
    // A program of the desktop's name that says what it was given.
    const Path viewer = m_folder.MakeFile(
        "bin/xdg-open", "#!/bin/sh\nprintf '%s|' \"$@\" >\"" + Written().Text() + ".new\"\nmv \"" +
                            Written().Text() + ".new\" \"" + Written().Text() + "\"\n");
    std::filesystem::permissions(std::string(viewer.Text()), std::filesystem::perms::owner_all);
    const std::string path = viewer.Parent().Text() + ":" + std::getenv("PATH");
    const EnvironmentGuard programs("PATH", path.c_str());
    JobFactory::s_JobFactory.LoadTypes(ShareFolder() / "jobtypes");
    Start();
    Connect();
    for (const UID &type : JobFactory::s_JobFactory.ListTypes())
    {
        const auto job = JobFactory::s_JobFactory.CreateJob(type);
        if (job->Type().commands.empty())
            continue;
        job->SetID(UID(s_jobId, true));
        job->SetParameter(p_Range, "1-3");
        job->SetParameter(p_ImageFormat, Pattern());
        ReceiveJob(job);
        SelectRows({1});
        const struct
        {
            const char *label;
            std::string opened;
        } cases[] = {
            {"View frame", FramePath(2) + "|"},
            {"Open folder", m_folder.Folder().Text() + "/frames|"},
        };
        for (const auto &[label, opened] : cases)
        {
            ChooseFromMenu(label);
            const std::string file = Written().Text();
            WaitFor([&file] { return std::filesystem::exists(file); }, 20);
            EXPECT_EQ(ContentOf(Written()), opened) << label;
            std::filesystem::remove(file);
        }
    }
}
