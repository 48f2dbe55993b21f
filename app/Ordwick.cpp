#include "app/Ordwick.h"

#include <boost/algorithm/string/replace.hpp>

#include <wx/iconbndl.h>
#include <wx/msgdlg.h>
#include <wx/sysopt.h>

#include "corvan/ClientKind.h"
#include "corvan/JobFactory.h"
#include "corvan/MessageFactory.h"
#include "corvan/Utf8.h"
#include "ostrel/CallEntry.h"
#include "ostrel/File.h"
#include "ostrel/Folders.h"
#include "ostrel/Log.h"
#include "ui/JobMenu.h"
#include "ui/MainWindow.h"
#include "wxcorvan/wxcText.h"

using namespace corvan;
using namespace ostrel;
using wxcorvan::wxcFromText;

bool g_Running = false;

wxIMPLEMENT_APP_NO_MAIN(Ordwick);

namespace
{

/// Clears the options' write-on-change flag for as long as it lives: hundreds of copied keys must
/// not be hundreds of written files.
class WriteOnChangePause
{
public:
    explicit WriteOnChangePause(OptionsFile &options)
        : m_options(options), m_saved(options.WriteOnChange())
    {
        m_options.SetWriteOnChange(false);
    }
    ~WriteOnChangePause()
    {
        m_options.SetWriteOnChange(m_saved);
    }
    WriteOnChangePause(const WriteOnChangePause &) = delete;
    WriteOnChangePause &operator=(const WriteOnChangePause &) = delete;

private:
    OptionsFile &m_options;
    bool m_saved;
};

/// What the usage text does not say: that something was given, and who would take it.
void TellWhatIsNoJobId(const String &given)
{
    if (!given.empty())
        LogError("\"" + corvan::Excerpt(given) +
                 "\" is no identifier of a job; \"corvan watch\" takes a job's name, too");
}

/// The text of a job's parameter; empty where there is no job or the parameter is not set.
String ParameterOf(const boost::shared_ptr<Job> &job, const String &name)
{
    String value;
    if (job)
        job->GetParameter(name, value);
    return value;
}

/// The program's icon in every size that ships.
wxIconBundle LoadIcons()
{
    wxIconBundle icons;
    for (const char *size : {"16", "24", "32", "48", "64", "128", "256"})
    {
        const Path file = ShareFolder() / "icons" / ("ordwick-" + String(size) + ".png");
        wxIcon icon;
        if (icon.LoadFile(wxString::FromUTF8(file.Text()), wxBITMAP_TYPE_PNG))
            icons.AddIcon(icon);
    }
    return icons;
}

} // namespace

Ordwick::Ordwick() : wxCorvanApp(3, 5)
{
    _CallEntry call("Ordwick::Ordwick", __FILE__, __LINE__);
}

Ordwick::~Ordwick()
{
    _CallEntry call("Ordwick::~Ordwick", __FILE__, __LINE__);
}

bool Ordwick::Startup(CommandLine &commandLine)
{
    _CallEntry call("Ordwick::Startup", __FILE__, __LINE__);

    wxSystemOptions::SetOption("window-default-variant", 1);
    wxSystemOptions::SetOption("mac.listctrl.always_use_generic", 1);

    ConnectSessionHandlers();

    const String jobId = commandLine.GetArgument(nullptr, 0, "");
    LogInfo("Command line specified: " + jobId);

    Messenger::SetClientInfo(UID(true), k_ClientWatcher);
    if (!CorvanClientApp::Startup(commandLine))
        return false;
    g_Running = true;

    if (!m_jobId.FromString(jobId))
    {
        TellWhatIsNoJobId(jobId);
        return RefuseWithoutJobId();
    }

    CopyJobTypeSections();
    return true;
}

void Ordwick::ConnectSessionHandlers()
{
    _CallEntry call("Ordwick::ConnectSessionHandlers", __FILE__, __LINE__);

    m_sessionHandlers = {
        CorvanAppStartupEvt::s_Signal.Connect(this, &Ordwick::OnCorvanAppStartupEvt, nullptr),
        MessengerConnectedEvt::s_Signal.Connect(this, &Ordwick::OnMessengerConnectedEvt, nullptr),
        MessengerDisconnectedEvt::s_Signal.Connect(this, &Ordwick::OnMessengerDisconnectedEvt,
                                                   nullptr),
        JobMsg::s_Signal.Connect(this, &Ordwick::OnJobMsg, nullptr),
        JobParameterMsg::s_Signal.Connect(this, &Ordwick::OnJobParameterMsg, nullptr),
        JobRemovedMsg::s_Signal.Connect(this, &Ordwick::OnJobRemovedMsg, nullptr),
    };
}

bool Ordwick::RefuseWithoutJobId()
{
    _CallEntry call("Ordwick::RefuseWithoutJobId", __FILE__, __LINE__);

    LogFatal("Incorrect usage: No Job ID supplied\n\nUsage: Ordwick <JobID>\n");
    wxMessageBox("You must supply a Job ID to start Ordwick", "Error", wxOK | wxCENTRE);
    return false;
}

void Ordwick::CopyJobTypeSections()
{
    _CallEntry call("Ordwick::CopyJobTypeSections", __FILE__, __LINE__);

    const WriteOnChangePause pause(Options());

    OptionsFile shared(true);
    shared.SetFilename(Path(Path("CorvanGui.ini").Leaf(true)));
    shared.ReadIn();
    for (const UID &type : JobFactory::s_JobFactory.ListTypes())
        Options().CopySection(shared, type.ToString());
}

