#pragma once

#include <array>
#include <boost/shared_ptr.hpp>

#include "corvan/Messages.h"
#include "corvan/Messenger.h"
#include "wxcorvan/wxCorvanApp.h"

class MainWindow;

/// True from the moment the farm client has started until clean-up begins.
extern bool g_Running;

/// The program: it owns the one job that is watched and the one window, and keeps both in step
/// with what the Master reports.
///
/// Everything runs on the toolkit's main thread.
class Ordwick : public wxcorvan::wxCorvanApp
{
public:
    Ordwick();
    ~Ordwick() override;

    /// Brings the farm client up and reads which job to watch. False ends the program before any
    /// window exists.
    bool Startup(corvan::CommandLine &commandLine) override;

    /// The base's answer. On the way every search folder of this program gets the same folder of
    /// the farm's main GUI program behind it, so that the options of both are found together.
    ostrel::Path OptionsFilename() const override;

    void Cleanup() override;

    ostrel::String UsageLine() const override;

    /// The watched job; empty while none was received. Its parameters are what the Master last
    /// told; commands read them and never change them.
    const boost::shared_ptr<corvan::Job> &CurrentJob() const
    {
        return m_job;
    }

private:
    void OnCorvanAppStartupEvt(const corvan::CorvanAppStartupEvt &event);
    void OnMessengerConnectedEvt(const corvan::MessengerConnectedEvt &event);
    void OnMessengerDisconnectedEvt(const corvan::MessengerDisconnectedEvt &event);
    void OnJobMsg(boost::shared_ptr<corvan::JobMsg> message);
    void OnJobParameterMsg(boost::shared_ptr<corvan::JobParameterMsg> message);
    void OnJobRemovedMsg(boost::shared_ptr<corvan::JobRemovedMsg> message);

    void ConnectSessionHandlers();
    bool RefuseWithoutJobId();
    void CopyJobTypeSections();
    void NoImageFormat();

    boost::shared_ptr<corvan::Job> m_job;
    MainWindow *m_mainWindow = nullptr; ///< Owned by the toolkit; null again once it is destroyed.
    ostrel::UID m_jobId{false};
    bool m_noFormatWarningShown = false; ///< Never reset: one such box a run is enough.
    std::array<ostrel::SignalConnection, 6> m_sessionHandlers;
};

/// The running program.
Ordwick &wxGetApp();
