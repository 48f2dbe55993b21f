#pragma once

class wxWindow;

/// The X identifier of the top-level window that a window is in. Apart from the rest since X's
/// headers define words that other headers use.
unsigned long XWindowOf(const wxWindow &window);

/// Whether the X server gives what is typed to a window of this program. The toolkit hears of it a
/// little later, and keys that come in between are lost.
bool HasServersKeyboard();
