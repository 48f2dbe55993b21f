#pragma once

// The arrows that show which column sorts, and which way: 12 x 12 pixels, three colours.

extern const char *const sortUp_xpm[];
extern const char *const sortDown_xpm[];
