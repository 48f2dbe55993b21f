// The program's start, its options folders, and what it does as messages come.

#include <boost/weak_ptr.hpp>
#include <filesystem>

#include <wx/infobar.h>
#include <wx/sysopt.h>

#include "app/Ordwick.h"
#include "corvan/ClientKind.h"
#include "corvan/JobFactory.h"
#include "ostrel/File.h"
#include "ostrel/Folders.h"
#include "ostrel/LibStatic.h"
#include "tests/support/NativeDialog.h"
#include "tests/window/OrdwickFixture.h"

using namespace corvan;
using namespace ostrel;

class JobSession : public OrdwickFixture
{
protected:
    std::vector<std::string> SentTypes() const
    {
        std::vector<std::string> names;
        for (const auto &message : Link().sent)
            names.push_back(message->TypeName());
        return names;
    }
};

TEST_F(JobSession, StartsSmallAndGenericAndSaysWhatItWasAsked)
{
    Start();
    EXPECT_EQ(wxSystemOptions::GetOptionInt("window-default-variant"), 1);
    EXPECT_EQ(wxSystemOptions::GetOptionInt("mac.listctrl.always_use_generic"), 1);
    EXPECT_EQ(m_log.Count(k_LogInfo, std::string("Command line specified: ") + s_jobId), 1);
    EXPECT_EQ(Messenger::ClientKindNumber(), k_ClientWatcher);
    EXPECT_FALSE(Messenger::ClientIdentity().IsNil());
    EXPECT_TRUE(g_Running);
    EXPECT_EQ(Window().GetTitle(), "Ordwick");
}

TEST_F(JobSession, IgnoresFurtherArguments)
{
    Start({s_jobId, "more", "and more"});
    Connect();
    EXPECT_EQ(SentTypes(), (std::vector<std::string>{"FollowJob", "GetJobInfo"}));
}

TEST_F(JobSession, FollowsBeforeItAsksAtEachConnection)
{
    Start();
    Connect();
    Disconnect();
    Connect();
    EXPECT_EQ(SentTypes(),
              (std::vector<std::string>{"FollowJob", "GetJobInfo", "FollowJob", "GetJobInfo"}));
    const auto follow = boost::dynamic_pointer_cast<FollowJobMsg>(Link().sent.at(0));
    const auto request = boost::dynamic_pointer_cast<GetJobInfoMsg>(Link().sent.at(1));
    EXPECT_EQ(follow->jobs, std::vector{UID(s_jobId, true)});
    EXPECT_EQ(request->jobs, std::vector{UID(s_jobId, true)});
    EXPECT_EQ(m_log.Count(k_LogInfo, std::string("Requesting Job: ") + s_jobId), 2);
}

TEST_F(JobSession, CopiesTheSectionsOfTheJobTypesFromTheSharedOptions)
{
    JobFactory::s_JobFactory.LoadTypes(ShareFolder() / "jobtypes");
    const std::vector<UID> types = JobFactory::s_JobFactory.ListTypes();
    ASSERT_FALSE(types.empty());
    m_folder.MakeFile("home/XDG_CONFIG_HOME/CorvanGui/CorvanGui.ini",
                      "[Other]\nA = 1\n[" + types.front().ToString() + "]\nShown = yes\n");
    Start();
    EXPECT_TRUE(wxGetApp().Options().GetValue(types.front().ToString(), "Shown", false));
    EXPECT_FALSE(wxGetApp().Options().HasSection("Other"));
    EXPECT_FALSE(wxGetApp().Options().WriteOnChange());
}

TEST_F(JobSession, WhatIsCopiedFromTheSharedOptionsIsNotWrittenIntoTheUsersFile)
{
    const std::string type = "6d396773-6d80-4f82-823f-fbc6c1cca52f";
    m_folder.MakeFile("home/XDG_CONFIG_HOME/CorvanGui/CorvanGui.ini",
                      "[" + type + "]\nCommand.1.Label = Compare\nCommand.1.1 = true\n");
    WriteOptions("[" + type + "]\nCommand.1.Label = Mine\n");
    Start();
    OptionsFile &options = wxGetApp().Options();
    EXPECT_EQ(options.FindText(type, "Command.1.Label"), "Compare");
    EXPECT_EQ(options.FindText(type, "Command.1.1"), "true");
    options.WriteOut();
    EXPECT_EQ(ReadOptions(), "[" + type + "]\nCommand.1.Label = Mine\n");
}

namespace
{

/// How many job types are there when the program's libraries start.
class TypeCount : public LibStatic
{
public:
    TypeCount() : LibStatic("TypeCount") {}

    void OnLibStartup(CommandLine &) override
    {
        m_count = JobFactory::s_JobFactory.ListTypes().size();
    }
    std::size_t Count() const
    {
        return m_count;
    }

private:
    std::size_t m_count = 99;
};

/// Sets the flag of the running program's options as its libraries start, so before it copies.
class FlagSetter : public LibStatic
{
public:
    FlagSetter() : LibStatic("FlagSetter") {}

