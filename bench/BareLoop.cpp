#include "bench/BareLoop.h"

#include <sys/stat.h>

#include <wx/evtloop.h>
#include <wx/gauge.h>
#include <wx/sizer.h>

namespace bench
{

bool BareApp::ProcessIdle()
{
    if (wxApp::ProcessIdle())
        wxWakeUpIdle();
    return false;
}

BareLoop::BareLoop() : wxFrame(nullptr, wxID_ANY, "Bare", {0, 0}, {600, 400})
{
    CreateStatusBar(3);
    m_gauge = new wxGauge(this, wxID_ANY, 1, wxDefaultPosition, wxSize(-1, 10));
    SetSizer(new wxBoxSizer(wxVERTICAL));
    GetSizer()->Add(m_gauge, 0, wxEXPAND);
    Bind(wxEVT_IDLE, &BareLoop::OnIdle, this);
    Show();
}

void BareLoop::RunPass(const std::vector<std::string> &paths)
{
    wxGUIEventLoop loop;
    m_paths = &paths;
    m_loop = &loop;
    m_index = 0;
    m_missing = 0;
    m_tooSmall = 0;
    m_gauge->SetRange(int(paths.size()));
    wxWakeUpIdle();
    loop.Run();
    m_paths = nullptr;
}

void BareLoop::OnIdle(wxIdleEvent &event)
{
    event.Skip();
    if (!m_paths)
        return;
    if (m_index == m_paths->size())
    {
        m_loop->ScheduleExit();
        return;
    }

    struct stat status;
    if (stat((*m_paths)[m_index].c_str(), &status) != 0)
        ++m_missing;
    else if (status.st_size < 500)
        ++m_tooSmall;

    ++m_index;
    event.RequestMore();
    m_gauge->SetValue(int(m_index));
    SetStatusText(wxString::Format("%llu Files", (unsigned long long)(m_paths->size())), 0);
    SetStatusText(wxString::Format("%llu Missing", m_missing), 1);
    SetStatusText(wxString::Format("%llu Too Small", m_tooSmall), 2);
}

} // namespace bench
