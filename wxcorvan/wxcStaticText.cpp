#include "wxcorvan/wxcStaticText.h"

#include "wxcorvan/wxcColors.h"

namespace wxcorvan
{

wxcStaticText::wxcStaticText(wxWindow *parent, wxWindowID id, const wxString &label,
                             const wxPoint &pos, const wxSize &size, long style,
                             const wxString &name)
    : wxStaticText(parent, id, label, pos, size, style, name)
{
    wxcStaticText::ApplyColors();
}

void wxcStaticText::SetQuiet(bool quiet)
{
    m_quiet = quiet;
    ApplyColors();
}

void wxcStaticText::ApplyColors()
{
    SetForegroundColour(wxcGetColor(m_quiet ? color_TextGrey : color_Text));
    SetBackgroundColour(wxcGetColor(color_WindowBG));
    Refresh();
}

} // namespace wxcorvan
