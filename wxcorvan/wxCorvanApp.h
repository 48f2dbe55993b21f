#pragma once

#include <atomic>
#include <span>

#include <wx/app.h>
#include <wx/timer.h>

#include "corvan/CorvanClientApp.h"
#include "corvan/Messages.h"
#include "corvan/Messenger.h"
#include "ostrel/Signal.h"
#include "wxcorvan/wxCorvanEvents.h"

namespace wxcorvan
{

/// A program with windows that is a client of the Master.
///
/// The toolkit's entry makes it and calls `OnInit`, `OnRun` and `OnExit`; those call `Prepare`,
/// `Startup` and `Cleanup` of the client application. What the Master refuses, the connection
/// included, is shown as a notice in the top window, where that is a `wxCorvanFrame`. Options that
/// end the program (--help,
/// --version, an unknown one) are answered before a display is opened.
class wxCorvanApp : public wxApp, public corvan::CorvanClientApp
{
public:
    /// The levels are the console's and the log file's, where the command line says nothing.
    /// `name` names the program's folders, options file and captions.
    wxCorvanApp(int consoleLevel, int fileLevel, const ostrel::String &name = "Ordwick");
    ~wxCorvanApp() override;

    /// Answers --help and --version with exit status 0 and a wrong option with 2, and ends the
    /// program there; otherwise goes on to the toolkit.
    bool Initialize(int &count, wxChar **arguments) override;

    /// Prepares the client application, sets the theme, calls `Startup` and begins to connect. When
    /// `Startup` is false: `Cleanup`, and the program ends with an exit status that is not zero.
    /// Numbers are read and written with a point in every language.
    bool OnInit() override;

    /// Raises `CorvanAppStartupEvt`, then runs the main loop until the last top-level window is
    /// gone; 1 at once when a receiver of the event fails. SIGTERM and SIGINT close the top window
    /// as its user would, but without a veto; an open dialog is cancelled first.
    int OnRun() override;

    /// `Cleanup`.
    int OnExit() override;

    /// One round of idle events. Where a handler asks for more, the next round comes once the
    /// events that wait by then are handled. Always false: it never asks the toolkit to go on at
    /// once.
    bool ProcessIdle() override;

    /// Logs what an event handler let through, deletes it, and goes on. Something unknown ends the
    /// main loop.
    bool OnExceptionInMainLoop() override;

    /// Sends the toolkit's log lines and failed assertions to the log, none to the screen.
    wxAppTraits *CreateTraits() override;

protected:
    /// Options of this program beside the common ones.
    virtual std::vector<ostrel::CommandLineOption> ExtraOptions() const
    {
        return {};
    }

    /// First line of the help; that of ordwick(1) for the program itself. The base names no
    /// argument.
    virtual ostrel::String UsageLine() const;

    /// Calls `Messenger::Dispatch` soon on the main thread. Calls between two dispatches count as
    /// one.
    void WakeUp() override;

private:
    std::vector<ostrel::CommandLineOption> AllOptions() const;
    void ParseArguments(std::span<const ostrel::String> arguments);
    bool StartClient();
    void Quit();
    void DispatchMessages();
    void ConnectMessenger();
    void OnConnected(const corvan::MessengerConnectedEvt &);
    void OnDisconnected(const corvan::MessengerDisconnectedEvt &);
    void HideNotice();
    void OnTurnedAway(const corvan::MessengerTurnedAwayEvt &event);
    void OnRefused(boost::shared_ptr<corvan::RefusedMsg> message);
    void OnExitCommand(wxCommandEvent &event);

    ostrel::CommandLine m_commandLine;
    std::atomic<bool> m_isWoken = false;
    wxTimer m_quitRetry;
    ostrel::SignalConnection m_connected;
    ostrel::SignalConnection m_disconnected;
    ostrel::SignalConnection m_turnedAway;
    ostrel::SignalConnection m_refused;
};

} // namespace wxcorvan
