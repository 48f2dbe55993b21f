#pragma once

#include <wx/arrstr.h>

#include "wxcorvan/wxCorvanDlg.h"

class wxBoxSizer;

namespace wxcorvan
{
class wxcListBox;
} // namespace wxcorvan

/// Edits a list of image-format patterns. It changes its own list only; nothing is checked.
class PathsDlg : public wxcorvan::wxCorvanDlg
{
public:
    PathsDlg(wxWindow *parent, wxArrayString paths);

    /// All patterns, in list order.
    wxArrayString GetPaths() const;

private:
    void SelectionChanged(wxCommandEvent &event);
    void OnAdd(wxCommandEvent &event);
    void OnEdit(wxCommandEvent &event);
    void OnRemove(wxCommandEvent &event);

    /// Edit and Remove need a selected item.
    void _SelectionChanged();
    wxBoxSizer *ButtonColumn();

    wxcorvan::wxcListBox *m_list = nullptr;

    wxDECLARE_EVENT_TABLE();
};
