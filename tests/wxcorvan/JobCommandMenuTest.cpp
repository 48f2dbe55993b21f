#include "wxcorvan/JobCommandMenu.h"

#include <unistd.h>

#include <gtest/gtest.h>

#include "corvan/Parameters.h"
#include "ostrel/OptionsFile.h"
#include "tests/support/TempFolder.h"
#include "tests/support/Thrown.h"
#include "tests/support/WindowTest.h"
#include "tests/wxcorvan/SampleJob.h"
#include "tests/wxcorvan/TestApp.h"

using namespace wxcorvan;
using namespace corvan;

namespace
{

constexpr int k_build = 1;
constexpr int k_replace = 4;

/// A menu that says what it was asked before and after a command, and whether it goes on.
class WatchedMenu : public JobCommandMenu
{
public:
    bool PreProcessCommand(const String &group, const String &label) override
    {
        steps.push_back("before " + group + '/' + label);
        if (m_job)
            m_job->SetNote("/server/frame 1.exr");
        return goesOn;
    }
    bool PostProcessCommand(const String &group, const String &label) override
    {
        steps.push_back("after " + group + '/' + label);
        return true;
    }

    std::vector<std::string> steps;
    bool goesOn = true;
};

std::string LabelsOf(const wxMenu &menu)
{
    std::string text;
    for (const wxMenuItem *item : menu.GetMenuItems())
        text += (text.empty() ? "" : ", ") +
                (item->IsSeparator() ? "-" : item->GetItemLabelText().utf8_string());
    return text;
}

/// The identifier of an item; 0 when there is none.
int IdOf(const wxMenu &menu, const wxString &label)
{
    for (const wxMenuItem *item : menu.GetMenuItems())
        if (item->GetItemLabelText() == label)
            return item->GetId();
    return 0;
}

void Receive(const Job &job, const String &name, const String &value)
{
    const auto message = boost::make_shared<JobParameterMsg>();
    message->job = job.ID();
    message->name = name;
    message->value = value;
    JobParameterMsg::s_Signal(message);
}

/// Items of the window that stand before the commands.
constexpr int k_own_item = 1001;
constexpr int k_other_item = 1008;

class JobCommandMenuTest : public testing::Test
{
protected:
    JobCommandMenuTest()
    {
        m_menu.Append(k_own_item, "Edit Custom Range");
        m_menu.Append(k_other_item, "Edit Image Formats");
        TestApp::Get().link.sent.clear();
    }

    WatchedMenu m_menu;
};

} // namespace

TEST_F(JobCommandMenuTest, PutsTheJobsCommandsBehindTheItemsThatAreThere)
{
    m_menu.Fill(nullptr, k_build);
    EXPECT_EQ(LabelsOf(m_menu), "Edit Custom Range, Edit Image Formats");

    const auto job = MakeSampleJob({{"View & compare\tCtrl+S", {"viewer"}}});
    m_menu.Fill(job, k_replace);
    EXPECT_EQ(LabelsOf(m_menu), "Edit Custom Range, Edit Image Formats, -, Pause, Cancel, "
                                "Raise Priority, Lower Priority, -, View & compare Ctrl+S");
    m_menu.Fill(job, k_replace);
    EXPECT_EQ(m_menu.GetMenuItemCount(), 9u) << "the commands of the last filling are replaced";

    m_menu.Fill(nullptr, k_replace);
    EXPECT_EQ(LabelsOf(m_menu), "Edit Custom Range, Edit Image Formats");
}

TEST_F(JobCommandMenuTest, BeginsWithoutASeparatorInAnEmptyMenu)
{
    JobCommandMenu menu;
    menu.Fill(MakeSampleJob(), k_build);
    EXPECT_EQ(LabelsOf(menu), "Pause, Cancel, Raise Priority, Lower Priority");
}

TEST_F(JobCommandMenuTest, KeepsToIdentifiersOfItsOwn)
{
    m_menu.Fill(MakeSampleJob({{"One", {"x"}}, {"Two", {"y"}}}), k_build);
    for (const wxMenuItem *item : m_menu.GetMenuItems())
        if (!item->IsSeparator() && item->GetId() != k_own_item && item->GetId() != k_other_item)
        {
            EXPECT_GT(item->GetId(), wxID_HIGHEST);
        }
}

TEST_F(JobCommandMenuTest, SendsAWishToTheMaster)
{
    const auto job = MakeSampleJob();
    m_menu.Fill(job, k_build);
    TestApp::Get().link.callbacks.connected();
    PumpIdle();
    EXPECT_TRUE(m_menu.TryCommand(IdOf(m_menu, "Pause")));

    const auto &sent = TestApp::Get().link.sent;
    ASSERT_EQ(sent.size(), 1u);
    const auto wish = boost::dynamic_pointer_cast<JobParameterMsg>(sent.front());
    ASSERT_TRUE(wish);
    EXPECT_EQ(wish->job, job->ID());
    EXPECT_EQ(wish->name, p_Status);
    EXPECT_EQ(wish->value, "4");
    EXPECT_EQ(m_menu.steps,
              (std::vector<std::string>{"before Master/Pause", "after Master/Pause"}));
    EXPECT_EQ(job->ParameterText(p_Status, false), "") << "nothing is changed in anticipation";
}

