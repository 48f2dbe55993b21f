#pragma once

#include <cstddef>
#include <functional>

#include <wx/timer.h>

#include "wxcorvan/wxCorvanDlg.h"

namespace wxcorvan
{
class wxcGauge;
class wxcStaticText;
} // namespace wxcorvan

/// Does a long work on the main thread piece by piece, between what the user does, and shows how
/// far it is. Cancel ends it between two pieces.
class ProgressDlg : public wxcorvan::wxCorvanDlg
{
public:
    /// `text` is shown with "{done}" and "{all}" replaced by numbers.
    ProgressDlg(wxWindow *parent, const wxString &title, const wxString &text, std::size_t all);

    /// Shows the dialog until all is done or it is cancelled, which is false. `done` is what was
    /// done before. `piece` does some more, throws nothing, and tells how much is done in all; the
    /// window stands still for as long as it takes.
    bool Run(std::size_t done, std::function<std::size_t()> piece);

    /// How much is done.
    std::size_t Done() const
    {
        return m_done;
    }

private:
    void OnTimer(wxTimerEvent &event);
    void ShowDone(std::size_t done);

    wxTimer m_timer;
    wxString m_text;
    std::size_t m_all;
    std::size_t m_done = 0;
    std::function<std::size_t()> m_piece;
    wxcorvan::wxcStaticText *m_label = nullptr;
    wxcorvan::wxcGauge *m_gauge = nullptr;
};
