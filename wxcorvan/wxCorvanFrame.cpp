#include "wxcorvan/wxCorvanFrame.h"

#include <algorithm>

#include <wx/infobar.h>
#include <wx/sizer.h>
#include <wx/stattext.h>
#include <wx/statusbr.h>

#include "corvan/CorvanApp.h"
#include "ostrel/CallEntry.h"
#include "wxcorvan/WindowPlace.h"
#include "wxcorvan/wxcColors.h"

namespace wxcorvan
{

using namespace ostrel;

namespace
{

const char *const k_section = "Window";

/// What a notice has beside its text, icon, button and gaps, in pixels at 100 %.
constexpr int k_beside_notice = 110;

/// The toolkit paints a new text before it returns, which takes longer than all else that is done
/// for a file; here the next repaint shows it. While a window is far too narrow, as before it has
/// got its size, the toolkit would also ask for fields of less than no width to be painted, about
/// which its libraries complain.
class StatusBar : public wxStatusBar
{
public:
    using wxStatusBar::wxStatusBar;

protected:
    void DoUpdateStatusText(int field) override
    {
        wxRect place;
        if (GetFieldRect(field, place) && place.width > 0 && place.height > 0)
            RefreshRect(place);
    }
};

} // namespace

wxCorvanFrame::wxCorvanFrame(wxWindow *parent, wxWindowID id, const wxString &title,
                             const wxPoint &pos, const wxSize &size, long style,
                             const wxString &name)
    : wxFrame(parent, id, title, pos, size, style, name)
{
    Init();
}

wxCorvanFrame::wxCorvanFrame(const wxString &title, const wxPoint &pos, const wxSize &size,
                             long style)
    : wxFrame(nullptr, wxID_ANY, title, pos, size, style)
{
    Init();
}

void wxCorvanFrame::Init()
{
    m_deferShow = false; // See PutInPlace.
    m_place = GetRect();
    Bind(wxEVT_MOVE,
         [this](wxMoveEvent &event)
         {
             RememberPlace();
             event.Skip();
         });
    Bind(wxEVT_SIZE,
         [this](wxSizeEvent &event)
         {
             RememberPlace();
             event.Skip();
         });
    Bind(wxEVT_CHAR_HOOK, &wxCorvanFrame::OnKey, this);
    wxCorvanFrame::ApplyColors();
}

void wxCorvanFrame::OnKey(wxKeyEvent &event)
{
    // F6 is the desktop's key for the next part of a window. The toolkit leads Tab round a dialog,
    // but not round a frame.
    const int key = event.GetKeyCode();
    if ((key == WXK_F6 || key == WXK_TAB) && !event.ControlDown() && !event.AltDown())
        MoveKeyboard(!event.ShiftDown());
    else
        event.Skip();
}

void wxCorvanFrame::MoveKeyboard(bool forward)
{
    std::vector<wxWindow *> parts;
    for (wxWindow *child : GetChildren())
        if (child->IsShown() && child->CanAcceptFocusFromKeyboard())
            parts.push_back(child);
    if (parts.empty())
        return;

    wxWindow *const focus = FindFocus();
    const auto now =
        std::find_if(parts.begin(), parts.end(),
                     [focus](const wxWindow *part) { return focus && part->IsDescendant(focus); });
    // From no part to the first, or the last.
    const std::size_t count = parts.size();
    const std::size_t index = now == parts.end() ? (forward ? count - 1 : 0) : now - parts.begin();
    parts[(index + (forward ? 1 : count - 1)) % count]->SetFocusFromKbd();
}

wxStatusBar *wxCorvanFrame::OnCreateStatusBar(int fields, long style, wxWindowID id,
                                              const wxString &name)
{
    auto *bar = new StatusBar(this, id, style, name);
    bar->SetFieldsCount(fields);
    return bar;
}

void wxCorvanFrame::RememberPlace()
{
    if (!IsMaximized() && !IsIconized() && !IsFullScreen())
        m_place = GetRect();
}

void wxCorvanFrame::LoadWindowPosition()
{
    _CallEntry call("wxCorvanFrame::LoadWindowPosition", __FILE__, __LINE__);

    const OptionsFile &options = corvan::CorvanApp::Get()->Options();
    if (const std::optional<wxRect> place = LoadPlace(options, k_section))
        PutInPlace(*this, PlaceOnScreen(*place, ListScreens()));
    if (options.GetValue(k_section, "Maximized", false))
        Maximize();
}

void wxCorvanFrame::SaveWindowPosition()
{
    _CallEntry call("wxCorvanFrame::SaveWindowPosition", __FILE__, __LINE__);

    RememberPlace();
    OptionsFile &options = corvan::CorvanApp::Get()->Options();
    SavePlace(options, k_section, m_place);
    options.SetValue("Maximized", IsMaximized() ? k_Yes : k_No);
}

void wxCorvanFrame::ShowNotice(const wxString &text)
{
    _CallEntry call("wxCorvanFrame::ShowNotice", __FILE__, __LINE__);

    if (!GetSizer())
        return;
    if (!m_notice)
    {
        // The toolkit's own bar: GTK's slides in, over what moves away below it.
        m_notice = new wxInfoBarGeneric(this);
        m_notice->SetShowHideEffects(wxSHOW_EFFECT_NONE, wxSHOW_EFFECT_NONE);
        GetSizer()->Insert(0, m_notice, 0, wxEXPAND);
        ApplyColors();
    }
    m_noticeText = text;
    m_notice->ShowMessage(text, wxICON_WARNING);
    FitNotice();
}

void wxCorvanFrame::FitNotice()
{
    // The toolkit keeps the text in one line, which pushes its end and the close button out.
    for (wxWindow *child : m_notice->GetChildren())
        if (auto *line = dynamic_cast<wxStaticText *>(child))
            line->Wrap(GetClientSize().x - FromDIP(k_beside_notice));
    Layout();
}

void wxCorvanFrame::HideNotice()
{
    _CallEntry call("wxCorvanFrame::HideNotice", __FILE__, __LINE__);

    if (m_notice && m_notice->IsShown())
        m_notice->Dismiss();
}

wxString wxCorvanFrame::Notice() const
{
    _CallEntry call("wxCorvanFrame::Notice", __FILE__, __LINE__);

    return m_notice && m_notice->IsShown() ? m_noticeText : wxString();
}

void wxCorvanFrame::ApplyColors()
{
    SetForegroundColour(wxcGetColor(color_Text));
    SetBackgroundColour(wxcGetColor(color_WindowBG));
    if (m_notice)
    {
        m_notice->SetBackgroundColour(wxcGetColor(color_WindowBGLighter));
        m_notice->SetForegroundColour(wxcGetColor(color_TextOrange));
    }
    if (wxStatusBar *statusBar = GetStatusBar())
    {
        statusBar->SetForegroundColour(wxcGetColor(color_Text));
        statusBar->SetBackgroundColour(wxcGetColor(color_WindowBGLighter));
        statusBar->Refresh();
    }
    Refresh();
}

} // namespace wxcorvan
