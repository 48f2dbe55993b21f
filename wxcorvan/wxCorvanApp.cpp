#include "wxcorvan/wxCorvanApp.h"

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include <wx/log.h>
#include <wx/menu.h>
#include <wx/translation.h>

#include "corvan/Messages.h"
#include "ostrel/CallEntry.h"
#include "ostrel/Exception.h"
#include "ostrel/Folders.h"
#include "ostrel/Log.h"
#include "wxcorvan/AppTraits.h"
#include "wxcorvan/ModalDialogs.h"
#include "wxcorvan/QuitSignals.h"
#include "wxcorvan/wxCorvanFrame.h"
#include "wxcorvan/wxcColors.h"
#include "wxcorvan/wxcText.h"

namespace wxcorvan
{

using namespace ostrel;

namespace
{

constexpr int k_exit_wrong_usage = 2;

/// Without the program's name.
std::vector<String> TextsOf(int count, wxChar **arguments)
{
    std::vector<String> texts;
    for (int i = 1; i < count; ++i)
        texts.emplace_back(wxString(arguments[i]).utf8_string());
    return texts;
}

/// Calls a function and logs what it throws: for the main loop's own frames, which nothing may
/// leave. True when it threw nothing.
template <typename Function> bool LogFailures(Function function) noexcept
{
    try
    {
        function();
        return true;
    }
    catch (Exception *raw)
    {
        const std::unique_ptr<Exception> error(raw);
        LogError(error->Text());
    }
    catch (const std::exception &error)
    {
        LogError(error.what());
    }
    catch (...)
    {
        LogError("an unknown exception reached the main loop");
    }
    return false;
}

/// Texts in the user's language, where there is a catalogue for it.
void LoadTranslations(const String &program)
{
    const Path locales = ShareFolder().Parent() / "locale";
    wxFileTranslationsLoader::AddCatalogLookupPathPrefix(wxcFromText(locales.Text()));
    auto *translations = new wxTranslations;
    wxTranslations::Set(translations);
    translations->AddStdCatalog();
    translations->AddCatalog(wxcFromText(program).Lower());
}

void TellFrames(wxEventType type)
{
    // A handler may close windows: the list is copied, and each is looked up again.
    const wxWindowList windows = wxTopLevelWindows;
    for (wxWindow *window : windows)
    {
        if (!wxTopLevelWindows.Find(window) || !dynamic_cast<wxCorvanFrame *>(window))
            continue;
        wxCommandEvent event(type);
        event.SetEventObject(window);
        event.StopPropagation();
        window->HandleWindowEvent(event);
    }
}

/// Until it is seen whether the dialog that was cancelled is gone.
constexpr int k_quit_retry_ms = 20;

} // namespace

wxCorvanApp::wxCorvanApp(int consoleLevel, int fileLevel, const String &name)
    : corvan::CorvanClientApp(name, consoleLevel, fileLevel)
{
    SetAppName(wxString::FromUTF8(name));
}

wxCorvanApp::~wxCorvanApp() = default;

bool wxCorvanApp::Initialize(int &count, wxChar **arguments)
{
    try
    {
        ParseArguments(TextsOf(count, arguments));
    }
    catch (Exception *raw)
    {
        const std::unique_ptr<Exception> error(raw);
        std::fprintf(stderr, "%s: %s\nTry --help.\n", Name().c_str(), error->Text().c_str());
        std::exit(k_exit_wrong_usage);
    }
    return wxApp::Initialize(count, arguments);
}

void wxCorvanApp::ParseArguments(std::span<const String> arguments)
{
    m_commandLine = CommandLine(arguments, AllOptions());
    if (m_commandLine.HasOption("help"))
    {
        const String help = CommandLine::Help(AllOptions());
        std::printf("%s\n\n%s", UsageLine().c_str(), help.c_str());
        std::exit(EXIT_SUCCESS);
    }
    if (m_commandLine.HasOption("version"))
    {
        std::printf("%s %s\n", Name().c_str(), Version());
        std::exit(EXIT_SUCCESS);
    }
}

std::vector<CommandLineOption> wxCorvanApp::AllOptions() const
{
    const std::span<const CommandLineOption> common = CommonOptions();
    std::vector<CommandLineOption> options(common.begin(), common.end());
    const std::vector<CommandLineOption> extra = ExtraOptions();
    options.insert(options.end(), extra.begin(), extra.end());
    return options;
}

String wxCorvanApp::UsageLine() const
{
    return "Usage: " + Name() + " [OPTION]... [ARGUMENT]...";
}

bool wxCorvanApp::OnInit()
{
    _CallEntry call("wxCorvanApp::OnInit", __FILE__, __LINE__);

    // GTK has taken over the user's way to write numbers; files and messages have their own.
    std::setlocale(LC_NUMERIC, "C");

    LoadTranslations(Name());
    if (StartClient())
        return true;

    LogFailures([this] { Cleanup(); });
    return false;
}

bool wxCorvanApp::StartClient()
{
    try
    {
        Prepare(m_commandLine);
        wxcSetTheme(wxcParseTheme(Options().GetValue("Window", "Theme", String("Dark"))));
        if (!Startup(m_commandLine))
            return false;
        ConnectMessenger();
        StartMessenger();
        Bind(wxEVT_MENU, &wxCorvanApp::OnExitCommand, this, wxID_EXIT);
        return true;
    }
    catch (Exception *raw)
    {
        const std::unique_ptr<Exception> error(raw);
        LogFatal(error->Text());
        return false;
    }
}

void wxCorvanApp::ConnectMessenger()
{
    m_connected = corvan::MessengerConnectedEvt::s_Signal.Connect(this, &wxCorvanApp::OnConnected);
    m_disconnected =
        corvan::MessengerDisconnectedEvt::s_Signal.Connect(this, &wxCorvanApp::OnDisconnected);
    m_turnedAway =
        corvan::MessengerTurnedAwayEvt::s_Signal.Connect(this, &wxCorvanApp::OnTurnedAway);
    m_refused = corvan::RefusedMsg::s_Signal.Connect(this, &wxCorvanApp::OnRefused);
}

int wxCorvanApp::OnRun()
{
    _CallEntry call("wxCorvanApp::OnRun", __FILE__, __LINE__);

    const auto quit = [this] { LogFailures([this] { Quit(); }); };
    const QuitSignals quitSignals(quit);
    m_quitRetry.Bind(wxEVT_TIMER, [quit](wxTimerEvent &) { quit(); });
    const bool isUp =
        LogFailures([] { corvan::CorvanAppStartupEvt::s_Signal(corvan::CorvanAppStartupEvt()); });
    return isUp ? wxApp::OnRun() : EXIT_FAILURE;
}

void wxCorvanApp::Quit()
{
    // Dialogs live on the stacks of their callers and must be gone before their parent is.
    if (CancelModalDialog())
    {
        m_quitRetry.StartOnce(k_quit_retry_ms);
        return;
    }
    if (wxWindow *top = GetTopWindow())
        top->Close(true);
    else
        ExitMainLoop();
    // The closed window goes with the next idle work, which a signal alone does not bring about.
    wxWakeUpIdle();
}

int wxCorvanApp::OnExit()
{
    _CallEntry call("wxCorvanApp::OnExit", __FILE__, __LINE__);

    m_connected.reset();
    m_disconnected.reset();
    m_turnedAway.reset();
    m_refused.reset();
    LogFailures([this] { Cleanup(); });
    return wxApp::OnExit();
}

bool wxCorvanApp::ProcessIdle()
{
    // Told to go on, the toolkit looks for pending events from within the dispatch of its idle
    // source. GLib 2.74 then forgets to let go of the timers that were due, such as that of a
    // repaint: each stays in the loop's list for good, and every round walks over all of them.
    if (wxApp::ProcessIdle())
        wxWakeUpIdle();
    return false;
}

bool wxCorvanApp::OnExceptionInMainLoop()
{
    try
    {
        throw;
    }
    catch (Exception *raw)
    {
        const std::unique_ptr<Exception> error(raw);
        LogError("a command failed: " + error->Text());
        return true;
    }
    catch (const std::exception &error)
    {
        LogError(String("a command failed: ") + error.what());
        return true;
    }
    catch (...)
    {
        LogFatal("an unknown exception reached the main loop");
        return false;
    }
}

wxAppTraits *wxCorvanApp::CreateTraits()
{
    return new AppTraits;
}

void wxCorvanApp::WakeUp()
{
    if (!m_isWoken.exchange(true))
        CallAfter([this] { DispatchMessages(); });
}

void wxCorvanApp::DispatchMessages()
{
    m_isWoken = false;
    LogFailures([] { corvan::Messenger::Dispatch(); });
}

void wxCorvanApp::OnConnected(const corvan::MessengerConnectedEvt &)
{
    HideNotice();
    TellFrames(wxCORVAN_CONNECT_EVENT);
}

void wxCorvanApp::OnDisconnected(const corvan::MessengerDisconnectedEvt &)
{
    // What it says is of the connection that is gone; the next one asks anew.
    HideNotice();
    TellFrames(wxCORVAN_DISCONNECT_EVENT);
}

void wxCorvanApp::HideNotice()
{
    if (auto *frame = dynamic_cast<wxCorvanFrame *>(GetTopWindow()))
        frame->HideNotice();
}

void wxCorvanApp::OnTurnedAway(const corvan::MessengerTurnedAwayEvt &event)
{
    auto *frame = dynamic_cast<wxCorvanFrame *>(GetTopWindow());
    if (!frame)
        return;
    wxString text = _("There is no connection to the Master: {reason}");
    text.Replace("{reason}", wxcFromText(event.reason));
    frame->ShowNotice(text);
}

void wxCorvanApp::OnRefused(boost::shared_ptr<corvan::RefusedMsg> message)
{
    auto *frame = dynamic_cast<wxCorvanFrame *>(GetTopWindow());
    if (!frame)
        return;
    wxString text = _("The Master refused {what}: {reason}");
    text.Replace("{what}", wxcFromText(message->what));
    text.Replace("{reason}", wxcFromText(message->reason));
    frame->ShowNotice(text);
}

void wxCorvanApp::OnExitCommand(wxCommandEvent & /*event*/)
{
    _CallEntry call("wxCorvanApp::OnExitCommand", __FILE__, __LINE__);

    if (wxWindow *top = GetTopWindow())
        top->Close();
}

} // namespace wxcorvan