    void OnLibStartup(CommandLine &) override
    {
        CorvanApp::Get()->Options().SetWriteOnChange(true);
    }
};

} // namespace

TEST_F(JobSession, TheFlagOfTheOptionsIsClearedWhileTheSectionsAreCopiedAndThenWhatItWas)
{
    FlagSetter setter;
    m_folder.MakeFile("home/XDG_CONFIG_HOME/CorvanGui/CorvanGui.ini",
                      "[6d396773-6d80-4f82-823f-fbc6c1cca52f]\nShown = yes\n");
    // Changed by any option that is written: the layout is not the program's own.
    WriteOptions("[Analysis]\n\n\nMinSize=7\n");
    ASSERT_TRUE(TryStart({s_jobId}));
    EXPECT_TRUE(
        wxGetApp().Options().GetValue("6d396773-6d80-4f82-823f-fbc6c1cca52f", "Shown", false));
    EXPECT_TRUE(wxGetApp().Options().WriteOnChange());
    EXPECT_EQ(ReadOptions(), "[Analysis]\n\n\nMinSize=7\n");
}

TEST_F(JobSession, StartsWithoutAnyJobType)
{
    const Path share = m_folder.MakeFolder("share");
    for (const char *part : {"colours", "icons"})
        std::filesystem::create_directory_symlink(std::string((ShareFolder() / part).Text()),
                                                  std::string((share / part).Text()));
    const EnvironmentGuard noTypes("ORDWICK_SHARE", share.Text().c_str());
    m_folder.MakeFile("home/XDG_CONFIG_HOME/CorvanGui/CorvanGui.ini",
                      "[6d396773-6d80-4f82-823f-fbc6c1cca52f]\nShown = yes\n[Other]\nA = 1\n");
    TypeCount types;
    Start();
    EXPECT_EQ(types.Count(), 0u);
    EXPECT_EQ(wxGetApp().Options().Sections(), std::vector<String>{});
    EXPECT_EQ(Window().GetTitle(), "Ordwick");
}

TEST_F(JobSession, DoesNotStartWhereTheFarmClientDoesNot)
{
    EXPECT_FALSE(TryStart({"--master", "nonsense", "no identifier"}));
    EXPECT_EQ(m_log.Texts(k_LogFatal).size(), 1u);
    EXPECT_EQ(m_log.Count(k_LogFatal, "\"nonsense\" is no address of a Master"), 1);
    EXPECT_EQ(wxTheApp->GetTopWindow(), nullptr);
    EXPECT_FALSE(g_Running);
}

TEST_F(JobSession, CleanupLetsGoOfTheJobEverywhere)
{
    Start();
    ConnectWithJob({});
    const boost::weak_ptr<Job> job = wxGetApp().CurrentJob();
    ASSERT_FALSE(job.expired());
    EXPECT_TRUE(g_Running);
    wxGetApp().Cleanup();
    EXPECT_FALSE(g_Running);
    EXPECT_EQ(wxGetApp().CurrentJob(), nullptr);
    EXPECT_TRUE(job.expired()) << "the job's menu has let go of it too";
}

TEST_F(JobSession, LooksForOptionsOfTheSharedProgramBehindItsOwn)
{
    Start();
    std::vector<std::string> folders;
    for (const Path &folder : File::s_AltPaths)
        folders.push_back(folder.Text());
    const std::string config = m_folder.Folder().Text() + "/home/XDG_CONFIG_HOME/";
    ASSERT_GE(folders.size(), 4u);
    EXPECT_EQ(folders[0], config + "Ordwick");
    EXPECT_EQ(folders[1], config + "CorvanGui");
    EXPECT_EQ(folders[2], "/etc/Ordwick");
    EXPECT_EQ(folders[3], "/etc/CorvanGui");
}

TEST_F(JobSession, AFolderThatNamesTheProgramTwiceGivesOneWithBothReplaced)
{
    Start();
    File::s_AltPaths = {"/a/Ordwick/b/Ordwick", "/c"};
    wxGetApp().OptionsFilename();
    EXPECT_EQ(File::s_AltPaths,
              (std::list<Path>{"/a/Ordwick/b/Ordwick", "/a/CorvanGui/b/CorvanGui", "/c"}));
}

TEST_F(JobSession, AParameterBeforeAnyJobIsLoggedAndRejected)
{
    Start();
    Connect();
    ReceiveParameter(p_Range, "1-3");
    EXPECT_EQ(m_log.Count(k_LogStatus, "Received Job parameter 'Range' = 1-3"), 1);
    EXPECT_EQ(m_log.Count(k_LogWarning, "NO JOB: Job parameter not updated"), 1);
}

TEST_F(JobSession, AParameterAfterADisconnectIsRejected)
{
    Start();
    ConnectWithJob({});
    EXPECT_EQ(m_log.Count(k_LogStatus, "Received Job: Shot"), 1);
    Disconnect();
    EXPECT_EQ(wxGetApp().CurrentJob(), nullptr);
    ReceiveParameter(p_Range, "1-3");
    EXPECT_EQ(m_log.Count(k_LogWarning, "NO JOB: Job parameter not updated"), 1);
    EXPECT_EQ(List().RowCount(), 5) << "the list stays as it was";
}

