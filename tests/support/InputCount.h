#pragma once

/// Counts what GTK hands to this program: what goes down and what comes up again of keys and mouse
/// buttons. From now on.
void CountInput();

/// How many have been handled.
int PressesHandled();
int ReleasesHandled();
