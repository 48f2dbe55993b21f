#include "tests/support/OrdwickProgram.h"

#include <filesystem>
#include <stdexcept>
#include <utility>

#include <wx/evtloop.h>

#include "corvan/JobFactory.h"
#include "tests/support/InputCount.h"
#include "tests/support/WindowTest.h"

using namespace corvan;
using namespace ostrel;

namespace
{

bool s_toolkitWasStarted = false;

/// Ordwick with a Master that somebody here plays.
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

JobType TestJobType()
{
    JobType type;
    type.id = UID(OrdwickProgram::s_jobTypeId, true);
    type.name = "Test";
    return type;
}

} // namespace

OrdwickProgram::OrdwickProgram(const TempFolder &folder) : m_folder(folder)
{
    for (const char *name :
         {"XDG_CONFIG_HOME", "XDG_STATE_HOME", "XDG_DATA_HOME", "XDG_RUNTIME_DIR"})
    {
        const std::string home = m_folder.MakeFolder(String("home/") + name).Text();
        std::filesystem::permissions(home, std::filesystem::perms::owner_all);
        m_environment.push_back(std::make_unique<EnvironmentGuard>(name, home.c_str()));
    }
    m_environment.push_back(std::make_unique<EnvironmentGuard>("CORVAN_MASTER", nullptr));
}

OrdwickProgram::~OrdwickProgram()
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

std::string OrdwickProgram::OptionsFile() const
{
    return "home/XDG_CONFIG_HOME/Ordwick/Ordwick.ini";
}

void OrdwickProgram::WriteOptions(const std::string &text) const
{
    m_folder.MakeFile(OptionsFile(), text);
}

std::string OrdwickProgram::ReadOptions() const
{
    return ContentOf(m_folder / OptionsFile());
}

bool OrdwickProgram::Start(std::vector<std::string> arguments)
{
    m_arguments = std::move(arguments);
    m_arguments.insert(m_arguments.begin(), "ordwick");
    for (std::string &argument : m_arguments)
        m_argumentTexts.push_back(argument.data());
    int count = static_cast<int>(m_argumentTexts.size());
    m_argumentTexts.push_back(nullptr);

    // Where it starts a second time, and its libraries with it, it stands still.
    if (s_toolkitWasStarted)
        throw std::logic_error("the toolkit starts once in a process: run one case at a time, as "
                               "ctest does, with --gtest_filter=CASE");
    wxApp::SetInstance(new TestOrdwick);
    if (!wxEntryStart(count, m_argumentTexts.data()))
        throw std::runtime_error("the toolkit does not start: it needs a display, as "
                                 "tests/support/with-display gives it");
    s_toolkitWasStarted = true;
    m_started = true;
    CountInput();
    m_loop = std::make_unique<wxGUIEventLoop>();
    wxEventLoopBase::SetActive(m_loop.get());
    if (!wxTheApp->CallOnInit())
        return false;
    JobFactory::s_JobFactory.AddType(TestJobType());
    CorvanAppStartupEvt::s_Signal(CorvanAppStartupEvt());
    return true;
}

void OrdwickProgram::Connect()
{
    Link().callbacks.connected();
}

void OrdwickProgram::Disconnect()
{
    Link().callbacks.disconnected("the test says so");
}

boost::shared_ptr<Job> OrdwickProgram::MakeJob(const ParameterTexts &parameters) const
{
    const boost::shared_ptr<Job> job = JobFactory::s_JobFactory.CreateJob(UID(s_jobTypeId, true));
    job->SetID(UID(s_jobId, true));
    job->SetParameter(p_Name, "Shot");
    for (const auto &[name, value] : parameters)
        if (!job->SetParameter(name, value))
            throw std::invalid_argument(name + " = " + value);
    return job;
}

void OrdwickProgram::ReceiveJob(const boost::shared_ptr<Job> &job)
{
    const auto message = boost::make_shared<JobMsg>();
    message->job = job;
    Link().callbacks.received(message);
}

void OrdwickProgram::ReceiveParameter(const std::string &name, const std::string &value)
{
    const auto message = boost::make_shared<JobParameterMsg>();
    message->job = UID(s_jobId, true);
    message->name = name;
    message->value = value;
    Link().callbacks.received(message);
}

MainWindow &OrdwickProgram::Window() const
{
    return dynamic_cast<MainWindow &>(*wxTheApp->GetTopWindow());
}

FileList &OrdwickProgram::List() const
{
    for (wxWindow *child : Window().GetChildren())
        if (auto *list = dynamic_cast<FileList *>(child))
            return *list;
    throw std::logic_error("the window has no file list");
}

FakeLink::Record &OrdwickProgram::Link() const
{
    return static_cast<TestOrdwick &>(wxGetApp()).link;
}
