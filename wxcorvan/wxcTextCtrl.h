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
};

} // namespace wxcorvan
