#include "wxcorvan/WindowPlace.h"

#include <algorithm>
#include <utility>

#include <wx/display.h>
#include <wx/toplevel.h>

namespace wxcorvan
{

using ostrel::IniFile;
using ostrel::String;

namespace
{

/// As far as a window system's coordinates go.
constexpr int k_max_coordinate = 32767;

/// A window of which less than this can be seen is lost to its user.
constexpr int k_min_visible_width = 100;
constexpr int k_min_visible_height = 40;

/// Where a key is missing or no number.
constexpr int k_no_number = -1'000'000;

bool IsCoordinate(int value)
{
    return value >= -k_max_coordinate && value <= k_max_coordinate;
}

long VisibleArea(const wxRect &place, const wxRect &screen)
{
    const wxRect visible = place.Intersect(screen);
    const bool isEnough = visible.width >= std::min(k_min_visible_width, place.width) &&
                          visible.height >= std::min(k_min_visible_height, place.height);
    return isEnough ? long(visible.width) * visible.height : 0;
}

} // namespace

std::optional<wxRect> LoadPlace(const IniFile &options, const String &section)
{
    const wxRect place(options.GetValue(section, "X", k_no_number),
                       options.GetValue(section, "Y", k_no_number),
                       options.GetValue(section, "Width", k_no_number),
                       options.GetValue(section, "Height", k_no_number));
    if (!IsCoordinate(place.x) || !IsCoordinate(place.y))
        return std::nullopt;
    if (place.width < 1 || place.width > k_max_coordinate || place.height < 1 ||
        place.height > k_max_coordinate)
        return std::nullopt;
    return place;
}

void SavePlace(IniFile &options, const String &section, const wxRect &place)
{
    const std::pair<const char *, int> values[] = {
        {"X", place.x}, {"Y", place.y}, {"Width", place.width}, {"Height", place.height}};

    options.InsertSection(section);
    for (const auto &[key, value] : values)
        options.SetValue(key, std::to_string(value));
}

wxRect PlaceOnScreen(const wxRect &place, const std::vector<wxRect> &screens)
{
    if (screens.empty())
        return place;

    const auto best = std::max_element(screens.begin(), screens.end(),
                                       [&place](const wxRect &a, const wxRect &b)
                                       { return VisibleArea(place, a) < VisibleArea(place, b); });
    wxRect moved = place;
    moved.width = std::min(place.width, best->width);
    moved.height = std::min(place.height, best->height);
    moved.x = std::clamp(place.x, best->x, best->x + best->width - moved.width);
    moved.y = std::clamp(place.y, best->y, best->y + best->height - moved.height);
    return moved;
}

void PutInPlace(wxTopLevelWindow &window, const wxRect &place)
{
    window.SetSize(place);
    window.Bind(wxEVT_ACTIVATE,
                [&window, place, isDone = false](wxActivateEvent &event) mutable
                {
                    event.Skip();
                    if (!event.GetActive() || std::exchange(isDone, true))
                        return;
                    if (!window.IsMaximized() && window.GetRect() != place)
                        window.SetSize(place);
                });
}

std::vector<wxRect> ListScreens()
{
    std::vector<wxRect> screens;
    for (unsigned i = 0; i < wxDisplay::GetCount(); ++i)
    {
        const wxDisplay screen(i);
        const wxRect area = screen.GetClientArea();
        screens.insert(screen.IsPrimary() ? screens.begin() : screens.end(), area);
    }
    return screens;
}

} // namespace wxcorvan
