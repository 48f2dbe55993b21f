// A small program on the GUI library, for tests that need one as a process. Its first argument
// says what it shall do.

#include <functional>
#include <map>
#include <stdexcept>

#include <wx/dialog.h>
#include <wx/filedlg.h>
#include <wx/log.h>
#include <wx/msgdlg.h>

#include "ostrel/Exception.h"
#include "ostrel/Log.h"
#include "tests/support/FakeLink.h"
#include "wxcorvan/wxCorvanApp.h"
#include "wxcorvan/wxCorvanDlg.h"
#include "wxcorvan/wxCorvanFrame.h"
#include "wxcorvan/wxcStaticText.h"

using namespace wxcorvan;
using ostrel::String;

namespace
{

/// Says when it is up, and saves its place when it is closed.
class SampleFrame : public wxCorvanFrame
{
public:
    SampleFrame() : wxCorvanFrame("Sample", {40, 40}, {300, 200})
    {
        Bind(wxEVT_CLOSE_WINDOW, &SampleFrame::OnClose, this);
    }

private:
    void OnClose(wxCloseEvent &event)
    {
        ostrel::OptionsFile &options = corvan::CorvanApp::Get()->Options();
        const ostrel::OptionsBatch batch(options);
        SaveWindowPosition();
        std::puts("closed");
        event.Skip();
    }
};

void Say(const char *text)
{
    std::puts(text);
    std::fflush(stdout);
}

class SampleProgram : public wxCorvanApp
{
public:
    SampleProgram() : wxCorvanApp(ostrel::k_LogWarning, ostrel::k_LogNone, "Sample") {}

    bool Startup(ostrel::CommandLine &commandLine) override
    {
        m_what = commandLine.GetArgument(nullptr, 0, "");
        m_started = corvan::CorvanAppStartupEvt::s_Signal.ConnectFunction(
            [this](const corvan::CorvanAppStartupEvt &) { OnStarted(); });
        return wxCorvanApp::Startup(commandLine) && m_what != "refuse";
    }
    void Cleanup() override
    {
        Say("cleaned up");
        wxCorvanApp::Cleanup();
    }

protected:
    std::vector<ostrel::CommandLineOption> ExtraOptions() const override
    {
        return {{"colour", "NAME", "an option of this program"}};
    }
    String UsageLine() const override
    {
        return "Usage: sample [OPTION]... WHAT";
    }
    std::unique_ptr<corvan::Link> MakeLink(const corvan::MasterAddress & /*address*/) override
    {
        return std::make_unique<FakeLink>(m_link);
    }

private:
    void OnStarted()
    {
        if (m_what == "no-window")
            throw new ostrel::Exception("the window cannot be made");

        m_frame = new SampleFrame;
        SetTopWindow(m_frame);
        m_frame->Show();
        m_frame->Bind(wxEVT_MENU, [this](wxCommandEvent &event) { OnCommand(event.GetId()); });
        if (m_what == "run")
            CallAfter([] { Say("up"); });
        else if (m_what == "dialog")
            CallAfter([this] { ShowDialog(); });
        else if (m_what == "box")
            CallAfter([this] { ShowBox(); });
        else if (m_what == "files")
            CallAfter([this] { ShowFilesOverDialog(); });
        else
            CallAfter([this] { FailAndClose(); });
    }

    void ShowDialog()
    {
        wxCorvanDlg dialog(m_frame, "Question", "Question", false);
        wxBoxSizer *controls = dialog.StartControls();
        controls->Add(dialog.NewStatic("Well?"));
        dialog.AddButtons(controls, true);
        CallAfter([] { Say("up"); });
        Say(dialog.ShowModal() == 0 ? "cancelled" : "accepted");
    }

    void ShowBox()
    {
        CallAfter([] { Say("up"); });
        wxMessageBox("Well?", "Question", wxOK | wxCENTRE);
        Say("cancelled");
    }

    void ShowFilesOverDialog()
    {
        wxCorvanDlg dialog(m_frame, "Question", "Question", false);
        dialog.StartControls();
        dialog.CallAfter(
            []
            {
                wxTheApp->CallAfter([] { Say("up"); });
                Say(wxFileSelector("Well?").empty() ? "cancelled" : "accepted");
            });
        Say(dialog.ShowModal() == 0 ? "cancelled too" : "accepted");
    }

    /// Has a handler fail in each way in turn, and closes: the program is to live on meanwhile.
    void FailAndClose()
    {
        for (const int id : {1, 2, 3})
        {
            wxCommandEvent event(wxEVT_MENU, id);
            m_frame->GetEventHandler()->SafelyProcessEvent(event);
        }
        m_frame->Close();
    }

    void OnCommand(int id)
    {
        if (id == 1)
            throw new ostrel::Exception("no disk");
        if (id == 2)
            throw std::runtime_error("no luck");
        wxASSERT_MSG(false, "no sense");
        wxLogError("no way");
    }

    String m_what;
    SampleFrame *m_frame = nullptr;
    FakeLink::Record m_link;
    ostrel::SignalConnection m_started;
};

} // namespace

wxIMPLEMENT_APP_NO_MAIN(SampleProgram);

// As the programs do: the toolkit's own main would switch its assertions off in a release build.
int main(int argc, char **argv)
{
    return wxEntry(argc, argv);
}
