// Which files are expected, and the scan that checks them one by one in idle time.

#include <algorithm>

#include "analysis/Expansion.h"
#include "analysis/FileCheck.h"
#include "analysis/FramesWithoutFile.h"
#include "app/Ordwick.h"
#include "corvan/AnalysisOptions.h"
#include "corvan/ImageFormats.h"
#include "corvan/Utf8.h"
#include "ostrel/CallEntry.h"
#include "ostrel/Log.h"
#include "ostrel/SFormat.h"
#include "ui/FileList.h"
#include "ui/MainWindow.h"
#include "wxcorvan/wxcText.h"

using namespace analysis;
using namespace corvan;
using namespace ostrel;
using wxcorvan::wxcFromText;

void MainWindow::ExtractFormats(const String &formats)
{
    _CallEntry call("MainWindow::ExtractFormats", __FILE__, __LINE__);

    const wxString remembered = m_formatChoice->wxItemContainer::GetStringSelection();
    m_formatChoice->Clear();

    for (const Path &pattern : ListFormats(formats))
    {
        const wxString local = wxcFromText(pattern.Text());
        const int entry = m_formatChoice->Append(local);
        if (local == remembered)
            m_formatChoice->SetSelection(entry);
    }

    if (!remembered.empty() && m_formatChoice->GetSelection() != wxNOT_FOUND)
        return; // The same files as before; whoever changed the range refills.

    if (m_formatChoice->GetCount() > 0)
        m_formatChoice->SetSelection(0);
    SetFormat(0);
}

void MainWindow::RefillList()
{
    _CallEntry call("MainWindow::RefillList", __FILE__, __LINE__);

    SetFormat(m_formatChoice->GetSelection());
}

void MainWindow::SetNoFormat()
{
    _CallEntry call("MainWindow::SetNoFormat", __FILE__, __LINE__);

    m_formatChoice->Clear();
    ClearList();
}

void MainWindow::ClearList()
{
    _CallEntry call("MainWindow::ClearList", __FILE__, __LINE__);

    m_scanning = false;
    m_fileList->Clear();
    m_progress->SetValue(0);
    m_counts = {};
    UpdateStatusBar();
    if (!m_listNotice.empty() && Notice() == m_listNotice)
        HideNotice();
    m_listNotice.clear();
}

void MainWindow::SetFormat(int index)
{
    _CallEntry call("MainWindow::SetFormat", __FILE__, __LINE__);

    if (static_cast<unsigned>(index) >= m_formatChoice->GetCount())
        return;
    ClearList();
    StopTimer(); // The old list's. Where this one stays empty, nothing is to be scanned.

    const boost::shared_ptr<Job> job = wxGetApp().CurrentJob();
    if (!job)
    {
        LogWarning("Show format: there is no job, so there are no files to list");
        return;
    }
    std::optional<ExpansionInput> input = ReadExpansionInput(*job);
    if (!input)
    {
        LogError("Could not get range from Job: " + job->Name());
        TellOfList(_("Could not get the range of this job, so there are no files to look for."));
        m_formatChoice->Thaw(); // Nothing froze it; the choice takes that calmly.
        return;
    }

    const String format = m_formatChoice->GetString(index).utf8_string();
    LogStatus("Displaying:\n\tFormat: " + format + "\n\tRange: " + input->userRange);

    SequenceDistributor::CalculateItems(input->userRange, input->frames);
    if (input->frames.empty())
    {
        LogWarning("Job '" + job->Name() + "' has empty range: " + input->userRange);
        TellOfList(_("The range of this job names no frame, so there are no files to look for."));
        m_formatChoice->Thaw();
        return;
    }

    if (!ListExpectedFiles(*input, format))
        return;
    CheckFiles(true);
}

