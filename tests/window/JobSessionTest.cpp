// The program's start, its options folders, and what it does as messages come.

#include <wx/infobar.h>
#include <wx/sysopt.h>

#include "app/Ordwick.h"
#include "corvan/ClientKind.h"
#include "corvan/JobFactory.h"
#include "ostrel/File.h"
#include "ostrel/Folders.h"
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
