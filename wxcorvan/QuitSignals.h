#pragma once

#include <functional>

namespace wxcorvan
{

/// Has `quit` called on the main loop, outside of any signal handler, at each SIGTERM and SIGINT,
/// for as long as it lives.
class QuitSignals
{
public:
    explicit QuitSignals(std::function<void()> quit);
    ~QuitSignals();
    QuitSignals(const QuitSignals &) = delete;
    QuitSignals &operator=(const QuitSignals &) = delete;

private:
    std::function<void()> m_quit;
    unsigned m_terminate;
    unsigned m_interrupt;
};

} // namespace wxcorvan
