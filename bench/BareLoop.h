#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <wx/app.h>
#include <wx/frame.h>

class wxGauge;
class wxGUIEventLoop;

namespace bench
{

/// An application for it. It goes on with idle work the way `wxcorvan::wxCorvanApp` does: the way
/// of the toolkit's own grows slower from pass to pass, and would make whatever is beside it look
/// good.
class BareApp : public wxApp
{
public:
    bool ProcessIdle() override;
};

/// The yardstick of a pass: a window with a gauge and a status bar and nothing else, whose idle
/// handler stats one file, sets the gauge and the status bar's three texts, and asks for more.
class BareLoop : public wxFrame
{
public:
    BareLoop();

    /// One pass over these files, with an event loop.
    void RunPass(const std::vector<std::string> &paths);

private:
    void OnIdle(wxIdleEvent &event);

    const std::vector<std::string> *m_paths = nullptr;
    std::size_t m_index = 0;
    unsigned long long m_missing = 0;
    unsigned long long m_tooSmall = 0;
    wxGauge *m_gauge;
    wxGUIEventLoop *m_loop = nullptr;
};

} // namespace bench
