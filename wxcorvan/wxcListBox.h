#pragma once

#include <wx/listbox.h>

#include "wxcorvan/wxcColorManaged.h"

namespace wxcorvan
{

/// A list box in the theme's colours.
class wxcListBox : public wxListBox, public wxcColorManaged
{
public:
    wxcListBox(wxWindow *parent, wxWindowID id, const wxPoint &pos = wxDefaultPosition,
               const wxSize &size = wxDefaultSize, int n = 0, const wxString choices[] = nullptr,
               long style = 0, const wxValidator &validator = wxDefaultValidator,
               const wxString &name = "listBox");
    wxcListBox(wxWindow *parent, wxWindowID id, const wxPoint &pos, const wxSize &size,
               const wxArrayString &choices, long style = 0,
               const wxValidator &validator = wxDefaultValidator, const wxString &name = "listBox");

    void ApplyColors() override;

protected:
    // The toolkit reports no selection of a row with the number of the one that was selected last,
    // also when that one has gone meanwhile.
    void DoDeleteOneItem(unsigned int item) override;
    void DoClear() override;

private:
    void ForgetLastSelection();
};

} // namespace wxcorvan
