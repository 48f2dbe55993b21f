// How the main window shows its list: sort column, status bar, progress gauge.

#include <wx/sizer.h>
#include <wx/statusbr.h>
#include <wx/wupdlock.h>

#include "app/Ordwick.h"
#include "corvan/AnalysisOptions.h"
#include "ostrel/CallEntry.h"
#include "ostrel/Log.h"
#include "ui/FileList.h"
#include "ui/MainWindow.h"

using namespace ostrel;

namespace
{

enum ColumnImage : int
{
    k_no_image = -1,
    k_sort_up = 0,
    k_sort_down = 1,
};

} // namespace

String MainWindow::CurrentSelection() const
{
    _CallEntry call("MainWindow::CurrentSelection", __FILE__, __LINE__);

    if (!m_fileList || m_fileList->SelectedPaths().empty())
        return {};
    return m_fileList->SelectedPaths().begin()->Text();
}

void MainWindow::OnColClick(wxListEvent &event)
{
    _CallEntry call("MainWindow::OnColClick", __FILE__, __LINE__);

    SetSortCol(event.GetColumn());
}

void MainWindow::SetSortCol(int column)
{
    _CallEntry call("MainWindow::SetSortCol", __FILE__, __LINE__);

    const wxWindowUpdateLocker frozen(m_fileList);
    if (column == m_sortColumn)
    {
        m_sortAscending = !m_sortAscending;
        ShowColumnArrow();
    }
    else
    {
        if (column != -1)
        {
            if (m_sortColumn >= 0)
                m_fileList->SetColumnImage(m_sortColumn, k_no_image);
            m_sortColumn = column;
            m_sortAscending = true;
        }
        ShowColumnArrow();
        m_fileList->SetHighlightColumn(m_sortColumn);
    }
    m_fileList->Sort();
}

void MainWindow::ShowColumnArrow()
{
    _CallEntry call("MainWindow::ShowColumnArrow", __FILE__, __LINE__);

    m_fileList->SetColumnImage(m_sortColumn, m_sortAscending ? k_sort_up : k_sort_down);
}

void MainWindow::UpdateStatusBar()
{
    _CallEntry call("MainWindow::UpdateStatusBar", __FILE__, __LINE__);

    // Called for every file that is checked; painting the bar each time would cost more than the
    // check itself.
    const ShownCounts counts = {static_cast<unsigned long long>(m_fileList->RowCount()),
                                m_counts.missing, m_counts.tooSmall};
    if (counts == m_shownCounts)
        return;
    m_shownCounts = counts;

    const wxString texts[] = {wxString::Format("%llu Files", counts.rows),
                              wxString::Format("%llu Missing", counts.missing),
                              wxString::Format("%llu Too Small", counts.tooSmall)};
    for (int field = 0; field < 3; ++field)
        SetStatusText(texts[field], field);

    if (LogWanted(k_LogTrace))
        Log(k_LogTrace, "Status bar: " + texts[0].utf8_string() + " | " + texts[1].utf8_string() +
                            " | " + texts[2].utf8_string());
}

void MainWindow::DoGiveHelp(const wxString &help, bool show)
{
    _CallEntry call("MainWindow::DoGiveHelp", __FILE__, __LINE__);

    wxCorvanFrame::DoGiveHelp(help, show);
    if (show)
        return;
    // The toolkit puts back what stood there when the menu was opened.
    m_shownCounts.reset();
    UpdateStatusBar();
}

void MainWindow::ShowProgress()
{
    _CallEntry call("MainWindow::ShowProgress", __FILE__, __LINE__);

    if (!IsConnectedViewShown())
        return;
    m_connectedView->Show(m_progress,
                          corvan::ReadAnalysisOptions(wxGetApp().Options()).showProgress);
    m_connectedView->Layout();
}

void MainWindow::OnChangeFormat(wxCommandEvent &event)
{
    _CallEntry call("MainWindow::OnChangeFormat", __FILE__, __LINE__);

    RefillList();
    event.Skip();
}
