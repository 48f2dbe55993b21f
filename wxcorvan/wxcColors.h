#pragma once

#include <vector>

#include <wx/colour.h>

#include "ostrel/Path.h"

namespace wxcorvan
{

/// Names of the theme's colours, as the keys of share/colours/*.ini say them.
extern const ostrel::String color_WindowBG;        ///< Frames and dialogs.
extern const ostrel::String color_WindowBGLighter; ///< Status bar, buttons, choices.
extern const ostrel::String color_FieldBG;         ///< Where text is typed, list boxes.
extern const ostrel::String color_Text;            ///< Text everywhere; good frames.
extern const ostrel::String color_TextGrey;        ///< Missing frames; less important text.
extern const ostrel::String color_TextRed;         ///< Frames that are too small.
extern const ostrel::String color_TextOrange;      ///< Frames unlike their neighbours.
extern const ostrel::String color_ListBG;          ///< Rows of a list.
extern const ostrel::String color_ListHighlight;   ///< The highlighted column of a list.
extern const ostrel::String color_ListSelection;   ///< Selected rows of a list.
extern const ostrel::String color_ListFocus;       ///< Frame around the row with the keyboard.

/// The colour of that name in the current theme. An unknown name gives the text colour, after one
/// error line a name. Costs one hash look-up. Main thread.
wxColour wxcGetColor(const ostrel::String &name);

/// A set of colours, by its name in the options ("Window"/"Theme").
enum class ColorTheme
{
    Dark,
    Light,
};

/// The theme in use; dark until another one is chosen.
ColorTheme wxcGetTheme();

/// Makes a theme the current one: reads its colours from share/colours (what is missing or wrong
/// there keeps a built-in value, with a warning), recolours every live `wxcColorManaged`, and asks
/// GTK for its own dark or light variant, so that menus, headers and scroll bars fit. Main thread.
void wxcSetTheme(ColorTheme theme);

/// Reads the theme from a text: "Dark" or "Light" in any case. Anything else gives dark, with a
/// warning.
ColorTheme wxcParseTheme(const ostrel::String &text);

/// Every colour name, in the order above.
const std::vector<ostrel::String> &wxcColorNames();

} // namespace wxcorvan
