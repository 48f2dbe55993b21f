// The menus of the main window, and the commands of the job.

#include <memory>

#include <wx/menu.h>
#include <wx/msgdlg.h>

#include "app/Ordwick.h"
#include "ostrel/CallEntry.h"
#include "ostrel/Exception.h"
#include "ui/CommandIds.h"
#include "ui/JobMenu.h"
#include "ui/MainWindow.h"
#include "wxcorvan/wxcText.h"

using namespace ostrel;
using wxcorvan::wxcFromText;

namespace
{

/// One entry of a menu; an entry without a label is a separator.
struct MenuEntry
{
    int id = wxID_SEPARATOR;
    const char *label = nullptr;
    const char *help = nullptr;
};

// wxTRANSLATE marks the texts for the catalogue; they are looked up when the menu is built.
const MenuEntry k_file_menu[] = {
    {k_IdSelectBad, wxTRANSLATE("Select Bad/Missing Frames\tCtrl+S"),
     wxTRANSLATE("Select frames that have been detected as bad or missing")},
    {},
    {k_IdRequeueSelected, wxTRANSLATE("Requeue Selected\tCtrl+R"),
     wxTRANSLATE("Requeue the frames that are currently selected in the list")},
    {k_IdRequeueBad, wxTRANSLATE("Requeue Bad/Missing Frames\tCtrl+B"),
     wxTRANSLATE("Requeue the frames that have been detected as bad or missing")},
    {},
    {k_IdDeleteSelected, wxTRANSLATE("Delete Selected"),
     wxTRANSLATE("Delete the frames that are currently selected in the list")},
    {k_IdDeleteBad, wxTRANSLATE("Delete Bad/Missing Frames"),
     wxTRANSLATE("Delete the frames that have been detected as bad or missing")},
    {},
    {k_IdConfig, wxTRANSLATE("Analysis settings..."),
     wxTRANSLATE("Configure how frame files are analyzed")},
    {},
    {wxID_EXIT, wxTRANSLATE("Close\tCtrl+W"), wxTRANSLATE("Close this window")},
};

const MenuEntry k_job_menu[] = {
    {k_IdCustomRange, wxTRANSLATE("Edit Custom Range"),
     wxTRANSLATE("Change the range of files to search for")},
    {k_IdChangePaths, wxTRANSLATE("Edit Image Formats"),
     wxTRANSLATE("Add, change, or remove image formatting paths")},
};

void Append(wxMenu &menu, const MenuEntry &entry)
{
    if (!entry.label)
        menu.AppendSeparator();
    else
        menu.Append(wxMenuItem::New(&menu, entry.id, wxGetTranslation(entry.label),
                                    wxGetTranslation(entry.help), wxITEM_NORMAL, nullptr));
}

void ShowFailure(const wxString &text)
{
    wxMessageBox(text, wxString::FromUTF8(Application::Get()->Name()), wxOK | wxCENTRE);
}

} // namespace

void MainWindow::BuildMenus()
{
    _CallEntry call("MainWindow::BuildMenus", __FILE__, __LINE__);

    auto *bar = new wxMenuBar;
    auto *fileMenu = new wxMenu;
    for (const MenuEntry &entry : k_file_menu)
        Append(*fileMenu, entry);
    bar->Append(fileMenu, _("File"));

    m_jobMenu = new JobMenu(this);
    for (const MenuEntry &entry : k_job_menu)
        Append(*m_jobMenu, entry);
    FillJobMenu(wxGetApp().CurrentJob(), 1);
    if (m_jobMenu->GetMenuItemCount() == 0)
        m_jobMenu->Append(wxID_ANY, _("No Job Commands"), "")->Enable(false);
    bar->Append(m_jobMenu, _("Job"));

    SetMenuBar(bar);
}

void MainWindow::FillJobMenu(const boost::shared_ptr<corvan::Job> &job, int mode)
{
    _CallEntry call("MainWindow::FillJobMenu", __FILE__, __LINE__);

    m_jobMenu->Fill(job, mode);
}

void MainWindow::OnJobCommand(wxCommandEvent &event)
{
    _CallEntry call("MainWindow::OnJobCommand", __FILE__, __LINE__);

    if (event.GetId() == wxID_CLOSE)
    {
        Close(false);
        event.Skip();
        return;
    }
    if (event.GetId() == wxID_EXIT)
    {
        event.Skip(); // The application closes its top window.
        return;
    }
    if (!m_jobMenu)
        return;

    try
    {
        m_jobMenu->TryCommand(event.GetId());
    }
    catch (ProcessException *raw)
    {
        const std::unique_ptr<ProcessException> error(raw);
        ShowFailure(wxString::Format(
            _("The Job Command tried to launch a program that could not be executed:\n%s"),
            wxcFromText(error->Text())));
    }
    catch (Exception *raw)
    {
        const std::unique_ptr<Exception> error(raw);
        // "5s" is no conversion, so the reason stays untold; users know the text as it is.
        ShowFailure(_("The command failed with an exception:\n5s"));
    }
}
