#pragma once

#include <wx/checkbox.h>

#include "wxcorvan/wxcColorManaged.h"

namespace wxcorvan
{

/// A check box in the theme's colours.
class wxcCheckBox : public wxCheckBox, public wxcColorManaged
{
public:
    wxcCheckBox(wxWindow *parent, wxWindowID id, const wxString &label,
                const wxPoint &pos = wxDefaultPosition, const wxSize &size = wxDefaultSize,
                long style = 0, const wxValidator &validator = wxDefaultValidator,
                const wxString &name = "checkBox");

    void ApplyColors() override;
};

} // namespace wxcorvan
