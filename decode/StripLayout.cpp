#include "decode/StripLayout.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace decode
{

namespace
{

constexpr std::int64_t k_least_shown = 32;
constexpr std::int64_t k_most_times_as_long = 3;

// Along one direction: pixels [begin, end).
struct Run
{
    std::int64_t begin;
    std::int64_t end;

    std::int64_t Length() const
    {
        return end - begin;
    }
};

Run Clip(std::int64_t begin, std::int64_t length, std::int64_t all)
{
    return {std::clamp<std::int64_t>(begin, 0, all),
            std::clamp<std::int64_t>(begin + length, 0, all)};
}

// So long, with the run in its middle; moved where it would leave the image.
Run Surround(const Run &run, std::int64_t length, std::int64_t all)
{
    length = std::min(std::max(length, run.Length()), all);
    const std::int64_t begin =
        std::clamp<std::int64_t>(run.begin - (length - run.Length()) / 2, 0, all - length);
    return {begin, begin + length};
}

StripPlace PlaceOf(const Run &across, const Run &down)
{
    return {int(across.begin), int(down.begin), int(across.Length()), int(down.Length())};
}

// The part of a picture that shows a part of what was cut out for it; at least a pixel.
Run MarkedRun(const Run &part, const Run &shown, int pixels)
{
    const auto scaled = [&](std::int64_t at) { return (at - shown.begin) * pixels; };
    const std::int64_t begin = scaled(part.begin) / shown.Length();
    const std::int64_t end = (scaled(part.end) + shown.Length() - 1) / shown.Length();
    return {begin, std::max(end, begin + 1)};
}

// Whole pixels, as many as there is room for; false where there is none for the image's own.
bool EnlargeCells(StripLayout &layout, double aspect, int side)
{
    bool fits = false;
    for (int times = 1;; ++times)
    {
        const auto cellWidth = int(std::lround(times * std::max(aspect, 1.0)));
        const auto cellHeight = int(std::lround(times / std::min(aspect, 1.0)));
        if (cellWidth > side / layout.shown.width || cellHeight > side / layout.shown.height)
            return fits;
        layout.cellsAcross = layout.shown.width;
        layout.cellsDown = layout.shown.height;
        layout.cellWidth = cellWidth;
        layout.cellHeight = cellHeight;
        fits = true;
    }
}

void ReduceCells(StripLayout &layout, double aspect, int side)
{
    // Pixels that are no squares become such by means over some of them.
    const double width = layout.shown.width * std::min(aspect, 1.0);
    const double height = layout.shown.height / std::max(aspect, 1.0);
    const double scale = std::min({1.0, side / width, side / height});
    const auto scaled = [scale](double size, int all)
    { return std::clamp(int(std::lround(size * scale)), 1, all); };
    layout.cellsAcross = scaled(width, std::min(layout.shown.width, side));
    layout.cellsDown = scaled(height, std::min(layout.shown.height, side));
}

} // namespace

std::optional<StripLayout> LayOutStrip(const StripPlace &place, const StripImage &image, int side)
{
    const Run across = Clip(place.x, place.width, image.width);
    const Run down = Clip(place.y, place.height, image.height);
    if (across.Length() == 0 || down.Length() == 0)
        return std::nullopt;

    const std::int64_t width =
        std::min<std::int64_t>(std::max(2 * across.Length(), k_least_shown), image.width);
    const std::int64_t height =
        std::min<std::int64_t>(std::max(2 * down.Length(), k_least_shown), image.height);
    const Run shownAcross =
        Surround(across, std::max(width, height / k_most_times_as_long), image.width);
    const Run shownDown =
        Surround(down, std::max(height, width / k_most_times_as_long), image.height);

    StripLayout layout;
    layout.shown = PlaceOf(shownAcross, shownDown);
    if (!EnlargeCells(layout, image.pixelAspect, side))
        ReduceCells(layout, image.pixelAspect, side);
    if (across.Length() < image.width || down.Length() < image.height)
        layout.marked = PlaceOf(MarkedRun(across, shownAcross, layout.Width()),
                                MarkedRun(down, shownDown, layout.Height()));
    return layout;
}

} // namespace decode
