#include "check/PlotColours.h"

#include <memory>
#include <optional>

#include "ostrel/Exception.h"
#include "ostrel/File.h"
#include "ostrel/Folders.h"
#include "ostrel/IniFile.h"

namespace check
{

namespace
{

bool IsColour(const String &text)
{
    return text.size() == 7 && text[0] == '#' &&
           text.find_first_not_of("0123456789abcdefABCDEF", 1) == String::npos;
}

} // namespace

PlotColours ReadPlotColours()
{
    PlotColours colours = {
        {"ListBG", "#ffffff"},    {"ListHighlight", "#f1f0ee"}, {"ListSelection", "#cfe3fb"},
        {"ListFocus", "#2a6fc4"}, {"Text", "#1d2124"},          {"TextGrey", "#5e6368"},
        {"TextRed", "#b3141b"},   {"TextOrange", "#8f4d00"},
    };
    ostrel::IniFile theme;
    String reason;
    try
    {
        const ostrel::Path file = ostrel::ShareFolder() / "colours" / "Light.ini";
        if (!theme.Parse(ostrel::File::ReadWhole(file), &reason))
            return colours;
    }
    catch (ostrel::Exception *raw)
    {
        const std::unique_ptr<ostrel::Exception> error(raw);
        return colours; // Not installed; the picture is as good.
    }
    for (auto &[name, colour] : colours)
    {
        const std::optional<String> text = theme.FindText("Colours", name);
        if (text && IsColour(*text))
            colour = *text;
    }
    return colours;
}

} // namespace check
