// The commands that edit the job on the Master, and the analysis settings here.

#include <algorithm>
#include <optional>

#include <wx/sizer.h>
#include <wx/textctrl.h>
#include <wx/textdlg.h>

#include "app/Ordwick.h"
#include "corvan/ImageFormats.h"
#include "corvan/MessageFactory.h"
#include "corvan/Messenger.h"
#include "dialogs/ConfigDlg.h"
#include "dialogs/PathsDlg.h"
#include "ostrel/CallEntry.h"
#include "ostrel/Log.h"
#include "ui/MainWindow.h"
#include "wxcorvan/wxCorvanMessageBox.h"
#include "wxcorvan/wxcText.h"
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

/// The first pattern that does not come back from the value that is sent for them; nothing where
/// all do. An empty one is none.
std::optional<wxString> FindChangedPath(const wxArrayString &paths, const String &sent)
{
    const std::vector<Path> read = ListFormats(sent);
    std::size_t next = 0;
    for (const wxString &path : paths)
    {
        if (path.empty())
            continue;
        if (next == read.size() || wxcFromText(read[next].Text()) != path)
            return path;
        ++next;
    }
    return std::nullopt;
}

/// A text that was too long for its field when that was made: what the field holds is the
/// beginning of it, until the user has emptied the field.
class CutText
{
public:
    CutText(wxTextCtrl &field, const wxString &whole)
        : m_field(field), m_shown(field.GetValue()), m_isCut(m_shown.length() < whole.length())
    {
        m_field.Bind(wxEVT_TEXT, &CutText::OnText, this);
    }
    ~CutText()
    {
        m_field.Unbind(wxEVT_TEXT, &CutText::OnText, this);
    }
    CutText(const CutText &) = delete;
    CutText &operator=(const CutText &) = delete;

    bool IsShownText(const wxString &text) const
    {
        return text == m_shown;
    }
    bool IsCut() const
    {
        return m_isCut;
    }

private:
    void OnText(wxCommandEvent &event)
    {
        event.Skip();
        // What is typed over all that is selected comes as one character in its place.
        if (m_field.GetLastPosition() <= 1)
            m_isCut = false;
    }

    wxTextCtrl &m_field;
    wxString m_shown;
    bool m_isCut;
};

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

    const wxString whole = wxString::FromUTF8(range);
    wxTextEntryDialog dialog(this, "Set a custom range to search for files", "Custom Range", whole,
                             wxOK | wxCANCEL | wxCENTRE, wxDefaultPosition);
    auto &field = dynamic_cast<wxTextCtrl &>(*dialog.FindWindow(wxTextCtrlNameStr));
    wxcRefuseLongPaste(field);
    field.SetMinSize(wxSize(-1, std::max(field.GetBestSize().y, wxcLineHeight(field))));
    dialog.GetSizer()->SetSizeHints(&dialog);
    const CutText text(field, whole);
    // OK and Cancel both give more than zero: after Cancel the unchanged range is sent again.
    if (dialog.ShowModal() == 0)
        return;

    // The field cuts what it cannot hold; as long as it is left alone the range stays whole.
    const wxString edited = dialog.GetValue();
    const bool isUnchanged = edited == whole || text.IsShownText(edited);
    if (!isUnchanged && text.IsCut())
    {
        TellOfCutRange(range.size());
        return;
    }
    SendParameter(*job, p_CustomRange, isUnchanged ? range : String(edited.utf8_string()));
    LogInfo("Sending updated custom range");
}

void MainWindow::TellOfCutRange(std::size_t bytes)
{
    _CallEntry call("MainWindow::TellOfCutRange", __FILE__, __LINE__);

    LogWarning("Edit Custom Range: a range of " + std::to_string(bytes) +
               " bytes was edited in a field that holds " + std::to_string(k_TextLineBytes) +
               " of them; it is not sent");
    wxString notice = _("The custom range was not sent: it has {bytes} bytes, the field holds the "
                        "first {held} alone, and the rest would be lost. Empty the field first to "
                        "give another range, or use \"corvan set\".");
    notice.Replace("{bytes}", std::to_string(bytes));
    notice.Replace("{held}", std::to_string(k_TextLineBytes));
    ShowNotice(notice);
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

    const wxArrayString paths = dialog.GetPaths();
    const String formats = JoinPaths(paths);
    SendParameter(*job, p_ImageFormat, formats);
    LogInfo("Sending updated image format");
    const auto changed = FindChangedPath(paths, ShareFormats(formats));
    if (changed && Messenger::IsConnected())
        TellOfChangedPath(*changed);
}

void MainWindow::TellOfChangedPath(const wxString &path)
{
    _CallEntry call("MainWindow::TellOfChangedPath", __FILE__, __LINE__);

    LogWarning("Edit Image Formats: what was sent does not read back as the same patterns, at " +
               path.utf8_string());
    wxString notice = _("The image formats were sent, but do not read back as the list had them, "
                        "from {pattern} on: what they hold of \";\", quotes and backslashes, or "
                        "the section \"PathMap\", makes other patterns of them.");
    notice.Replace("{pattern}", path);
    ShowNotice(notice);
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
