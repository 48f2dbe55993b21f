#include "tests/window/OrdwickFixture.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include <wx/evtloop.h>

#include "corvan/JobFactory.h"
#include "ostrel/File.h"
#include "tests/support/InputCount.h"
#include "tests/support/WindowTest.h"
#include "wxcorvan/wxcAssert.h"
#include "wxcorvan/wxcChoice.h"
#include "wxcorvan/wxcColors.h"

using namespace corvan;
using namespace ostrel;

namespace
{

/// Ordwick with a Master that the test plays.
class TestOrdwick : public Ordwick
{
public:
    FakeLink::Record link;

protected:
    std::unique_ptr<Link> MakeLink(const MasterAddress & /*address*/) override
    {
        return std::make_unique<FakeLink>(link);
    }
};

TestOrdwick &App()
{
    return static_cast<TestOrdwick &>(wxGetApp());
}

const UID k_jobType("3d2f3c58-93e6-4f5e-9d0c-7f1c0a7b5f01", true);

JobType TestJobType()
{
    JobType type;
    type.id = k_jobType;
    type.name = "Test";
    return type;
}

} // namespace

const char *const OrdwickFixture::s_jobId = "0b0e6a2c-6d0e-4f39-8f0a-5f3c1de0a001";

OrdwickFixture::OrdwickFixture() : m_log(k_LogInfo)
{
    for (const char *name :
         {"XDG_CONFIG_HOME", "XDG_STATE_HOME", "XDG_DATA_HOME", "XDG_RUNTIME_DIR"})
    {
        const std::string folder = m_folder.MakeFolder(String("home/") + name).Text();
        std::filesystem::permissions(folder, std::filesystem::perms::owner_all);
        m_environment.push_back(std::make_unique<EnvironmentGuard>(name, folder.c_str()));
    }
    m_environment.push_back(std::make_unique<EnvironmentGuard>("CORVAN_MASTER", nullptr));
    wxcorvan::wxcSetAssertHandler([](const String &text)
                                  { ADD_FAILURE() << "toolkit assertion: " << text; });
}

OrdwickFixture::~OrdwickFixture()
{
    if (!m_started)
        return;
    if (wxWindow *top = wxTheApp->GetTopWindow())
    {
        top->Close(true);
        PumpIdle();
    }
    wxEventLoopBase::SetActive(nullptr);
    m_loop.reset();
    wxTheApp->OnExit();
    wxEntryCleanup();
}

void OrdwickFixture::WriteOptions(const std::string &text)
{
    m_folder.MakeFile("home/XDG_CONFIG_HOME/Ordwick/Ordwick.ini", text);
}

std::string OrdwickFixture::ReadOptions() const
{
    return ContentOf(m_folder / "home/XDG_CONFIG_HOME/Ordwick/Ordwick.ini");
}

void OrdwickFixture::Start(std::vector<std::string> arguments)
{
    m_arguments = std::move(arguments);
    m_arguments.insert(m_arguments.begin(), "ordwick");
    for (std::string &argument : m_arguments)
        m_argumentTexts.push_back(argument.data());
    int count = static_cast<int>(m_argumentTexts.size());
    m_argumentTexts.push_back(nullptr);

    wxApp::SetInstance(new TestOrdwick);
    ASSERT_TRUE(wxEntryStart(count, m_argumentTexts.data()));
    m_started = true;
    CountInput();
    m_loop = std::make_unique<wxGUIEventLoop>();
    wxEventLoopBase::SetActive(m_loop.get());
    ASSERT_TRUE(wxTheApp->CallOnInit());
    JobFactory::s_JobFactory.AddType(TestJobType());
    CorvanAppStartupEvt::s_Signal(CorvanAppStartupEvt());
    ShowActive(Window());
}

void OrdwickFixture::WaitFor(const std::function<bool()> &condition, int seconds)
{
    EXPECT_TRUE(PumpUntil(condition, seconds * 1000)) << "waited " << seconds << " s in vain";
}

void OrdwickFixture::PumpPass()
{
    const int before = m_log.Count(k_LogStatus, "Finished scanning");
    WaitFor([&] { return m_log.Count(k_LogStatus, "Finished scanning") > before; }, 30);
}

void OrdwickFixture::Connect()
{
    Link().callbacks.connected();
    WaitFor([] { return Messenger::IsConnected(); });
    PumpIdle();
}

void OrdwickFixture::Disconnect()
{
    Link().callbacks.disconnected("the test says so");
    WaitFor([] { return !Messenger::IsConnected(); });
    PumpIdle();
}

