// The commands that edit the job on the Master, and the analysis settings here.

#include <algorithm>

#include <wx/sizer.h>
#include <wx/textctrl.h>
#include <wx/textdlg.h>

#include "app/Ordwick.h"
#include "corvan/MessageFactory.h"
#include "dialogs/ConfigDlg.h"
#include "dialogs/PathsDlg.h"
#include "ostrel/CallEntry.h"
#include "ostrel/Log.h"
#include "ui/MainWindow.h"
#include "wxcorvan/wxCorvanMessageBox.h"
#include "wxcorvan/wxcTextCtrl.h"

using namespace corvan;
using namespace ostrel;
using namespace wxcorvan;

namespace
{

/// Joined by ";". An empty first path leaves no trace, as the value has no way to say it.
String JoinPaths(const wxArrayString &paths)
{
    String joined;
    for (const wxString &path : paths)
    {
        if (!joined.empty())
            joined += ';';
        joined += path.utf8_string();
    }
    return joined;
}

} // namespace

void MainWindow::OnCustomRange(wxCommandEvent & /*event*/)
{
    _CallEntry call("MainWindow::OnCustomRange", __FILE__, __LINE__);

    const boost::shared_ptr<Job> job = JobForCommand("Edit Custom Range");
    if (!job)
        return;

    String range;
    if (!job->GetParameter(p_CustomRange, range))
    {
        const String text = "This job does not support setting a custom range";
        LogWarning(text);
        wxCorvanMessageBox(text.c_str(), "NoCustomRange", nullptr);
        return;
    }

    wxTextEntryDialog dialog(this, "Set a custom range to search for files", "Custom Range",
                             wxString::FromUTF8(range), wxOK | wxCANCEL | wxCENTRE,
                             wxDefaultPosition);
    auto &field = dynamic_cast<wxTextCtrl &>(*dialog.FindWindow(wxTextCtrlNameStr));
    wxcRefuseLongPaste(field);
    field.SetMinSize(wxSize(-1, std::max(field.GetBestSize().y, wxcLineHeight(field))));
    dialog.GetSizer()->SetSizeHints(&dialog);
    const wxString shown = field.GetValue();
    // OK and Cancel both give more than zero: after Cancel the unchanged range is sent again.
    if (dialog.ShowModal() == 0)
        return;

    // The field cuts what it cannot hold; as long as it is left alone the range stays whole.
    const bool isUnchanged = dialog.GetValue() == shown;
    SendParameter(*job, p_CustomRange,
                  isUnchanged ? range : String(dialog.GetValue().utf8_string()));
    LogInfo("Sending updated custom range");
}

void MainWindow::OnChangePaths(wxCommandEvent & /*event*/)
{
    _CallEntry call("MainWindow::OnChangePaths", __FILE__, __LINE__);

    const boost::shared_ptr<Job> job = wxGetApp().CurrentJob();
    if (!job)
    {
        wxCorvanMessageBox(_("There is no Job to set the paths for"), "NoChangePaths", nullptr);
        return;
    }

    PathsDlg dialog(this, m_formatChoice->GetStrings());
    if (dialog.ShowModal() == 0)
        return;

    SendParameter(*job, p_ImageFormat, JoinPaths(dialog.GetPaths()));
    LogInfo("Sending updated image format");
}

void MainWindow::SendParameter(const Job &job, const String &name, const String &value)
{
    _CallEntry call("MainWindow::SendParameter", __FILE__, __LINE__);

    const auto message = boost::static_pointer_cast<JobParameterMsg>(
        MessageFactory::CreateMessage(JobParameterMsg::s_Type));
    message->job = job.ID();
    message->name = name;
    message->value = value;
    Messenger::Send(message);
}

void MainWindow::OnConfig(wxCommandEvent & /*event*/)
{
    _CallEntry call("MainWindow::OnConfig", __FILE__, __LINE__);

    ConfigDlg dialog(this);
    if (dialog.ShowModal() == 0)
        return;

    dialog.SetOptions();
    StopTimer();
    ShowProgress();
    CheckFiles(false);
}