Path Ordwick::OptionsFilename() const
{
    _CallEntry call("Ordwick::OptionsFilename", __FILE__, __LINE__);

    std::list<Path> folders = File::s_AltPaths;
    for (auto folder = folders.begin(); folder != folders.end(); ++folder)
    {
        String shared = folder->Text();
        if (shared.find(Name()) == String::npos)
            continue;
        boost::replace_all(shared, Name(), "CorvanGui");
        folder = folders.insert(std::next(folder), Path(shared));
    }
    File::s_AltPaths = folders;

    return CorvanApp::OptionsFilename();
}

void Ordwick::Cleanup()
{
    _CallEntry call("Ordwick::Cleanup", __FILE__, __LINE__);

    g_Running = false;
    m_job.reset();
    CorvanClientApp::Cleanup();
}

String Ordwick::UsageLine() const
{
    _CallEntry call("Ordwick::UsageLine", __FILE__, __LINE__);

    return "Usage: ordwick [OPTION]... JOBID\n\nWatches the frames of one render job.";
}

void Ordwick::OnCorvanAppStartupEvt(const CorvanAppStartupEvt & /*event*/)
{
    _CallEntry call("Ordwick::OnCorvanAppStartupEvt", __FILE__, __LINE__);

    m_mainWindow = new MainWindow(_("Ordwick"), wxPoint(0, 0), wxSize(600, 400));
    SetTopWindow(m_mainWindow);
    m_mainWindow->SetIcons(LoadIcons());

    // Messages may still come between the window's end and the program's.
    m_mainWindow->Bind(wxEVT_DESTROY,
                       [this](wxWindowDestroyEvent &destroyed)
                       {
                           if (destroyed.GetEventObject() == m_mainWindow)
                               m_mainWindow = nullptr;
                           destroyed.Skip();
                       });
}

void Ordwick::OnMessengerConnectedEvt(const MessengerConnectedEvt & /*event*/)
{
    _CallEntry call("Ordwick::OnMessengerConnectedEvt", __FILE__, __LINE__);

    LogInfo("Requesting Job: " + m_jobId.ToString());

    // Following first: a change between the two requests would be missed the other way round.
    const auto follow = boost::static_pointer_cast<FollowJobMsg>(
        MessageFactory::CreateMessage(FollowJobMsg::s_Type));
    follow->jobs.push_back(m_jobId);
    Messenger::Send(follow);

    const auto request = boost::static_pointer_cast<GetJobInfoMsg>(
        MessageFactory::CreateMessage(GetJobInfoMsg::s_Type));
    request->jobs.push_back(m_jobId);
    Messenger::Send(request);
}

void Ordwick::OnMessengerDisconnectedEvt(const MessengerDisconnectedEvt & /*event*/)
{
    _CallEntry call("Ordwick::OnMessengerDisconnectedEvt", __FILE__, __LINE__);

    m_job.reset();
}

void Ordwick::OnJobMsg(boost::shared_ptr<JobMsg> message)
{
    _CallEntry call("Ordwick::OnJobMsg", __FILE__, __LINE__);

    const String oldUserRange = ParameterOf(m_job, p_UserRange);
    LogStatus("Received Job: " + message->job->Name());
    m_job = message->job;

    String formats;
    if (!m_job->GetParameter(p_ImageFormat, formats))
        NoImageFormat();
    else if (m_mainWindow)
        m_mainWindow->ExtractFormats(formats);

    // The box about missing formats runs an event loop, in which job and window may go.
    if (!m_mainWindow || !m_job)
        return;
    m_mainWindow->FillJobMenu(m_job, 4);
    if (ParameterOf(m_job, p_UserRange) != oldUserRange)
        m_mainWindow->RefillList();
}

void Ordwick::OnJobParameterMsg(boost::shared_ptr<JobParameterMsg> message)
{
    _CallEntry call("Ordwick::OnJobParameterMsg", __FILE__, __LINE__);

    LogStatus("Received Job parameter '" + message->name + "' = " + message->value);
    if (!m_job)
    {
        LogWarning("NO JOB: Job parameter not updated");
        return;
    }
    if (!m_job->SetParameter(message->name, message->value))
    {
        LogWarning("UPDATE FAILED: Job parameter update ignored");
        return;
    }

    if (!m_mainWindow)
        return;
    if (message->name == p_ImageFormat)
        m_mainWindow->ExtractFormats(message->value);
    else if (message->name == p_Range || message->name == p_CustomRange)
        m_mainWindow->RefillList();
}

void Ordwick::OnJobRemovedMsg(boost::shared_ptr<JobRemovedMsg> message)
{
    _CallEntry call("Ordwick::OnJobRemovedMsg", __FILE__, __LINE__);

    if (message->job != m_jobId)
        return;
    LogStatus("The job was removed");
    if (m_mainWindow)
        m_mainWindow->ShowNotice(
            _("The job was removed from the Master. Its files are still watched."));
}

void Ordwick::NoImageFormat()
{
    _CallEntry call("Ordwick::NoImageFormat", __FILE__, __LINE__);

    if (m_noFormatWarningShown || !m_job)
        return;
    m_noFormatWarningShown = true;

    const String text = "Job '" + m_job->Name() + "' reports no image formats parameter (" +
                        m_job->TypeString() + ")";
    LogError(text);
    wxMessageBox(wxcFromText(text), _("Ordwick"), wxOK | wxCENTRE);
}
