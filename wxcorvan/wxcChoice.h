#pragma once

#include <wx/odcombo.h>

#include "wxcorvan/wxcColorManaged.h"

namespace wxcorvan
{

/// A choice of one text out of a list.
///
/// The items cannot be typed into. A change by the user is reported as wxEVT_COMBOBOX. Texts that
/// are wider than the control lose their middle; the tool tip shows the whole. `Thaw` without
/// `Freeze` does nothing.
class wxcChoice : public wxOwnerDrawnComboBox, public wxcColorManaged
{
public:
    wxcChoice(wxWindow *parent, wxWindowID id, const wxPoint &pos = wxDefaultPosition,
              const wxSize &size = wxDefaultSize, int n = 0, const wxString choices[] = nullptr,
              long style = 0, const wxValidator &validator = wxDefaultValidator,
              const wxString &name = "choice");
    wxcChoice(wxWindow *parent, wxWindowID id, const wxPoint &pos, const wxSize &size,
              const wxArrayString &choices, long style = 0,
              const wxValidator &validator = wxDefaultValidator, const wxString &name = "choice");

    /// Stops and resumes painting; `Thaw` undoes one `Freeze` of this control, and does nothing
    /// where there is none to undo (also while a parent is frozen).
    void Freeze();
    void Thaw();

    /// The text of the selected item; empty when none is.
    wxString GetStringSelection() const override
    {
        return wxItemContainerImmutable::GetStringSelection();
    }
    void Select(int n) override;
    /// Also while it is hidden: the toolkit asks but once, and the Tab key would pass the control
    /// by for ever.
    bool AcceptsFocusFromKeyboard() const override
    {
        return true;
    }
    void ApplyColors() override;

protected:
    void OnDrawItem(wxDC &dc, const wxRect &rect, int item, int flags) const override;
    void OnDrawBackground(wxDC &dc, const wxRect &rect, int item, int flags) const override;
    wxSize DoGetBestSize() const override;
    void DoClear() override;
    void DoDeleteOneItem(unsigned int n) override;

private:
    void Init();
    void ShowWholeTextAsTip();

    int m_freezes = 0;
};

} // namespace wxcorvan
