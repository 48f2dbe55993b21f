#pragma once

#include "wxcorvan/wxCorvanDlg.h"

class wxBoxSizer;

namespace wxcorvan
{
class wxcCheckBox;
class wxcTextCtrl;
} // namespace wxcorvan

/// Edits one image-format pattern, or makes one of a file that is picked. Toggling "Guess Frames"
/// is remembered at once, also when the dialog is then cancelled; the pattern is not.
class EditPathDlg : public wxcorvan::wxCorvanDlg
{
public:
    EditPathDlg(wxWindow *parent, wxString path);

    /// The whole text of the field as it stands.
    wxString GetPath() const;

private:
    void OnBrowse(wxCommandEvent &event);
    void OnCheckGuess(wxCommandEvent &event);

    wxBoxSizer *BrowseRow();

    wxcorvan::wxcTextCtrl *m_path = nullptr;
    wxcorvan::wxcCheckBox *m_guess = nullptr;

    wxDECLARE_EVENT_TABLE();
};
