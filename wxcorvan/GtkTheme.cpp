#include "wxcorvan/GtkTheme.h"

#include <gtk/gtk.h>

namespace wxcorvan
{

namespace
{

/// The lines between the groups of a menu, which the usual dark theme draws next to invisible.
const char *const k_style = "menu separator { background-color: alpha(currentColor, 0.3);"
                            " min-height: 1px; }";

void UseStyle()
{
    GdkScreen *screen = gdk_screen_get_default();
    static GtkCssProvider *s_provider = nullptr;
    if (!screen || s_provider)
        return;
    s_provider = gtk_css_provider_new();
    gtk_css_provider_load_from_data(s_provider, k_style, -1, nullptr);
    gtk_style_context_add_provider_for_screen(screen, GTK_STYLE_PROVIDER(s_provider),
                                              GTK_STYLE_PROVIDER_PRIORITY_APPLICATION);
}

} // namespace

void PreferDarkGtk(bool dark)
{
    UseStyle();
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
