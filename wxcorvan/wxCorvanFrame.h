#pragma once

#include <wx/frame.h>

#include "wxcorvan/wxcColorManaged.h"

class wxInfoBarGeneric;

namespace wxcorvan
{

/// A top-level window that keeps its place from run to run and is told of the connection
/// (wxCORVAN_CONNECT_EVENT, wxCORVAN_DISCONNECT_EVENT).
class wxCorvanFrame : public wxFrame, public wxcColorManaged
{
public:
    wxCorvanFrame(wxWindow *parent, wxWindowID id, const wxString &title,
                  const wxPoint &pos = wxDefaultPosition, const wxSize &size = wxDefaultSize,
                  long style = wxDEFAULT_FRAME_STYLE, const wxString &name = wxFrameNameStr);
    /// The same with no parent and any identifier.
    wxCorvanFrame(const wxString &title, const wxPoint &pos, const wxSize &size,
                  long style = wxDEFAULT_FRAME_STYLE);

    /// Takes position and size (pixels) and whether it is maximised from the application's
    /// options: section "Window", keys "X", "Y", "Width", "Height", "Maximized". What is missing,
    /// or no sensible number, leaves the window as it is. A place that no screen shows any more is
    /// moved onto one; a size larger than the screen is cut to it.
    void LoadWindowPosition();

    /// Puts them there. The options are not written out. Of a maximised or minimised window the
    /// place that it had before is kept.
    void SaveWindowPosition();

    /// Shows a line above all else until the user closes it, another one comes, or `HideNotice`.
    /// For what went wrong elsewhere, such as a wish that the Master refused; it takes no keyboard
    /// focus. The frame must have its sizer by then; without one nothing is shown.
    void ShowNotice(const wxString &text);
    void HideNotice();
    /// The text of the notice that is shown; empty when there is none.
    wxString Notice() const;

    /// Colours window and status bar. A frame that wants others sets them after its construction.
    void ApplyColors() override;

protected:
    wxStatusBar *OnCreateStatusBar(int fields, long style, wxWindowID id,
                                   const wxString &name) override;

private:
    void Init();
    void RememberPlace();
    void OnKey(wxKeyEvent &event);
    void MoveKeyboard(bool forward);
    void FitNotice();

    wxInfoBarGeneric *m_notice = nullptr; // Made with the first notice.
    wxString m_noticeText;
    wxRect m_place; // The last one that was neither maximised nor minimised.
};

} // namespace wxcorvan
