#include "dialogs/ConfigDlg.h"

#include <iterator>
#include <mutex>

#include <wx/filedlg.h>
#include <wx/sizer.h>

#include "corvan/CorvanApp.h"
#include "corvan/Job.h"
#include "dialogs/EditPathDlg.h"
#include "dialogs/PathsDlg.h"
#include "ostrel/CallEntry.h"
#include "ostrel/OptionsFile.h"
#include "wxcorvan/wxcButton.h"
#include "wxcorvan/wxcCheckBox.h"
#include "wxcorvan/wxcListBox.h"
#include "wxcorvan/wxcStaticText.h"
#include "wxcorvan/wxcTextCtrl.h"

using namespace ostrel;
using namespace wxcorvan;

namespace
{

enum ControlId : int
{
    k_id_add = 101,
    k_id_edit = 102,
    k_id_remove = 103,
    k_id_browse = 104,
    k_id_guess = 105,
};

/// Shows most paths whole, in pixels at 100 %.
constexpr int k_path_width = 420;

OptionsFile &Options()
{
    return corvan::CorvanApp::Get()->Options();
}

} // namespace

struct ConfigDlg::Row
{
    const char *label;
    const char *before;   ///< Text before the field; null where the field begins the row.
    const char *after;    ///< Text after it, or beside the box.
    int flags = wxEXPAND; ///< Of the cell in the grid.
    int proportion = 1;   ///< The same.
};

ConfigDlg::ConfigDlg(wxWindow *parent)
    : wxCorvanDlg(parent, _("Analysis Settngs"), "ConfigDlg", true)
{
    _CallEntry call("ConfigDlg::ConfigDlg", __FILE__, __LINE__);

    // By the order of the options.
    static constexpr Row k_rows[] = {
        {wxTRANSLATE("Minimum Image Size: "), nullptr, wxTRANSLATE("Bytes")},
        {wxTRANSLATE("Frame Offset: "), wxTRANSLATE("Compare with"),
         wxTRANSLATE("frames before and after"), 0, 0},
        {wxTRANSLATE("Size Variation: "), wxTRANSLATE("Allow"),
         wxTRANSLATE("% variation from neighbors")},
        {wxTRANSLATE("Refresh: "), wxTRANSLATE("Scan files every"), wxTRANSLATE("milliseconds")},
        {wxTRANSLATE("Display: "), nullptr, wxTRANSLATE("Show file scan progress")},
    };
    static_assert(std::size(k_rows) == corvan::k_AnalysisOptions.size(), "each option has a row");

    wxBoxSizer *client = StartControls();
    auto *grid = new wxFlexGridSizer(2, 5, 8);
    client->Add(grid, 1, wxEXPAND | wxALL, 8);
    const corvan::AnalysisOptions options = corvan::ReadAnalysisOptions(Options());
    for (std::size_t i = 0; i < std::size(k_rows); ++i)
        AddRow(*grid, k_rows[i], corvan::k_AnalysisOptions[i], options);
    AddButtons(client, true);
}

void ConfigDlg::AddRow(wxFlexGridSizer &grid, const Row &row, const corvan::AnalysisOption &option,
                       const corvan::AnalysisOptions &options)
{
    _CallEntry call("ConfigDlg::AddRow", __FILE__, __LINE__);

    grid.Add(Text(row.label), 0, wxALIGN_RIGHT | wxALIGN_CENTER_VERTICAL);
    Editor &editor = m_editors.emplace_back(Editor{.option = &option});
    if (const auto *yesOrNo = std::get_if<bool corvan::AnalysisOptions::*>(&option.field))
    {
        editor.box = new wxcCheckBox(this, -1, wxGetTranslation(row.after));
        editor.box->SetValue(options.**yesOrNo);
        grid.Add(editor.box, row.proportion, row.flags);
        return;
    }
    const String value = corvan::AnalysisText(option, options);
    editor.field = new wxcTextCtrl(this, -1, wxString::FromUTF8(value));
    grid.Add(FieldWithTexts(row, editor.field), row.proportion, row.flags);
}

wxcStaticText *ConfigDlg::Text(const char *text)
{
    _CallEntry call("ConfigDlg::Text", __FILE__, __LINE__);

    return NewStatic(wxGetTranslation(text), false, false, 0, 0, nullptr);
}

