#pragma once

#include <wx/colour.h>

namespace wxcorvan
{

/// Asks GTK for the dark or the light variant of the desktop's theme, for what GTK itself draws:
/// menus, list headers, scroll bars, file selectors; and has it draw the lines between a menu's
/// groups so that they can be seen in either. Nothing where there is no display.
void PreferDarkGtk(bool dark);

/// The colour of text on what GTK itself draws, such as list headers, in the variant that it uses
/// now: the desktop's theme may have no dark one.
wxColour GtkTextColor();

} // namespace wxcorvan