TEST_F(JobSession, AValueThatTheJobRefusesIsIgnored)
{
    Start();
    ConnectWithJob({});
    ReceiveParameter(p_Range, "nonsense");
    EXPECT_EQ(m_log.Count(k_LogWarning, "UPDATE FAILED: Job parameter update ignored"), 1);
    EXPECT_EQ(List().RowCount(), 5);
}

TEST_F(JobSession, ARangeRefillsTheListAndAUserRangeDoesNot)
{
    Start();
    ConnectWithJob({});
    ReceiveParameter(p_Range, "1-8");
    EXPECT_EQ(List().RowCount(), 8);
    ReceiveParameter(p_UserRange, "1-3");
    EXPECT_EQ(List().RowCount(), 8);
    ReceiveParameter(p_CustomRange, "2-3");
    EXPECT_EQ(List().RowCount(), 2);
    ReceiveParameter(p_CustomRange, "");
    EXPECT_EQ(List().RowCount(), 8);
}

TEST_F(JobSession, NewFormatsAreShown)
{
    Start();
    ConnectWithJob({});
    ReceiveParameter(p_ImageFormat, "/x/a.%d;/x/b.%d");
    EXPECT_EQ(FormatChoice().GetCount(), 2u);
    EXPECT_EQ(List().GetDisplayText(0, 0), "/x/a.1");
}

TEST_F(JobSession, TheSameJobAgainDoesNotRebuildTheList)
{
    Start();
    ConnectWithJob({});
    const int before = m_log.Count(k_LogStatus, "Displaying:");
    ReceiveJob(MakeJob({}));
    EXPECT_EQ(m_log.Count(k_LogStatus, "Displaying:"), before);
    ReceiveJob(MakeJob({{p_Range, "1-6"}}));
    EXPECT_EQ(m_log.Count(k_LogStatus, "Displaying:"), before + 1);
    EXPECT_EQ(List().RowCount(), 6);
}

TEST_F(JobSession, AJobWithoutFormatsIsReportedOnceARun)
{
    Start();
    Connect();
    const auto job = [this]
    {
        const auto made = JobFactory::s_JobFactory.CreateJob(MakeJob({})->Type().id);
        made->SetID(UID(s_jobId, true));
        made->SetParameter(p_Name, "Bare");
        return made;
    };
    const std::string text = "Job 'Bare' reports no image formats parameter (Test)";
    EXPECT_EQ(WhileMessageBox([&] { ReceiveJob(job()); }),
              (MessageBoxTexts{"Ordwick", text, "OK"}));
    EXPECT_EQ(m_log.Texts(k_LogError), std::vector{text});

    ReceiveJob(job());
    EXPECT_EQ(m_log.Count(k_LogError, "reports no image formats"), 1);
}

TEST_F(JobSession, WhyTheMasterTurnsTheProgramAwayStandsInTheWindowUntilItConnects)
{
    Start();
    Link().callbacks.turnedAway("the token is not the Master's");
    const wxString text = "There is no connection to the Master: the token is not the Master's";
    WaitFor([&] { return Window().Notice() == text; });
    EXPECT_FALSE(List().IsShownOnScreen());
    Connect();
    EXPECT_EQ(Window().Notice(), "");
    EXPECT_TRUE(List().IsShownOnScreen());
}

TEST_F(JobSession, AJobThatIsRemovedIsSaidSoAndItsFilesStayWatched)
{
    MakeFrames(1, 5, 1000);
    Start();
    ConnectWithJob({});
    PumpPass();
    const auto other = boost::make_shared<JobRemovedMsg>();
    other->job = UID(true);
    JobRemovedMsg::s_Signal(other);
    EXPECT_EQ(Window().Notice(), "");

    const auto message = boost::make_shared<JobRemovedMsg>();
    message->job = UID(s_jobId, true);
    JobRemovedMsg::s_Signal(message);
    EXPECT_EQ(Window().Notice(),
              "The job was removed from the Master. Its files are still watched.");
    EXPECT_EQ(StatusTexts(), "5 Files | 0 Missing | 0 Too Small");
}

TEST_F(JobSession, WhatTheMasterRefusesStandsInTheWindowUntilTheConnectionIsLost)
{
    Start();
    ConnectWithJob({});
    const auto message = boost::make_shared<RefusedMsg>();
    message->what = "JobParameter CustomRange";
    message->reason = "\"abc\" is no range";
    Link().callbacks.received(message);
    const auto notice = []() -> wxInfoBarGeneric *
    {
        for (wxWindow *child : wxTheApp->GetTopWindow()->GetChildren())
            if (auto *bar = dynamic_cast<wxInfoBarGeneric *>(child))
                return bar;
        return nullptr;
    };
    WaitFor([&] { return notice() && notice()->IsShown(); });
    EXPECT_TRUE(List().IsShown());
    Screenshot(Window(), "refused");
    Disconnect();
    EXPECT_FALSE(notice()->IsShown());
}
