#include "decode/MakeStrip.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <fmt/format.h>
#include <limits>
#include <optional>
#include <stdexcept>
#include <utility>

#include "decode/PaintPixels.h"
#include "decode/ShownImage.h"
#include "decode/StripLayout.h"
#include "decode/TryPicture.h"
#include "decode/TurnPixels.h"
#include "decode/WriteJpeg.h"

namespace decode
{

namespace
{

using StripColour = std::array<std::uint8_t, 3>;

constexpr StripColour k_no_picture{128, 128, 128};
constexpr StripColour k_gap{88, 88, 88}; // Neither black nor white, nor what stands for no picture.
constexpr int k_gap_pixels = 8;
// Where nothing is brighter, all is raised until it is about as bright as that.
constexpr float k_dark_light = 0.1f;
constexpr float k_raised_light = 0.5f;
constexpr float k_most_stops = 6.0f;
// From the inside to the outside: one of the two is seen on any ground.
constexpr std::array<StripColour, 2> k_frame_lines{StripColour{255, 208, 0}, StripColour{0, 0, 0}};

// Pixels of three bytes, row by row.
struct Raster
{
    int width;
    int height;
    std::vector<std::uint8_t> bytes;

    Raster(int ofWidth, int ofHeight, const StripColour &colour) : width(ofWidth), height(ofHeight)
    {
        bytes.reserve(std::size_t(width) * std::size_t(height) * 3);
        for (std::size_t pixel = 0; pixel < std::size_t(width) * std::size_t(height); ++pixel)
            bytes.insert(bytes.end(), colour.begin(), colour.end());
    }

