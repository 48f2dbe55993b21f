#include "wxcorvan/wxcTextCtrl.h"

#include <wx/clipbrd.h>
#include <wx/utils.h>

#include "ostrel/Log.h"
#include "wxcorvan/wxcColors.h"

namespace wxcorvan
{

namespace
{

/// Between text and edge, above and below together, in pixels at 100 %.
constexpr int k_aroundText = 10;

/// Length of the clipboard's text in bytes; 0 where it holds none.
std::size_t ClipboardBytes()
{
    const wxClipboardLocker lock;
    wxTextDataObject data;
    return !!lock && wxTheClipboard->GetData(data) ? data.GetText().utf8_string().size() : 0;
}

} // namespace

wxcTextCtrl::wxcTextCtrl(wxWindow *parent, wxWindowID id, const wxString &value, const wxPoint &pos,
                         const wxSize &size, long style, const wxValidator &validator,
                         const wxString &name)
    : wxTextCtrl(parent, id, value, pos, size, style, validator, name)
{
    wxcTextCtrl::ApplyColors();
    wxcRefuseLongPaste(*this);
    // The base has settled on a size by its own answer.
    InvalidateBestSize();
    SetInitialSize(size);
}

void wxcTextCtrl::ApplyColors()
{
    SetForegroundColour(wxcGetColor(color_Text));
    SetBackgroundColour(wxcGetColor(color_FieldBG));
    Refresh();
}

wxSize wxcTextCtrl::DoGetBestSize() const
{
    wxSize best = wxTextCtrl::DoGetBestSize();
    best.IncTo(wxSize(-1, wxcLineHeight(*this)));
    return best;
}

int wxcLineHeight(const wxTextCtrl &field)
{
    return field.GetCharHeight() + field.FromDIP(k_aroundText);
}

void wxcRefuseLongPaste(wxTextCtrl &field)
{
    field.Bind(wxEVT_TEXT_PASTE,
               [&field](wxClipboardTextEvent &event)
               {
                   const std::size_t bytes = ClipboardBytes();
                   if (field.IsMultiLine() ||
                       bytes + field.GetValue().utf8_string().size() <= k_TextLineBytes)
                   {
                       event.Skip();
                       return;
                   }
                   wxBell();
                   ostrel::LogWarning("A text of " + std::to_string(bytes) +
                                      " bytes is too long for this field and was not pasted");
               });
}

} // namespace wxcorvan
