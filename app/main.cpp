#include <wx/app.h>

#include "app/Ordwick.h"

int main(int argc, char **argv)
{
    return wxEntry(argc, argv);
}
