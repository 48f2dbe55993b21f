#include "wxcorvan/wxcTextCtrl.h"

#include "wxcorvan/wxcColors.h"

namespace wxcorvan
{

wxcTextCtrl::wxcTextCtrl(wxWindow *parent, wxWindowID id, const wxString &value, const wxPoint &pos,
                         const wxSize &size, long style, const wxValidator &validator,
                         const wxString &name)
    : wxTextCtrl(parent, id, value, pos, size, style, validator, name)
{
    wxcTextCtrl::ApplyColors();
}

void wxcTextCtrl::ApplyColors()
{
    SetForegroundColour(wxcGetColor(color_Text));
    SetBackgroundColour(wxcGetColor(color_FieldBG));
    Refresh();
}

} // namespace wxcorvan
