#pragma once

#include <wx/arrstr.h>

#include "wxcorvan/wxCorvanDlg.h"

class wxBoxSizer;
class wxFlexGridSizer;

namespace wxcorvan
{
class wxcCheckBox;
class wxcListBox;
class wxcStaticText;
class wxcTextCtrl;
} // namespace wxcorvan

/// Edits the five analysis options, section "Analysis" of the application's options.
///
/// Reads them when it is made and writes them in `SetOptions` alone, exactly as typed: a text that
/// is no number is stored too, and read back as the default.
class ConfigDlg : public wxcorvan::wxCorvanDlg
{
public:
    explicit ConfigDlg(wxWindow *parent);

    /// Stores the five values and writes the options file out, or leaves that to the batch that is
    /// open.
    void SetOptions();

private:
    void AddLabel(wxFlexGridSizer &grid, const wxString &label);
    wxBoxSizer *FieldWithTexts(const wxString &before, wxcorvan::wxcTextCtrl *field,
                               const wxString &after);
    wxcorvan::wxcStaticText *Text(const wxString &label);
    wxcorvan::wxcTextCtrl *Field(const ostrel::String &value);

    wxcorvan::wxcTextCtrl *m_minSize = nullptr;
    wxcorvan::wxcTextCtrl *m_frameOffset = nullptr;
    wxcorvan::wxcTextCtrl *m_sizeVariation = nullptr;
    wxcorvan::wxcTextCtrl *m_refresh = nullptr;
    wxcorvan::wxcCheckBox *m_showProgress = nullptr;
};

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
