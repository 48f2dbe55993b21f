#include "wxcorvan/wxCorvanDlg.h"

#include <map>
#include <optional>

#include <wx/settings.h>
#include <wx/stattext.h>

#include "corvan/CorvanApp.h"
#include "ostrel/CallEntry.h"
#include "wxcorvan/WindowPlace.h"
#include "wxcorvan/wxcButton.h"
#include "wxcorvan/wxcColors.h"
#include "wxcorvan/wxcStaticText.h"

namespace wxcorvan
{

using namespace ostrel;

namespace
{

/// Between the buttons and around them, in pixels at 100 %.
constexpr int k_border = 8;

/// Where dialogs of each name stood in this run.
std::map<String, wxRect> &Places()
{
    static std::map<String, wxRect> s_places;
    return s_places;
}

String SectionOf(const String &name)
{
    return "Dialog " + name;
}

std::optional<wxRect> FindPlace(const String &name)
{
    if (const auto found = Places().find(name); found != Places().end())
        return found->second;
    return LoadPlace(corvan::CorvanApp::Get()->Options(), SectionOf(name));
}

long StyleOf(bool canResize)
{
    return wxDEFAULT_DIALOG_STYLE | (canResize ? wxRESIZE_BORDER : 0);
}

} // namespace

wxCorvanDlg::wxCorvanDlg(wxWindow *parent, const wxString &title, const String &name,
                         bool canResize)
    : wxDialog(parent, wxID_ANY, title, wxDefaultPosition, wxDefaultSize, StyleOf(canResize),
               wxString::FromUTF8(name)),
      m_name(name), m_canResize(canResize)
{
    _CallEntry call("wxCorvanDlg::wxCorvanDlg", __FILE__, __LINE__);

    Bind(
        wxEVT_BUTTON, [this](wxCommandEvent &) { Cancel(); }, wxID_CANCEL);
    Bind(wxEVT_CLOSE_WINDOW, [this](wxCloseEvent &) { Cancel(); });
    Bind(wxEVT_CHAR_HOOK, &wxCorvanDlg::OnKey, this);
    wxCorvanDlg::ApplyColors();
}

void wxCorvanDlg::OnKey(wxKeyEvent &event)
{
    if (event.GetKeyCode() == WXK_ESCAPE && !event.HasAnyModifiers())
        Cancel();
    else
        event.Skip();
}

void wxCorvanDlg::Cancel()
{
    if (IsModal())
        EndModal(0);
    else
        Hide();
}

wxBoxSizer *wxCorvanDlg::StartControls()
{
    SetSizer(new wxBoxSizer(wxVERTICAL));
    auto *controls = new wxBoxSizer(wxVERTICAL);
    GetSizer()->Add(controls, 1, wxEXPAND);
    return controls;
}

wxcStaticText *wxCorvanDlg::NewStatic(const wxString &label, bool isHeading, bool isQuiet,
                                      int wrapWidth, long style, wxWindow *parent)
{
    auto *text = new wxcStaticText(parent ? parent : this, wxID_ANY, label, wxDefaultPosition,
                                   wxDefaultSize, style);
    if (isHeading)
        text->SetFont(text->GetFont().Bold());
    text->SetQuiet(isQuiet);
    if (wrapWidth > 0)
        text->Wrap(FromDIP(wrapWidth));
    return text;
}

void wxCorvanDlg::AddButtons(wxBoxSizer *controls, bool hasCancel)
{
    if (hasCancel)
        AddButtonRow(controls, {wxID_CANCEL, wxID_OK});
    else
        AddButtonRow(controls, {wxID_OK});
}

void wxCorvanDlg::AddCancel(wxBoxSizer *controls)
{
    AddButtonRow(controls, {wxID_CANCEL});
}

void wxCorvanDlg::AddButtonRow(wxBoxSizer *controls, std::initializer_list<wxWindowID> ids)
{
    // Made from left to right, which is how the Tab key goes.
    auto *row = new wxBoxSizer(wxHORIZONTAL);
    row->AddStretchSpacer();
    wxcButton *last = nullptr;
    for (const wxWindowID id : ids)
    {
        if (last)
            row->AddSpacer(FromDIP(k_border));
        last = new wxcButton(this, id);
        row->Add(last);
    }
    controls->Add(row, 0, wxEXPAND | wxALL, FromDIP(k_border));

    last->SetDefault();
    GetSizer()->SetSizeHints(this);
    Bind(wxEVT_ACTIVATE, &wxCorvanDlg::OnActivate, this);
    RestorePlace();
    FocusFirstField();
}

void wxCorvanDlg::OnActivate(wxActivateEvent &event)
{
    event.Skip();

    // The least size was reckoned with a guess at the window manager's frame.
    const wxSize least = GetSizer()->ComputeFittingClientSize(this);
    SetMinClientSize(least);
    wxSize size = GetClientSize();
    size.IncTo(least);
    if (size != GetClientSize())
        SetClientSize(size);
}

void wxCorvanDlg::FocusFirstField()
{
    for (wxWindow *child : GetChildren())
        if (child->AcceptsFocusFromKeyboard())
        {
            child->SetFocus();
            return;
        }
}

void wxCorvanDlg::RestorePlace()
{
    const std::optional<wxRect> place = FindPlace(m_name);
    if (!place)
    {
        CentreOnParent();
        return;
    }
    const wxSize size = m_canResize ? place->GetSize() : GetSize();
    wxSize atLeast = size;
    atLeast.IncTo(GetMinSize());
    PutInPlace(*this, PlaceOnScreen({place->GetPosition(), atLeast}, ListScreens()));
}

void wxCorvanDlg::EndModal(int result)
{
    Places()[m_name] = GetRect();
    if (result != 0)
        SavePlace(corvan::CorvanApp::Get()->Options(), SectionOf(m_name), GetRect());
    wxDialog::EndModal(result);
}

void wxCorvanDlg::ApplyColors()
{
    SetForegroundColour(wxcGetColor(color_Text));
    SetBackgroundColour(wxcGetColor(color_WindowBG));
    Refresh();
}

} // namespace wxcorvan