    std::uint8_t *At(int x, int y)
    {
        return bytes.data() + (std::size_t(y) * std::size_t(width) + std::size_t(x)) * 3;
    }
    void Set(int x, int y, const StripColour &colour)
    {
        std::copy(colour.begin(), colour.end(), At(x, y));
    }
};

AreaAverage CutOutMeans(ShownRows &rows, const StripLayout &layout)
{
    const StripPlace &shown = layout.shown;
    AreaAverage average(shown.width, shown.height, layout.cellsAcross, layout.cellsDown);
    for (int y = 0; y < shown.height; ++y)
        if (const float *row = rows.Row(shown.y + y))
            average.AddRow(y, row + std::size_t(shown.x) * 4);
    return average;
}

Raster PaintCells(const std::vector<std::uint8_t> &cells, const StripLayout &layout)
{
    Raster raster(layout.Width(), layout.Height(), k_no_picture);
    for (int y = 0; y < raster.height; ++y)
    {
        const std::size_t row =
            std::size_t(y / layout.cellHeight) * std::size_t(layout.cellsAcross);
        for (int x = 0; x < raster.width; ++x)
            std::copy_n(cells.data() + (row + std::size_t(x / layout.cellWidth)) * 3, 3,
                        raster.At(x, y));
    }
    return raster;
}

// Around the place, and not over it, as far as there is room.
void DrawFrame(Raster &raster, const StripPlace &place)
{
    if (place.width == 0)
        return;
    constexpr int k_lines = int(k_frame_lines.size());
    const int left = std::max(place.x, k_lines);
    const int top = std::max(place.y, k_lines);
    const int right = std::min(place.x + place.width, raster.width - k_lines);
    const int bottom = std::min(place.y + place.height, raster.height - k_lines);
    if (left >= right || top >= bottom)
        return;
    for (int line = 0; line < k_lines; ++line)
    {
        const StripColour &colour = k_frame_lines[std::size_t(line)];
        const int out = line + 1;
        for (int x = left - out; x < right + out; ++x)
        {
            raster.Set(x, top - out, colour);
            raster.Set(x, bottom + line, colour);
        }
        for (int y = top - out; y < bottom + out; ++y)
        {
            raster.Set(left - out, y, colour);
            raster.Set(right + line, y, colour);
        }
    }
}

Raster Turned(Raster raster, int orientation)
{
    raster.bytes = TurnPixels(std::move(raster.bytes), raster.width, raster.height, orientation);
    if (orientation >= k_FirstOnItsSide)
        std::swap(raster.width, raster.height);
    return raster;
}

// Of each cell the pixel with the most light, or one that is no number, which is to be seen.
AreaAverage CutOutBrightest(ShownRows &rows, const StripLayout &layout)
{
    const StripPlace &shown = layout.shown;
    const std::size_t across = std::size_t(layout.cellsAcross);
    const std::size_t cells = across * std::size_t(layout.cellsDown);
    const std::vector<float> nothing(std::size_t(rows.Width()) * 4);
    std::vector<float> pixels(cells * 4);
    std::vector<float> light(cells, -std::numeric_limits<float>::infinity());
    for (std::int64_t y = 0; y < shown.height; ++y)
    {
        const float *row = rows.Row(shown.y + int(y));
        const float *pixel = (row ? row : nothing.data()) + std::size_t(shown.x) * 4;
        const std::size_t first = std::size_t(y * layout.cellsDown / shown.height) * across;
        for (std::int64_t x = 0; x < shown.width; ++x, pixel += 4)
        {
            const std::size_t cell = first + std::size_t(x * layout.cellsAcross / shown.width);
            const float luma = LumaOf(pixel);
            const float here = std::isfinite(luma) ? luma : std::numeric_limits<float>::infinity();
            if (here <= light[cell])
                continue;
            light[cell] = here;
            std::copy_n(pixel, 4, pixels.data() + cell * 4);
        }
    }
    AreaAverage same(layout.cellsAcross, layout.cellsDown, layout.cellsAcross, layout.cellsDown);
    for (int y = 0; y < layout.cellsDown; ++y)
        same.AddRow(y, pixels.data() + std::size_t(y) * across * 4);
    return same;
}

AreaAverage CutOut(ShownRows &rows, const StripLayout &layout, StripCells cells)
{
    return cells == StripCells::Mean ? CutOutMeans(rows, layout) : CutOutBrightest(rows, layout);
}

// Nothing where there is nothing to hold against the image.
std::optional<AreaAverage> CutOutOfNeighbour(const Path &path, const ShownRows &of,
                                             const StripLayout &layout, StripCells cells)
{
    if (path.IsEmpty())
        return std::nullopt;
    try
    {
        ShownImage image(path, PictureChannels::Rgb);
        ShownRows &rows = image.Rows();
        if (rows.Width() != of.Width() || rows.Height() != of.Height() ||
            rows.Orientation() != of.Orientation())
            return std::nullopt;
        return CutOut(rows, layout, cells);
    }
    catch (const std::runtime_error &)
    {
        return std::nullopt;
    }
}

// The light that all but a hundredth of all cells do not exceed: single sparks count for nothing.
float BrightestOf(const std::array<std::optional<AreaAverage>, 3> &cuts)
{
    std::vector<float> light;
    for (const std::optional<AreaAverage> &cut : cuts)
        for (std::size_t i = 0; cut && i < cut->Pixels().size(); i += 4)
        {
            const float here = LumaOf(cut->Pixels().data() + i);
            light.push_back(std::isfinite(here) ? here
                                                : 0.0f); // Sums of vast values are no number.
        }
    const auto at = light.begin() + std::ptrdiff_t(light.size() - 1 - light.size() / 100);
    std::nth_element(light.begin(), at, light.end());
    return *at;
}

// In whole stops.
float ExposureFor(float brightest)
{
    if (!(brightest > 0.0f) || brightest > k_dark_light)
        return 0.0f;
    return std::min(std::floor(std::log2(k_raised_light / brightest)), k_most_stops);
}

Raster SideBySide(const std::array<Raster, 3> &pictures)
{
    const auto [width, height] = std::pair(pictures[0].width, pictures[0].height);
    Raster strip(3 * width + 2 * k_gap_pixels, height, k_gap);
    for (int y = 0; y < height; ++y)
        for (int i = 0; i < 3; ++i)
        {
            const std::size_t row = std::size_t(width) * 3;
            std::copy_n(pictures[std::size_t(i)].bytes.data() + std::size_t(y) * row, row,
                        strip.At(i * (width + k_gap_pixels), y));
        }
    return strip;
}

std::string StripOf(const Path &path, const StripWish &wish)
{
    ShownImage image(path, PictureChannels::Rgb);
    ShownRows &rows = image.Rows();
    const std::optional<StripLayout> layout =
        LayOutStrip(wish.place, {rows.Width(), rows.Height(), rows.PixelAspect()}, wish.side);
    if (!layout)
        throw std::runtime_error(fmt::format("the place at {}, {} is outside of its {} x {} pixels",
                                             wish.place.x, wish.place.y, rows.Width(),
                                             rows.Height()));
    const std::array<std::optional<AreaAverage>, 3> cuts = {
        CutOutOfNeighbour(wish.before, rows, *layout, wish.cells),
        CutOut(rows, *layout, wish.cells),
        CutOutOfNeighbour(wish.after, rows, *layout, wish.cells)};
    const float exposure = ExposureFor(BrightestOf(cuts));
    const auto show = [&](const std::optional<AreaAverage> &cut)
    {
        if (!cut)
            return Turned({layout->Width(), layout->Height(), k_no_picture}, rows.Orientation());
        Raster raster = PaintCells(PaintPixels(*cut, PictureChannels::Rgb, exposure), *layout);
        DrawFrame(raster, layout->marked);
        return Turned(std::move(raster), rows.Orientation());
    };
    const Raster strip = SideBySide({show(cuts[0]), show(cuts[1]), show(cuts[2])});
    return WriteJpeg(strip.bytes, strip.width, strip.height, k_StripMark);
}

} // namespace

Picture MakeStrip(const Path &path, const StripWish &wish)
{
    return TryPicture({path}, [&] { return StripOf(path, wish); });
}

} // namespace decode