wxBoxSizer *ConfigDlg::FieldWithTexts(const Row &row, wxcTextCtrl *field)
{
    _CallEntry call("ConfigDlg::FieldWithTexts", __FILE__, __LINE__);

    auto *cell = new wxBoxSizer(wxHORIZONTAL);
    if (!row.before)
    {
        cell->Add(field, 1, wxEXPAND);
        cell->Add(Text(row.after), 0, wxALIGN_CENTER_VERTICAL | wxLEFT, 3);
        return cell;
    }
    cell->Add(Text(row.before), 0, wxALIGN_CENTER_VERTICAL);
    cell->Add(field, 1, wxALIGN_CENTER_VERTICAL | wxLEFT | wxRIGHT, 3);
    cell->Add(Text(row.after), 0, wxALIGN_CENTER_VERTICAL);
    return cell;
}

void ConfigDlg::SetOptions()
{
    _CallEntry call("ConfigDlg::SetOptions", __FILE__, __LINE__);

    OptionsFile &options = Options();
    const OptionsBatch batch(options);
    options.InsertSection(corvan::k_Analysis);
    for (const Editor &editor : m_editors)
    {
        if (editor.box)
            options.SetValue(editor.option->key, editor.box->GetValue() ? k_Yes : k_No);
        else
            options.SetValue(editor.option->key, editor.field->GetValue().utf8_string());
    }
}

BEGIN_EVENT_TABLE(PathsDlg, wxCorvanDlg)
    EVT_LISTBOX(wxID_ANY, PathsDlg::SelectionChanged)
    EVT_BUTTON(k_id_add, PathsDlg::OnAdd)
    EVT_BUTTON(k_id_edit, PathsDlg::OnEdit)
    EVT_BUTTON(k_id_remove, PathsDlg::OnRemove)
END_EVENT_TABLE()

PathsDlg::PathsDlg(wxWindow *parent, wxArrayString paths)
    : wxCorvanDlg(parent, _("Edit Image Formats"), "EditImageFormats", true)
{
    _CallEntry call("PathsDlg::PathsDlg", __FILE__, __LINE__);

    wxBoxSizer *client = StartControls();
    client->AddSpacer(5);

    auto *row = new wxBoxSizer(wxHORIZONTAL);
    client->Add(row, 1, wxEXPAND);
    row->AddSpacer(5);
    m_list = new wxcListBox(this, -1, wxDefaultPosition, wxDefaultSize, paths,
                            wxLB_SINGLE | wxLB_HSCROLL);
    m_list->SetMinSize(FromDIP(wxSize(k_path_width, 160)));
    row->Add(m_list, 1, wxEXPAND);
    row->AddSpacer(5);
    row->Add(ButtonColumn(), 0);
    row->AddSpacer(5);

    AddButtons(client, true);
    _SelectionChanged();
}

wxBoxSizer *PathsDlg::ButtonColumn()
{
    _CallEntry call("PathsDlg::ButtonColumn", __FILE__, __LINE__);

    auto *column = new wxBoxSizer(wxVERTICAL);
    column->Add(new wxcButton(this, k_id_add, _("Add")), 0, wxEXPAND);
    column->AddSpacer(5);
    column->Add(new wxcButton(this, k_id_edit, _("Edit")), 0, wxEXPAND);
    column->AddSpacer(5);
    column->Add(new wxcButton(this, k_id_remove, _("Remove")), 0, wxEXPAND);
    return column;
}

wxArrayString PathsDlg::GetPaths() const
{
    _CallEntry call("PathsDlg::GetPaths", __FILE__, __LINE__);

    return m_list ? m_list->GetStrings() : wxArrayString();
}

void PathsDlg::SelectionChanged(wxCommandEvent & /*event*/)
{
    _CallEntry call("PathsDlg::SelectionChanged", __FILE__, __LINE__);

    _SelectionChanged();
}

void PathsDlg::_SelectionChanged()
{
    _CallEntry call("PathsDlg::_SelectionChanged", __FILE__, __LINE__);

    const bool selected = m_list->GetSelection() != wxNOT_FOUND;
    for (const int id : {k_id_edit, k_id_remove})
        if (wxWindow *button = FindWindow(id))
            button->Enable(selected);
}

