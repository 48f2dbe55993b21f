#pragma once

#include <optional>
#include <vector>

#include <wx/gdicmn.h>

#include "ostrel/IniFile.h"

class wxTopLevelWindow;

namespace wxcorvan
{

/// Reads "X", "Y", "Width" and "Height" (pixels) of a section. Nothing where one is missing or the
/// size is not between 1 and 32,767.
std::optional<wxRect> LoadPlace(const ostrel::IniFile &options, const ostrel::String &section);

/// Puts them there. Nothing is written out.
void SavePlace(ostrel::IniFile &options, const ostrel::String &section, const wxRect &place);

/// The place moved and cut so that it lies wholly on one screen: the one that shows most of it, or
/// the first where none shows a corner of 100 x 40 pixels. `screens` are their usable areas; with
/// none, the place as it is.
wxRect PlaceOnScreen(const wxRect &place, const std::vector<wxRect> &screens);

/// Gives a window that is not yet shown its place, and once more when it becomes active for the
/// first time: how wide its frame is, and so its size, is a guess until then, and some window
/// managers move a program's first window as they frame it. The toolkit's own cure, to show the
/// window only when the window manager has told of its frame, now and then loses place and size;
/// windows that are put in place switch it off.
void PutInPlace(wxTopLevelWindow &window, const wxRect &place);

/// The usable areas of all screens, the primary one first.
std::vector<wxRect> ListScreens();

} // namespace wxcorvan
