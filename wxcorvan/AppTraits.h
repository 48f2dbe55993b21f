#pragma once

#include <wx/apptrait.h>

namespace wxcorvan
{

/// What the toolkit has to say goes to the log, nothing to the screen.
class AppTraits : public wxGUIAppTraits
{
public:
    wxLog *CreateLogTarget() override;
    bool ShowAssertDialog(const wxString &text) override;
    bool SafeMessageBox(const wxString &text, const wxString &title) override;
};

} // namespace wxcorvan
