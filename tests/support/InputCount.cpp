#include "tests/support/InputCount.h"

#include <gtk/gtk.h>

namespace
{

int s_presses = 0;
int s_releases = 0;

void Handle(GdkEvent *event, gpointer /*unused*/)
{
    // The event may be gone when it has been handled.
    const GdkEventType type = event->type;
    gtk_main_do_event(event);
    s_presses += type == GDK_KEY_PRESS || type == GDK_BUTTON_PRESS ? 1 : 0;
    s_releases += type == GDK_KEY_RELEASE || type == GDK_BUTTON_RELEASE ? 1 : 0;
}

} // namespace

void CountInput()
{
    gdk_event_handler_set(Handle, nullptr, nullptr);
}

int PressesHandled()
{
    return s_presses;
}

int ReleasesHandled()
{
    return s_releases;
}
