#include "wxcorvan/QuitSignals.h"

#include <csignal>
#include <glib-unix.h>

namespace wxcorvan
{

namespace
{

gboolean CallQuit(gpointer quit)
{
    (*static_cast<std::function<void()> *>(quit))();
    return G_SOURCE_CONTINUE;
}

} // namespace

QuitSignals::QuitSignals(std::function<void()> quit)
    : m_quit(std::move(quit)), m_terminate(g_unix_signal_add(SIGTERM, CallQuit, &m_quit)),
      m_interrupt(g_unix_signal_add(SIGINT, CallQuit, &m_quit))
{
}

QuitSignals::~QuitSignals()
{
    g_source_remove(m_terminate);
    g_source_remove(m_interrupt);
}

} // namespace wxcorvan
