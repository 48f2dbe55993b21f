#include "wxcorvan/wxcColors.h"

#include <algorithm>
#include <array>
#include <memory>
#include <set>
#include <unordered_map>

#include "ostrel/CallEntry.h"
#include "ostrel/Exception.h"
#include "ostrel/File.h"
#include "ostrel/Folders.h"
#include "ostrel/IniFile.h"
#include "ostrel/Log.h"
#include "wxcorvan/GtkTheme.h"
#include "wxcorvan/wxcColorManaged.h"

namespace wxcorvan
{

using namespace ostrel;

const String color_WindowBG = "WindowBG";
const String color_WindowBGLighter = "WindowBGLighter";
const String color_FieldBG = "FieldBG";
const String color_Text = "Text";
const String color_TextGrey = "TextGrey";
const String color_TextRed = "TextRed";
const String color_TextOrange = "TextOrange";
const String color_ListBG = "ListBG";
const String color_ListHighlight = "ListHighlight";
const String color_ListSelection = "ListSelection";
const String color_ListFocus = "ListFocus";

namespace
{

/// What a colour is where the theme's file does not say.
struct BuiltInColor
{
    const char *name;
    const char *dark;
    const char *light;
};

constexpr std::array<BuiltInColor, 11> k_built_in = {{
    {"WindowBG", "#353535", "#f6f5f4"},
    {"WindowBGLighter", "#414141", "#ffffff"},
    {"FieldBG", "#2d2d2d", "#ffffff"},
    {"Text", "#eeeeec", "#1d2124"},
    {"TextGrey", "#a6acb2", "#5e6368"},
    {"TextRed", "#ff7b72", "#b3141b"},
    {"TextOrange", "#ffb454", "#8f4d00"},
    {"ListBG", "#262626", "#ffffff"},
    {"ListHighlight", "#313131", "#f1f0ee"},
    {"ListSelection", "#1f3a5f", "#cfe3fb"},
    {"ListFocus", "#7fb2f0", "#2a6fc4"},
}};

using Colors = std::unordered_map<String, wxColour>;

Colors BuiltInColors(ColorTheme theme)
{
    Colors colors;
    for (const BuiltInColor &color : k_built_in)
        colors[color.name] = wxColour(theme == ColorTheme::Dark ? color.dark : color.light);
    return colors;
}

Path ThemeFile(ColorTheme theme)
{
    return ShareFolder() / "colours" / (theme == ColorTheme::Dark ? "Dark.ini" : "Light.ini");
}

/// Takes the file's colours over those in `colors`.
void TakeColors(const IniFile &file, const Path &path, Colors &colors)
{
    for (auto &[name, color] : colors)
    {
        const std::optional<String> text = file.FindText("Colours", name);
        wxColour read;
        if (text && read.Set(wxString::FromUTF8(*text)))
            color = read;
        else
            LogWarning("colour " + name + " is missing or no colour in " + path.Text());
    }
}

Colors LoadColors(ColorTheme theme)
{
    Colors colors = BuiltInColors(theme);
    const Path path = ThemeFile(theme);
    try
    {
        IniFile file;
        String error;
        if (file.Parse(File::ReadWhole(path), &error))
            TakeColors(file, path, colors);
        else
            LogWarning("cannot read colours from " + path.Text() + ": " + error);
    }
    catch (Exception *raw)
    {
        const std::unique_ptr<Exception> error(raw);
        LogWarning("cannot read colours: " + error->Text());
    }
    return colors;
}

struct Theme
{
    ColorTheme which = ColorTheme::Dark;
    Colors colors = BuiltInColors(ColorTheme::Dark);
};

Theme &CurrentTheme()
{
    static Theme s_theme;
    return s_theme;
}

void ReportUnknownColor(const String &name)
{
    static std::set<String> s_reported;
    if (s_reported.insert(name).second)
        LogError("there is no colour of the name " + name);
}

} // namespace

wxColour wxcGetColor(const String &name)
{
    const Colors &colors = CurrentTheme().colors;
    if (const auto found = colors.find(name); found != colors.end())
        return found->second;

    ReportUnknownColor(name);
    return colors.at(color_Text);
}

ColorTheme wxcGetTheme()
{
    return CurrentTheme().which;
}

void wxcSetTheme(ColorTheme theme)
{
    _CallEntry call("wxcSetTheme", __FILE__, __LINE__);

    CurrentTheme() = {theme, LoadColors(theme)};
    PreferDarkGtk(theme == ColorTheme::Dark);
    wxcColorManaged::ApplyToAll();
}

ColorTheme wxcParseTheme(const String &text)
{
    const wxString theme = wxString::FromUTF8(text);
    if (theme.IsSameAs("Light", false))
        return ColorTheme::Light;
    if (!theme.IsSameAs("Dark", false))
        LogWarning("there is no theme of the name \"" + text + "\"; taking Dark");
    return ColorTheme::Dark;
}

const std::vector<String> &wxcColorNames()
{
    static const std::vector<String> s_names = []
    {
        std::vector<String> names;
        for (const BuiltInColor &color : k_built_in)
            names.emplace_back(color.name);
        return names;
    }();
    return s_names;
}

} // namespace wxcorvan
