#include "ui/SortArrows.h"

const char *const sortUp_xpm[] = {
    "12 12 3 1",         //
    " \ts None\tc None", //
    "x\tc #ffffff",      //
    "-\tc #F5AD7A",      //
    "     -      ",      //
    "     x      ",      //
    "    -x-     ",      //
    "    xxx     ",      //
    "   -xxx-    ",      //
    "   xxxxx    ",      //
    "  -xxxxx-   ",      //
    "  xxxxxxx   ",      //
    " -xxxxxxx-  ",      //
    " xxxxxxxxx  ",      //
    "-xxxxxxxxx- ",      //
    "            ",      //
};

const char *const sortDown_xpm[] = {
    "12 12 3 1",         //
    " \ts None\tc None", //
    "x\tc #ffffff",      //
    "-\tc #F5AD7A",      //
    "            ",      //
    "-xxxxxxxxx- ",      //
    " xxxxxxxxx  ",      //
    " -xxxxxxx-  ",      //
    "  xxxxxxx   ",      //
    "  -xxxxx-   ",      //
    "   xxxxx    ",      //
    "   -xxx-    ",      //
    "    xxx     ",      //
    "    -x-     ",      //
    "     x      ",      //
    "     -      ",      //
};
