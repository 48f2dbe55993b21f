#pragma once

#include <wx/button.h>

#include "wxcorvan/wxcColorManaged.h"

namespace wxcorvan
{

/// A push button in the theme's colours.
class wxcButton : public wxButton, public wxcColorManaged
{
public:
    wxcButton(wxWindow *parent, wxWindowID id, const wxString &label = {},
              const wxPoint &pos = wxDefaultPosition, const wxSize &size = wxDefaultSize,
              long style = 0, const wxValidator &validator = wxDefaultValidator,
              const wxString &name = wxButtonNameStr);

    void ApplyColors() override;
    bool Enable(bool enable = true) override;
};

} // namespace wxcorvan