void PathsDlg::OnAdd(wxCommandEvent & /*event*/)
{
    _CallEntry call("PathsDlg::OnAdd", __FILE__, __LINE__);

    EditPathDlg editor(this, "");
    if (editor.ShowModal() != 0)
        m_list->Append(editor.GetPath());
}

void PathsDlg::OnEdit(wxCommandEvent & /*event*/)
{
    _CallEntry call("PathsDlg::OnEdit", __FILE__, __LINE__);

    EditPathDlg editor(this, m_list->GetStringSelection());
    if (editor.ShowModal() != 0)
        m_list->SetString(m_list->GetSelection(), editor.GetPath());
}

void PathsDlg::OnRemove(wxCommandEvent & /*event*/)
{
    _CallEntry call("PathsDlg::OnRemove", __FILE__, __LINE__);

    m_list->Delete(m_list->GetSelection());
    _SelectionChanged();
    m_list->SetFocus(); // The button may have been disabled with the keyboard on it.
}

BEGIN_EVENT_TABLE(EditPathDlg, wxCorvanDlg)
    EVT_BUTTON(k_id_browse, EditPathDlg::OnBrowse)
    EVT_CHECKBOX(k_id_guess, EditPathDlg::OnCheckGuess)
END_EVENT_TABLE()

EditPathDlg::EditPathDlg(wxWindow *parent, wxString path)
    : wxCorvanDlg(parent, _("Edit Image Format"), "EditImageFormat", true)
{
    _CallEntry call("EditPathDlg::EditPathDlg", __FILE__, __LINE__);

    wxBoxSizer *client = StartControls();
    m_path = new wxcTextCtrl(this, -1, path);
    m_path->SetMinSize(FromDIP(wxSize(k_path_width, -1)));
    client->Add(m_path, 1, wxEXPAND | wxALL, 5);
    client->Add(BrowseRow(), 0, wxEXPAND | wxALL, 5);
    m_guess->SetValue(Options().GetValue("Options", "GuessFrames", true));
    AddButtons(client, true);
}

wxBoxSizer *EditPathDlg::BrowseRow()
{
    _CallEntry call("EditPathDlg::BrowseRow", __FILE__, __LINE__);

    auto *row = new wxBoxSizer(wxHORIZONTAL);
    row->Add(new wxcButton(this, k_id_browse, _("Browse...")), 0, wxALIGN_CENTER_VERTICAL);
    row->AddSpacer(5);
    m_guess = new wxcCheckBox(this, k_id_guess, _("Guess Frames"));
    row->Add(m_guess, 0, wxALIGN_CENTER_VERTICAL);
    row->AddSpacer(10);
    return row;
}

wxString EditPathDlg::GetPath() const
{
    _CallEntry call("EditPathDlg::GetPath", __FILE__, __LINE__);

    return m_path ? m_path->GetValue() : wxString();
}

void EditPathDlg::OnBrowse(wxCommandEvent & /*event*/)
{
    _CallEntry call("EditPathDlg::OnBrowse", __FILE__, __LINE__);

    // It does not start beside the present pattern, whose folder may not be on this machine.
    wxString chosen =
        wxFileSelector(wxFileSelectorPromptStr, wxEmptyString, wxEmptyString, wxEmptyString,
                       wxFileSelectorDefaultWildcardStr, 0, nullptr, -1, -1);
    if (chosen.empty())
        return;
    if (m_guess->GetValue())
        chosen = wxString::FromUTF8(
            corvan::RenderJob::GetSpecifierFromFilename(Path(chosen.utf8_string())));
    m_path->SetValue(chosen);
}

void EditPathDlg::OnCheckGuess(wxCommandEvent & /*event*/)
{
    _CallEntry call("EditPathDlg::OnCheckGuess", __FILE__, __LINE__);

    OptionsFile &options = Options();
    const std::scoped_lock lock(options.WriteMutex());
    options.InsertSection("Options");
    options.SetValue("GuessFrames", m_guess->GetValue() ? "1" : "0");
}
