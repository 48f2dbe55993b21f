#include "wxcorvan/wxcButton.h"

#include "wxcorvan/wxcColors.h"

namespace wxcorvan
{

wxcButton::wxcButton(wxWindow *parent, wxWindowID id, const wxString &label, const wxPoint &pos,
                     const wxSize &size, long style, const wxValidator &validator,
                     const wxString &name)
    : wxButton(parent, id, label, pos, size, style, validator, name)
{
    wxcButton::ApplyColors();
}

void wxcButton::ApplyColors()
{
    SetForegroundColour(wxcGetColor(color_Text));
    SetBackgroundColour(wxcGetColor(color_WindowBGLighter));
    Refresh();
}

} // namespace wxcorvan
