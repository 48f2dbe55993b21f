#pragma once

#include <wx/dialog.h>
#include <wx/sizer.h>

#include "ostrel/String.h"
#include "wxcorvan/wxcColorManaged.h"

namespace wxcorvan
{

class wxcStaticText;

/// A modal dialog: controls first, a row of buttons below.
///
/// OK ends it with wxID_OK; Cancel, Escape and closing it end it with 0. Enter presses OK. The
/// first field has the keyboard. Where it stood is remembered under its name: for the rest of the
/// run, and in the options (section "Dialog NAME") once it was accepted, so that a cancelled
/// dialog leaves the options alone.
class wxCorvanDlg : public wxDialog, public wxcColorManaged
{
public:
    /// `canResize`: the user may change the size, and it is remembered with the position.
    wxCorvanDlg(wxWindow *parent, const wxString &title, const ostrel::String &name,
                bool canResize);

    /// The vertical sizer for the controls; call it once, first.
    wxBoxSizer *StartControls();

    /// A new text for the dialog's sizers.
    ///
    /// `isHeading`: bold. `isQuiet`: grey. `wrapWidth`: lines are broken at so many pixels, 0 for
    /// never. `style`: of the static text. `parent`: null for the dialog itself.
    wxcStaticText *NewStatic(const wxString &label, bool isHeading = false, bool isQuiet = false,
                             int wrapWidth = 0, long style = 0, wxWindow *parent = nullptr);

    /// Adds the buttons below the controls, lays the dialog out and puts it in its place; call it
    /// last. `hasCancel`: OK and Cancel, else OK alone. `controls` is what `StartControls` gave.
    void AddButtons(wxBoxSizer *controls, bool hasCancel);

    /// The same with Cancel alone.
    void AddCancel(wxBoxSizer *controls);

    /// Remembers the place, then ends the dialog.
    void EndModal(int result) override;

    void ApplyColors() override;

private:
    void OnKey(wxKeyEvent &event);
    void OnActivate(wxActivateEvent &event);
    void Cancel();
    void AddButtonRow(wxBoxSizer *controls, std::initializer_list<wxWindowID> ids);
    void FocusFirstField();
    void RestorePlace();

    ostrel::String m_name;
    bool m_canResize;
};

} // namespace wxcorvan
