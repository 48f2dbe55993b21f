#pragma once

#include <wx/stattext.h>

#include "wxcorvan/wxcColorManaged.h"

namespace wxcorvan
{

/// A text in the theme's colours.
class wxcStaticText : public wxStaticText, public wxcColorManaged
{
public:
    wxcStaticText(wxWindow *parent, wxWindowID id, const wxString &label,
                  const wxPoint &pos = wxDefaultPosition, const wxSize &size = wxDefaultSize,
                  long style = 0, const wxString &name = "staticText");

    /// Shows the text in grey: of less importance.
    void SetQuiet(bool quiet);

    void ApplyColors() override;

private:
    bool m_quiet = false;
};

} // namespace wxcorvan
