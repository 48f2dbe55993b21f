#pragma once

#include <wx/textctrl.h>

#include "wxcorvan/wxcColorManaged.h"

namespace wxcorvan
{

/// A text field in the theme's colours.
class wxcTextCtrl : public wxTextCtrl, public wxcColorManaged
{
public:
    wxcTextCtrl(wxWindow *parent, wxWindowID id, const wxString &value = {},
                const wxPoint &pos = wxDefaultPosition, const wxSize &size = wxDefaultSize,
                long style = 0, const wxValidator &validator = wxDefaultValidator,
                const wxString &name = wxTextCtrlNameStr);

    void ApplyColors() override;

protected:
    wxSize DoGetBestSize() const override;
};

/// How high a field of one line must be, in pixels, to show its font whole. The toolkit's own
/// answer leaves out that the desktop may enlarge all text.
int wxcLineHeight(const wxTextCtrl &field);

/// What a field of one line can hold, in bytes: the toolkit cuts a longer text in silence.
constexpr std::size_t k_TextLineBytes = 65'534;

/// From now on a field of one line refuses, with a bell and a warning line, to paste more than it
/// can hold. `wxcTextCtrl` does so by itself.
void wxcRefuseLongPaste(wxTextCtrl &field);

} // namespace wxcorvan