bool MainWindow::ListExpectedFiles(const ExpansionInput &input, const String &format)
{
    _CallEntry call("MainWindow::ListExpectedFiles", __FILE__, __LINE__);

    String reason;
    if (const auto pattern = FramePattern::Parse(format, &reason))
    {
        FileTable &table = m_fileList->Table();
        reason = ExpandFrames(*pattern, input,
                              [&](const Path &path, int outputNumber)
                              {
                                  // A path that is there already gives a row all the same, which
                                  // stays empty behind the others.
                                  table.Append(path, outputNumber);
                                  m_fileList->Insert(static_cast<int>(table.RowCount()) - 1, false);
                              });
    }
    if (reason.empty())
    {
        TellOfFramesWithoutFile(input);
        return true;
    }
    LogError("Cannot show the files of '" + format + "': " + reason);
    wxString notice = _("The files of {pattern} cannot be shown: {reason}");
    notice.Replace("{pattern}", wxcFromText(format));
    notice.Replace("{reason}", wxcFromText(reason));
    TellOfList(notice);
    return false;
}

void MainWindow::TellOfFramesWithoutFile(const ExpansionInput &input)
{
    _CallEntry call("MainWindow::TellOfFramesWithoutFile", __FILE__, __LINE__);

    const SequenceDistributor::Items frames = FindFramesWithoutFile(input);
    if (frames.empty())
        return;
    const String range = Excerpt(SequenceDistributor::CalculateRange(frames));
    LogWarning("No file of their own is looked for for the frames " + range);
    wxString notice =
        _("The files of these frames are not looked for: {frames}. From 16,777,216 on, "
          "numbers are counted in single precision, which misses some.");
    notice.Replace("{frames}", wxcFromText(range));
    TellOfList(notice);
}

void MainWindow::TellOfList(const wxString &notice)
{
    _CallEntry call("MainWindow::TellOfList", __FILE__, __LINE__);

    m_listNotice = notice;
    ShowNotice(notice);
}

void MainWindow::CheckFiles(bool sort)
{
    _CallEntry call("MainWindow::CheckFiles", __FILE__, __LINE__);

    if (m_scanning)
        return;

    UseScanRules(analysis::RulesOf(corvan::ReadAnalysisOptions(wxGetApp().Options())));
    m_resortPending = sort;
    m_scanIndex = 0;
    m_scanning = true;
    m_counts = {};
    UpdateStatusBar();
    m_progress->SetRange(m_fileList->RowCount());
    m_progress->SetValue(0);
    wxWakeUpIdle();
}

void MainWindow::UseScanRules(const ScanRules &rules)
{
    _CallEntry call("MainWindow::UseScanRules", __FILE__, __LINE__);

    FileTable &table = m_fileList->Table();
    if (table.Rules() == rules)
        return;
    table.SetRules(rules);
    m_fileList->Redraw(); // Other rules, other colours.
}

void MainWindow::OnTimer(wxTimerEvent & /*event*/)
{
    _CallEntry call("MainWindow::OnTimer", __FILE__, __LINE__);

    CheckFiles(false);
}

void MainWindow::IdleFileCheck(wxIdleEvent &event)
{
    _CallEntry call("MainWindow::IdleFileCheck", __FILE__, __LINE__);

    event.Skip();
    if (!m_scanning)
        return;
    if (m_scanIndex >= static_cast<unsigned>(m_fileList->RowCount()))
    {
        EndPass();
        return;
    }

    const int row = static_cast<int>(m_scanIndex);
    if (m_fileList->Table().CheckRow(row, m_counts))
    {
        m_fileList->RedrawItem(row);
        m_resortPending = true;
    }

    ++m_scanIndex;
    event.RequestMore();
    m_progress->SetValue(static_cast<int>(m_scanIndex));
    UpdateStatusBar();
}

void MainWindow::EndPass()
{
    _CallEntry call("MainWindow::EndPass", __FILE__, __LINE__);

    m_scanning = false;
    if (m_resortPending)
        m_fileList->Sort();
    m_progress->SetValue(0);

    // While there is no connection no further pass is planned; connecting starts one.
    if (!IsConnectedViewShown() || !m_refreshTimer)
        return;
    // Nor where the job has no files: whatever lists some starts one.
    if (m_fileList->RowCount() == 0 && wxGetApp().CurrentJob())
        return;
    const int refreshMs = corvan::ReadAnalysisOptions(wxGetApp().Options()).refreshMs;
    LogStatus(
        SFormat("Finished scanning %d files. Will scan again in %d ms", m_scanIndex, refreshMs));
    m_refreshTimer->StartOnce(std::max(refreshMs, 1)); // The toolkit reads -1 as "as before".
}
