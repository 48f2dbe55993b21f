#pragma once

/// Counts what GTK hands to this program: releases of keys and of mouse buttons. From now on.
void CountInput();

/// How many have been handled.
int ReleasesHandled();