TEST_F(JobCommandMenuTest, FollowsTheJobsStatus)
{
    const auto job = MakeSampleJob();
    m_menu.Fill(job, k_build);
    job->SetParameter(p_Status, "2");
    Receive(*MakeSampleJob(), p_Status, "2");
    EXPECT_NE(IdOf(m_menu, "Pause"), 0) << "another job's news";
    Receive(*job, p_Status, "2");
    EXPECT_EQ(LabelsOf(m_menu), "Edit Custom Range, Edit Image Formats, -, Run Again");
}

TEST_F(JobCommandMenuTest, StartsAProgramWithTheNoteAsOneArgument)
{
    const TempFolder folder;
    const ostrel::Path out = folder / "out";
    const auto job =
        MakeSampleJob({{"Write",
                        {"sh", "-c", "printf '%s|' \"$@\" >\"$0.new\"; mv \"$0.new\" \"$0\"",
                         out.Text(), "{Note}", "<{Name}>", "{ID}"}}});
    job->SetParameter(p_Name, "beauty; exit 1");
    m_menu.Fill(job, k_build);
    EXPECT_TRUE(m_menu.TryCommand(IdOf(m_menu, "Write")));
    ASSERT_TRUE(PumpUntil([&] { return access(out.Text().c_str(), F_OK) == 0; }));
    EXPECT_EQ(ContentOf(out), "/server/frame 1.exr|<beauty; exit 1>|" + job->ID().ToString() + '|');
}

TEST_F(JobCommandMenuTest, TakesCommandsFromTheOptionsSectionOfTheType)
{
    const auto job = MakeSampleJob({{"View frame", {"viewer"}}});
    ostrel::OptionsFile &options = TestApp::Get().Options();
    options.InsertSection(job->Type().id.ToString());
    options.SetValue("Command.1.Label", "View frame");
    options.SetValue("Command.1.1", "/no/such/viewer");
    m_menu.Fill(job, k_build);

    const std::string error =
        ThrownByProcess([&] { m_menu.TryCommand(IdOf(m_menu, "View frame")); });
    EXPECT_EQ(error, "/no/such/viewer: No such file or directory");
    EXPECT_EQ(m_menu.steps, std::vector<std::string>{"before Options/View frame"});
}

TEST_F(JobCommandMenuTest, NamesACommandThatCannotBeFilled)
{
    m_menu.Fill(MakeSampleJob({{"Odd", {"true", "{NoSuchParameter}"}}}), k_build);
    const std::string error = Thrown([&] { m_menu.TryCommand(IdOf(m_menu, "Odd")); });
    EXPECT_NE(error.find("\"Odd\" cannot be filled"), std::string::npos) << error;
}

TEST_F(JobCommandMenuTest, StartsNothingWithAValueThatWouldBeAnOption)
{
    const TempFolder folder;
    const ostrel::Path out = folder / "out";
    const struct
    {
        const char *scene;
        const char *reason;
    } cases[] = {
        {"--python-expr=evil", "the value of {Scene} begins with"},
        {"a.blend\n--python\n/srv/evil.py", "the value of {Scene} holds a line end"},
    };
    for (const auto &[scene, reason] : cases)
    {
        const auto job =
            MakeSampleJob({{"Edit", {"sh", "-c", "echo >\"$0\"", out.Text(), "{Scene}"}}});
        job->SetParameter("Scene", scene);
        m_menu.Fill(job, k_replace);
        const std::string error = Thrown([&] { m_menu.TryCommand(IdOf(m_menu, "Edit")); });
        EXPECT_NE(error.find(reason), std::string::npos) << error;
    }
    EXPECT_NE(access(out.Text().c_str(), F_OK), 0);
}

TEST_F(JobCommandMenuTest, DoesNothingForOtherIdentifiers)
{
    for (const long id : {0L, -1L, long(k_own_item), 7001L, 99'999L, long(wxID_EXIT)})
        EXPECT_FALSE(m_menu.TryCommand(id)) << id;
    m_menu.Fill(MakeSampleJob(), k_build);
    for (const long id : {0L, -1L, long(k_own_item), 7000L, 99'999L, long(wxID_EXIT)})
        EXPECT_FALSE(m_menu.TryCommand(id)) << id;
    EXPECT_TRUE(m_menu.steps.empty());
}

TEST_F(JobCommandMenuTest, StopsWhereTheProgramSaysSo)
{
    m_menu.goesOn = false;
    m_menu.Fill(MakeSampleJob({{"Fail", {"/no/such/program"}}}), k_build);
    EXPECT_TRUE(m_menu.TryCommand(IdOf(m_menu, "Fail")));
    EXPECT_EQ(m_menu.steps, std::vector<std::string>{"before Type/Fail"});
}
