#include "dialogs/ProgressDlg.h"

#include "ostrel/CallEntry.h"
#include "wxcorvan/wxcGauge.h"
#include "wxcorvan/wxcStaticText.h"

using namespace ostrel;
using namespace wxcorvan;

namespace
{

/// In pixels at 100 %.
constexpr int k_width = 360;
constexpr int k_gauge_height = 10;
constexpr int k_border = 12;

/// Between two pieces, for what the user does meanwhile.
constexpr int k_pause_ms = 1;

/// Of the gauge, whatever there is to count.
constexpr int k_steps = 10'000;

} // namespace

ProgressDlg::ProgressDlg(wxWindow *parent, const wxString &title, const wxString &text,
                         std::size_t all)
    : wxCorvanDlg(parent, title, "Progress", false), m_text(text), m_all(all)
{
    _CallEntry call("ProgressDlg::ProgressDlg", __FILE__, __LINE__);

    wxBoxSizer *controls = StartControls();
    m_label = NewStatic(wxString(), false, false, 0, wxST_NO_AUTORESIZE);
    controls->Add(m_label, 0, wxEXPAND | wxALL, FromDIP(k_border));
    m_gauge = new wxcGauge(this, wxID_ANY, k_steps, wxDefaultPosition,
                           FromDIP(wxSize(k_width, k_gauge_height)), wxGA_HORIZONTAL);
    controls->Add(m_gauge, 0, wxEXPAND | wxLEFT | wxRIGHT, FromDIP(k_border));
    ShowDone(0);
    AddCancel(controls);
    m_timer.SetOwner(this);
    Bind(wxEVT_TIMER, &ProgressDlg::OnTimer, this);
}

bool ProgressDlg::Run(std::size_t done, std::function<std::size_t()> piece)
{
    _CallEntry call("ProgressDlg::Run", __FILE__, __LINE__);

    m_piece = std::move(piece);
    ShowDone(done);
    m_timer.StartOnce(k_pause_ms);
    ShowModal();
    return m_done >= m_all;
}

void ProgressDlg::OnTimer(wxTimerEvent & /*event*/)
{
    _CallEntry call("ProgressDlg::OnTimer", __FILE__, __LINE__);

    if (!IsModal())
        return;
    ShowDone(m_piece());
    if (m_done >= m_all)
        EndModal(0); // Not as one that was accepted: its place is nothing to keep.
    else
        m_timer.StartOnce(k_pause_ms);
}

void ProgressDlg::ShowDone(std::size_t done)
{
    _CallEntry call("ProgressDlg::ShowDone", __FILE__, __LINE__);

    m_done = done;
    wxString text = m_text;
    text.Replace("{done}", std::to_string(m_done));
    text.Replace("{all}", std::to_string(m_all));
    m_label->SetLabel(text);
    m_gauge->SetValue(m_all > 0 ? int(m_done * k_steps / m_all) : k_steps);
}
