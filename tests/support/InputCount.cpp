#include "tests/support/InputCount.h"

#include <gtk/gtk.h>

namespace
{

int s_releases = 0;

void Handle(GdkEvent *event, gpointer /*unused*/)
{
    const bool isRelease = event->type == GDK_KEY_RELEASE || event->type == GDK_BUTTON_RELEASE;
    gtk_main_do_event(event);
    s_releases += isRelease ? 1 : 0;
}

} // namespace

void CountInput()
{
    gdk_event_handler_set(Handle, nullptr, nullptr);
}

int ReleasesHandled()
{
    return s_releases;
}
