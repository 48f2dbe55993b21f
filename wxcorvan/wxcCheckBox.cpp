#include "wxcorvan/wxcCheckBox.h"

#include "wxcorvan/wxcColors.h"

namespace wxcorvan
{

wxcCheckBox::wxcCheckBox(wxWindow *parent, wxWindowID id, const wxString &label, const wxPoint &pos,
                         const wxSize &size, long style, const wxValidator &validator,
                         const wxString &name)
    : wxCheckBox(parent, id, label, pos, size, style, validator, name)
{
    wxcCheckBox::ApplyColors();
}

void wxcCheckBox::ApplyColors()
{
    SetForegroundColour(wxcGetColor(color_Text));
    SetBackgroundColour(wxcGetColor(color_WindowBG));
    Refresh();
}

} // namespace wxcorvan
