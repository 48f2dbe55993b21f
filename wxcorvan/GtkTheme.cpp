#include "wxcorvan/GtkTheme.h"

#include <gtk/gtk.h>

namespace wxcorvan
{

void PreferDarkGtk(bool dark)
{
    if (GtkSettings *settings = gtk_settings_get_default())
        g_object_set(settings, "gtk-application-prefer-dark-theme", gboolean(dark), nullptr);
}

} // namespace wxcorvan
