#include "wxcorvan/wxcListBox.h"

#include "wxcorvan/wxcColors.h"

namespace wxcorvan
{

wxcListBox::wxcListBox(wxWindow *parent, wxWindowID id, const wxPoint &pos, const wxSize &size,
                       int n, const wxString choices[], long style, const wxValidator &validator,
                       const wxString &name)
    : wxListBox(parent, id, pos, size, n, choices, style, validator, name)
{
    wxcListBox::ApplyColors();
}

wxcListBox::wxcListBox(wxWindow *parent, wxWindowID id, const wxPoint &pos, const wxSize &size,
                       const wxArrayString &choices, long style, const wxValidator &validator,
                       const wxString &name)
    : wxListBox(parent, id, pos, size, choices, style, validator, name)
{
    wxcListBox::ApplyColors();
}

void wxcListBox::DoDeleteOneItem(unsigned int item)
{
    wxListBox::DoDeleteOneItem(item);
    ForgetLastSelection();
}

void wxcListBox::DoClear()
{
    wxListBox::DoClear();
    ForgetLastSelection();
}

void wxcListBox::ForgetLastSelection()
{
    if (!HasMultipleSelection())
        DoChangeSingleSelection(GetSelection());
}

void wxcListBox::ApplyColors()
{
    SetForegroundColour(wxcGetColor(color_Text));
    SetBackgroundColour(wxcGetColor(color_FieldBG));
    Refresh();
}

} // namespace wxcorvan
