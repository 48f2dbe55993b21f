#pragma once

namespace wxcorvan
{

/// Asks GTK for the dark or the light variant of the desktop's theme, for what GTK itself draws:
/// menus, list headers, scroll bars, file selectors. Nothing where there is no display.
void PreferDarkGtk(bool dark);

} // namespace wxcorvan
