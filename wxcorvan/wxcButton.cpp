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
    // A colour of its own takes the toolkit's look of disabled buttons away.
    SetForegroundColour(wxcGetColor(IsThisEnabled() ? color_Text : color_TextGrey));
    SetBackgroundColour(wxcGetColor(IsThisEnabled() ? color_WindowBGLighter : color_WindowBG));
    Refresh();
}

bool wxcButton::Enable(bool enable)
{
    const bool isChanged = wxButton::Enable(enable);
    ApplyColors();
    return isChanged;
}

} // namespace wxcorvan
