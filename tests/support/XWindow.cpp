#include "tests/support/XWindow.h"

#include <gdk/gdkx.h>
#include <gtk/gtk.h>

#include <wx/window.h>

unsigned long XWindowOf(const wxWindow &window)
{
    GtkWidget *top = gtk_widget_get_toplevel(window.GetHandle());
    return gdk_x11_window_get_xid(gtk_widget_get_window(top));
}

bool HasServersKeyboard()
{
    GdkDisplay *const display = gdk_display_get_default();
    Window window = None;
    int whenItGoes = 0;
    XGetInputFocus(gdk_x11_display_get_xdisplay(display), &window, &whenItGoes);
    return gdk_x11_window_lookup_for_display(display, window) != nullptr;
}
