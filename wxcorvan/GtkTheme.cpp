#include "wxcorvan/GtkTheme.h"

#include <gtk/gtk.h>

namespace wxcorvan
{

void PreferDarkGtk(bool dark)
{
    if (GtkSettings *settings = gtk_settings_get_default())
        g_object_set(settings, "gtk-application-prefer-dark-theme", gboolean(dark), nullptr);
}

wxColour GtkTextColor()
{
    // The toolkit's own answer is the one of the theme that the program started with.
    GtkWidget *button = GTK_WIDGET(g_object_ref_sink(gtk_button_new()));
    GdkRGBA color;
    gtk_style_context_get_color(gtk_widget_get_style_context(button), GTK_STATE_FLAG_NORMAL,
                                &color);
    gtk_widget_destroy(button);
    g_object_unref(button);
    return wxColour(color);
}

} // namespace wxcorvan
