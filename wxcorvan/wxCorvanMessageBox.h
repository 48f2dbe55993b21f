#pragma once

#include <wx/string.h>

#include "ostrel/String.h"

class wxWindow;

namespace wxcorvan
{

/// Shows a message, modally, under the program's name.
///
/// With a `key` it offers "Do not show again"; the answer is kept in the options, section
/// "Messages", as key = No, and a message whose key says no is not shown. `parent` may be null.
void wxCorvanMessageBox(wxString message, ostrel::String key, wxWindow *parent);

} // namespace wxcorvan
