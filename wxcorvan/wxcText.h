#pragma once

#include <wx/string.h>

#include "ostrel/String.h"

namespace wxcorvan
{

/// A text for the toolkit. Bytes that are no UTF-8, as a file's name may hold, become the
/// replacement character U+FFFD; the rest of the text stays readable.
wxString wxcFromText(const ostrel::String &text);

} // namespace wxcorvan
