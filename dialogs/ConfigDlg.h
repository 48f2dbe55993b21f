#pragma once

#include <vector>

#include "corvan/AnalysisOptions.h"
#include "wxcorvan/wxCorvanDlg.h"

class wxBoxSizer;
class wxFlexGridSizer;

namespace wxcorvan
{
class wxcCheckBox;
class wxcStaticText;
class wxcTextCtrl;
} // namespace wxcorvan

/// Edits the analysis options, section "Analysis" of the application's options.
///
/// Reads them when it is made and writes them in `SetOptions` alone, exactly as typed: a text that
/// is no number is stored too, and read back as the default.
class ConfigDlg : public wxcorvan::wxCorvanDlg
{
public:
    explicit ConfigDlg(wxWindow *parent);

    /// Stores all values and writes the options file out, or leaves that to the batch that is open.
    void SetOptions();

private:
    /// A row of the dialog, as its source lists them.
    struct Row;
    /// What edits one option: a field, or a box for a yes or no.
    struct Editor
    {
        const corvan::AnalysisOption *option = nullptr;
        wxcorvan::wxcTextCtrl *field = nullptr;
        wxcorvan::wxcCheckBox *box = nullptr;
    };

    void AddRow(wxFlexGridSizer &grid, const Row &row, const corvan::AnalysisOption &option,
                const corvan::AnalysisOptions &options);
    wxBoxSizer *FieldWithTexts(const Row &row, wxcorvan::wxcTextCtrl *field);
    wxcorvan::wxcStaticText *Text(const char *text);

    std::vector<Editor> m_editors; ///< In the order of the options.
};
