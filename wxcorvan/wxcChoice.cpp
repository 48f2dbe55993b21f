#include "wxcorvan/wxcChoice.h"

#include <wx/dc.h>

#include "wxcorvan/wxcColors.h"

namespace wxcorvan
{

namespace
{

/// Space between frame and text, in pixels at 100 %.
constexpr int k_text_margin = 4;

/// Narrower than this is of no use; the window gives the control the room that it has.
constexpr int k_min_width = 120;

} // namespace

wxcChoice::wxcChoice(wxWindow *parent, wxWindowID id, const wxPoint &pos, const wxSize &size, int n,
                     const wxString choices[], long style, const wxValidator &validator,
                     const wxString &name)
    : wxOwnerDrawnComboBox(parent, id, wxString(), pos, size, n, choices, style | wxCB_READONLY,
                           validator, name)
{
    Init();
}

wxcChoice::wxcChoice(wxWindow *parent, wxWindowID id, const wxPoint &pos, const wxSize &size,
                     const wxArrayString &choices, long style, const wxValidator &validator,
                     const wxString &name)
    : wxOwnerDrawnComboBox(parent, id, wxString(), pos, size, choices, style | wxCB_READONLY,
                           validator, name)
{
    Init();
}

void wxcChoice::Init()
{
    Bind(wxEVT_COMBOBOX,
         [this](wxCommandEvent &event)
         {
             ShowWholeTextAsTip();
             event.Skip();
         });
    wxcChoice::ApplyColors();
}

void wxcChoice::Freeze()
{
    ++m_freezes;
    wxOwnerDrawnComboBox::Freeze();
}

void wxcChoice::Thaw()
{
    if (m_freezes == 0)
        return;

    --m_freezes;
    wxOwnerDrawnComboBox::Thaw();
}

void wxcChoice::Select(int n)
{
    wxOwnerDrawnComboBox::Select(n);
    ShowWholeTextAsTip();
}

void wxcChoice::DoClear()
{
    wxOwnerDrawnComboBox::DoClear();
    ShowWholeTextAsTip();
}

void wxcChoice::DoDeleteOneItem(unsigned int n)
{
    wxOwnerDrawnComboBox::DoDeleteOneItem(n);
    ShowWholeTextAsTip();
}

void wxcChoice::ShowWholeTextAsTip()
{
    const wxString text = GetStringSelection();
    if (text.empty())
        UnsetToolTip();
    else
        SetToolTip(text);
}

void wxcChoice::ApplyColors()
{
    SetForegroundColour(wxcGetColor(color_Text));
    SetBackgroundColour(wxcGetColor(color_FieldBG));
    if (wxWindow *list = GetVListBoxComboPopup() ? GetVListBoxComboPopup()->GetControl() : nullptr)
        list->SetBackgroundColour(wxcGetColor(color_FieldBG));
    Refresh();
}

void wxcChoice::OnDrawItem(wxDC &dc, const wxRect &rect, int item, int /*flags*/) const
{
    if (item == wxNOT_FOUND)
        return;

    dc.SetTextForeground(wxcGetColor(color_Text));
    const int margin = FromDIP(k_text_margin);
    const wxString text = wxControl::Ellipsize(GetString(item), dc, wxELLIPSIZE_MIDDLE,
                                               rect.width - 2 * margin, wxELLIPSIZE_FLAGS_NONE);
    const int top = rect.y + (rect.height - dc.GetTextExtent(text).y) / 2;
    dc.DrawText(text, rect.x + margin, top);
}

void wxcChoice::OnDrawBackground(wxDC &dc, const wxRect &rect, int item, int flags) const
{
    const bool isControl = flags & wxODCB_PAINTING_CONTROL;
    const bool isMarked = !isControl && (flags & wxODCB_PAINTING_SELECTED) && item != wxNOT_FOUND;
    const bool hasKeyboard = isControl && HasFocus();

    dc.SetBrush(wxcGetColor(isMarked ? color_ListSelection : color_FieldBG));
    dc.SetPen(hasKeyboard ? wxPen(wxcGetColor(color_ListFocus)) : *wxTRANSPARENT_PEN);
    dc.DrawRectangle(rect);
}

wxSize wxcChoice::DoGetBestSize() const
{
    const wxSize whole = wxOwnerDrawnComboBox::DoGetBestSize();
    return {FromDIP(k_min_width), whole.y};
}

} // namespace wxcorvan