boost::shared_ptr<Job>
OrdwickFixture::MakeJob(const std::vector<std::pair<std::string, std::string>> &parameters) const
{
    const boost::shared_ptr<Job> job = JobFactory::s_JobFactory.CreateJob(k_jobType);
    job->SetID(UID(s_jobId, true));
    std::vector<std::pair<std::string, std::string>> all = {
        {p_Name, "Shot"}, {p_Range, "1-5"}, {p_ImageFormat, Pattern()}};
    all.insert(all.end(), parameters.begin(), parameters.end());
    for (const auto &[name, value] : all)
        EXPECT_TRUE(job->SetParameter(name, value)) << name << " = " << value;
    return job;
}

void OrdwickFixture::ReceiveJob(const boost::shared_ptr<Job> &job)
{
    const auto message = boost::make_shared<JobMsg>();
    message->job = job;
    Link().callbacks.received(message);
    PumpIdle();
}

void OrdwickFixture::ReceiveParameter(const std::string &name, const std::string &value)
{
    const auto message = boost::make_shared<JobParameterMsg>();
    message->job = UID(s_jobId, true);
    message->name = name;
    message->value = value;
    Link().callbacks.received(message);
    PumpIdle();
}

void OrdwickFixture::ConnectWithJob(
    const std::vector<std::pair<std::string, std::string>> &parameters)
{
    Connect();
    const auto message = boost::make_shared<JobMsg>();
    message->job = MakeJob(parameters);
    Link().callbacks.received(message);
    WaitFor([] { return wxGetApp().CurrentJob() != nullptr; });
}

void OrdwickFixture::ClickRow(int row, const std::string &modifiers)
{
    wxRect place;
    ASSERT_TRUE(List().GetItemRect(row, place)) << "row " << row;
    ClickAt(List(), wxPoint(place.x + 30, place.y + place.height / 2), modifiers);
}

void OrdwickFixture::WhileBox(const std::string &title, const std::string &key,
                              const std::function<void()> &show)
{
    // The box has a loop of its own and is no window of the toolkit's, so it is found and answered
    // from outside. The main window may have the same title: the box is the one that is a dialog.
    const std::string answer = "for i in $(seq 200); do"
                               "  for w in $(xdotool search --onlyvisible --name \"^" +
                               title +
                               "$\"); do"
                               "    if xprop -id $w _NET_WM_WINDOW_TYPE | grep -q DIALOG; then"
                               "      [ -z \"$ORDWICK_ARTEFACTS\" ] ||"
                               "        import -silent -window $w \"$ORDWICK_ARTEFACTS/box-" +
                               key +
                               "-$$.png\";"
                               "      exec xdotool windowfocus --sync $w key " +
                               key +
                               ";"
                               "    fi;"
                               "  done;"
                               "  read -t 0.05 -r _ <> <(:);"
                               "done; exit 1";
    int status = -1;
    {
        const std::jthread hand([&]
                                { status = std::system(("bash -c '" + answer + "'").c_str()); });
        show();
    }
    EXPECT_EQ(status, 0) << "no box named " << title;
}

MainWindow &OrdwickFixture::Window() const
{
    return dynamic_cast<MainWindow &>(*wxTheApp->GetTopWindow());
}

FileList &OrdwickFixture::List() const
{
    for (wxWindow *child : Window().GetChildren())
        if (auto *list = dynamic_cast<FileList *>(child))
            return *list;
    throw std::logic_error("the window has no file list");
}

FakeLink::Record &OrdwickFixture::Link() const
{
    return App().link;
}

wxcorvan::wxcChoice &OrdwickFixture::FormatChoice() const
{
    return dynamic_cast<wxcorvan::wxcChoice &>(*Window().FindWindow("choice"));
}

std::string OrdwickFixture::StatusTexts() const
{
    std::string texts;
    for (int field = 0; field < 3; ++field)
        texts += (field ? " | " : "") + Window().GetStatusBar()->GetStatusText(field).utf8_string();
    return texts;
}

std::string OrdwickFixture::RowColor(int row) const
{
    using namespace wxcorvan;
    const wxColour colour = List().GetRowColor(row);
    if (colour == wxcGetColor(color_Text))
        return "normal";
    if (colour == wxcGetColor(color_TextGrey))
        return "grey";
    if (colour == wxcGetColor(color_TextRed))
        return "red";
    return colour == wxcGetColor(color_TextOrange) ? "orange" : "unknown";
}

std::string OrdwickFixture::Pattern() const
{
    return m_folder.Folder().Text() + "/frames/f.%04d.exr";
}

std::string OrdwickFixture::FramePath(int frame) const
{
    char name[32];
    std::snprintf(name, sizeof name, "/frames/f.%04d.exr", frame);
    return m_folder.Folder().Text() + name;
}

void OrdwickFixture::MakeFrame(int frame, std::size_t bytes) const
{
    std::filesystem::create_directories(m_folder.Folder().Text() + "/frames");
    std::ofstream(FramePath(frame)) << std::string(bytes, 'x');
}

void OrdwickFixture::MakeFrames(int first, int last, std::size_t bytes) const
{
    for (int frame = first; frame <= last; ++frame)
        MakeFrame(frame, bytes);
}
