#pragma once

class wxWindow;

/// The X identifier of the top-level window that a window is in. Apart from the rest since X's
/// headers define words that other headers use.
unsigned long XWindowOf(const wxWindow &window);
