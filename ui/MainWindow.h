#pragma once

#include <boost/shared_ptr.hpp>
#include <memory>
#include <optional>
#include <set>

#include <wx/timer.h>

#include "analysis/FileCheck.h"
#include "analysis/SortFiles.h"
#include "corvan/Job.h"
#include "corvan/SequenceDistributor.h"
#include "ostrel/OptionsFile.h"
#include "wxcorvan/wxCorvanFrame.h"
#include "wxcorvan/wxcChoice.h"
#include "wxcorvan/wxcGauge.h"

class FileList;
class JobMenu;
namespace analysis
{
struct ExpansionInput;
struct ScanRules;
} // namespace analysis
class wxBoxSizer;
class wxListEvent;

/// The program's one window: a format choice, the list of expected files, a progress gauge, a
/// status bar and the menus.
///
/// It reads the controls, calls the core and shows the result. What it is told of the job comes
/// from the application; what it wants changed goes to the Master and comes back that way. Main
/// thread only.
///
/// Its source is split along its concerns: MainWindow.cpp builds, connects and closes;
/// MainWindowMenus.cpp has the menus; FrameScan.cpp expands and checks; ListView.cpp sorts and
/// counts; FrameCommands.cpp requeues and deletes, by DeleteFiles.cpp; JobEdits.cpp edits job and
/// settings.
class MainWindow : public wxcorvan::wxCorvanFrame, public analysis::SortState
{
public:
    MainWindow(const wxString &title, const wxPoint &position, const wxSize &size);
    ~MainWindow() override;

    // What the job session tells.

    /// Fills the format choice from an image-format list value: patterns separated by ";". Where
    /// the pattern that was selected is still among them the list is left alone, else the first
    /// one is shown.
    void ExtractFormats(const ostrel::String &formats);
    /// Rebuilds the list for the selected format.
    void RefillList();
    /// Puts the job's commands into the "Job" menu; an empty job takes them out.
    void FillJobMenu(const boost::shared_ptr<corvan::Job> &job, int mode);

    // The list.

    /// Rebuilds the file table for a format entry and starts a scan pass. An index that no entry
    /// has does nothing at all.
    void SetFormat(int index);
    void SetNoFormat();
    /// Ends the pass that runs, and empties list, gauge and counts.
    void ClearList();
    /// Starts a scan pass unless one is running. `sort`: sort the list at its end in any case.
    void CheckFiles(bool sort);
    /// Another column sorts ascending; the same one flips the direction; -1 shows the arrow again.
    void SetSortCol(int column);
    void UpdateStatusBar();
    /// Shows or hides the gauge by the option, while the list is shown.
    void ShowProgress();

    /// The first selected path in path order; empty when nothing is selected.
    ostrel::String CurrentSelection() const;

    /// Shows the list, or the text that there is no connection.
    void SetConnected(bool connected);

    /// Shows a menu item's help in place of the number of files, and that again behind it.
    void DoGiveHelp(const wxString &help, bool show) override;

private:
    struct ShownCounts
    {
        unsigned long long rows = 0;
        unsigned long long missing = 0;
        unsigned long long tooSmall = 0;

        bool operator==(const ShownCounts &) const = default;
    };

    void BuildMenus();
    void BuildStatusBar();
    void BuildConnectedView();
    void BuildFormatRow();
    void BuildFileList();
    void BuildNotConnectedView();
    void ShowSortColumn();
    void ShowColumnArrow();
    bool IsConnectedViewShown() const;

    bool ListExpectedFiles(const analysis::ExpansionInput &input, const ostrel::String &format);
    void TellOfList(const wxString &notice);
    void TellOfFramesWithoutFile(const analysis::ExpansionInput &input);
    void UseScanRules(const analysis::ScanRules &rules);
    void EndPass();
    void StopTimer();
    void SaveColumnWidths(ostrel::OptionsFile &options);

    boost::shared_ptr<corvan::Job> JobForCommand(const char *command) const;
    void RequeueFrames(const corvan::SequenceDistributor::Items &frames);
    bool SubmitRequeue(const corvan::Job &job, const ostrel::String &range);
    void TellWhatElseIsRendered(const corvan::Job &job,
                                const corvan::SequenceDistributor::Items &frames);
    void TellOfRenumbering();
    void TellOfGoodFrames(std::size_t count);
    void TellOfRequeue(const wxString &notice);
    void TellOfCutRange(std::size_t bytes);
    void TellOfChangedPath(const wxString &path);
    void SendParameter(const corvan::Job &job, const ostrel::String &name,
                       const ostrel::String &value);

    void OnClose(wxCloseEvent &event);
    void OnTimer(wxTimerEvent &event);
    void OnChangeFormat(wxCommandEvent &event);
    void OnColClick(wxListEvent &event);
    void IdleFileCheck(wxIdleEvent &event);
    void OnCustomRange(wxCommandEvent &event);
    void OnChangePaths(wxCommandEvent &event);
    void OnSelectBad(wxCommandEvent &event);
    void OnRequeueSelected(wxCommandEvent &event);
    void OnRequeueBad(wxCommandEvent &event);
    void OnDeleteSelected(wxCommandEvent &event);
    void OnDeleteBad(wxCommandEvent &event);
    void OnConfig(wxCommandEvent &event);
    void OnJobCommand(wxCommandEvent &event);
    void OnConnect(wxCommandEvent &event);
    void OnDisconnect(wxCommandEvent &event);

    bool m_scanning = false;
    wxBoxSizer *m_connectedView = nullptr;
    wxcorvan::wxcChoice *m_formatChoice = nullptr;
    FileList *m_fileList = nullptr;
    wxcorvan::wxcGauge *m_progress = nullptr;
    std::unique_ptr<wxTimer> m_refreshTimer; ///< Null once the window is closing.
    wxBoxSizer *m_notConnectedView = nullptr;
    JobMenu *m_jobMenu = nullptr;

    unsigned m_scanIndex = 0; ///< Row to be checked at the next idle event.
    bool m_resortPending = false;
    wxString m_listNotice;    ///< The list's own notice, which goes with the next list.
    wxString m_requeueNotice; ///< That of the last requeue, which goes with the next one.
    analysis::ScanCounts m_counts;
    std::optional<ShownCounts> m_shownCounts;

    wxDECLARE_EVENT_TABLE();
};

/// Deletes each file, in path order. One that cannot be deleted is passed over in silence; a
/// folder is never removed. Where it takes longer than a second, a dialog shows how far it is until
/// all are gone over, and its Cancel leaves the rest.
void DeleteFiles(std::set<ostrel::Path> paths);
