#pragma once

#include <set>
#include <vector>

#include "analysis/FileTable.h"
#include "wxcorvan/wxDBListCtrl.h"

class MainWindow;

/// The main window's list of expected frame files.
///
/// It owns the file table and its own selection, which is kept by path, so that it survives
/// sorting and rescans. Main thread only.
class FileList : public wxcorvan::wxDBListCtrl
{
public:
    explicit FileList(MainWindow *parent);

    /// The expected files; row r of the list is position r. Rows may exceed the files where two
    /// frames gave one path: a row without a file is empty, normal, never checked and never
    /// selected.
    analysis::FileTable &Table()
    {
        return m_table;
    }

    bool IsRowSelected(int row) override;
    int FilledRowCount() const override;
    /// Rows of the selected paths in path order; -1 for a path that is not in the table any more.
    std::vector<int> GetSelection() override;
    ostrel::String GetDisplayText(int row, int column) override;
    /// Grey for missing, red for too small, orange for a size outlier, else the normal colour.
    /// Each call classifies, and traces a bad row.
    wxColour GetRowColor(int row) override;
    /// Empties table and selection; called by `Clear`.
    void DoClear() override;

    const std::set<ostrel::Path> &SelectedPaths() const
    {
        return m_selection;
    }

    /// Frame numbers of the selected paths. A path that is not in the table any more gives the
    /// lowest 32-bit number.
    corvan::SequenceDistributor::Items GetSDISelection() const;

    /// Paths and frame numbers of all rows that are not normal. Each call classifies every row.
    std::set<ostrel::Path> FindBadPaths();
    corvan::SequenceDistributor::Items FindBadFrames();

    /// Selects the bad rows and no others.
    void SelectBad();

    /// Sorts the table by the main window's sort state and redraws. The frame with the keyboard
    /// keeps it, also over a refill that came before, and stays in view where it was; the frame
    /// where a range begins stays the one. Ends a drag.
    void Sort();

private:
    void ItemSelected(wxListEvent &event);
    void ItemDeselect(wxListEvent &event);

    ostrel::Path PathOfRow(int row);
    ostrel::Path PathWithKeyboard();
    ostrel::Path PathOfAnchor();

    /// Which frame had the keyboard, and at which row, and where a range began before the table was
    /// emptied. A table that is filled anew gets its order, and these frames their places, with the
    /// next sort; until then the rows may show other frames.
    struct KeyboardPlace
    {
        int row = -1;
        ostrel::Path path;
        ostrel::Path anchor;
    };

    analysis::_FileInfoList m_files;
    std::set<ostrel::Path> m_selection;
    KeyboardPlace m_beforeRefill;
    analysis::FileTable m_table; ///< What is done with `m_files`.
    const analysis::SortState *m_order;

    wxDECLARE_EVENT_TABLE();
};
