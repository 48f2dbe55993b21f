#include "decode/MakePicture.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <memory>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "decode/AreaAverage.h"
#include "decode/PaintPixels.h"
#include "decode/ShownImage.h"
#include "decode/TryPicture.h"
#include "decode/TurnPixels.h"
#include "decode/WriteJpeg.h"

namespace decode
{

namespace
{

struct Size
{
    int width;
    int height;
};

// The largest within the wish, with the proportions that it is looked at in. As it lies in the
// file: it is turned last, when it is small.
Size ShownSize(const ShownRows &rows, int mostWidth)
{
    // Pixels that are no squares become such by means over some of them: nothing is made larger.
    const double width = rows.Width() * std::min(rows.PixelAspect(), 1.0);
    const double height = rows.Height() / std::max(rows.PixelAspect(), 1.0);
    const bool isOnItsSide = rows.Orientation() >= k_FirstOnItsSide;
    const double scale = std::min({1.0, double(mostWidth) / (isOnItsSide ? height : width),
                                   double(k_MostPictureWidth) / (isOnItsSide ? width : height)});
    const auto scaled = [scale](double size, int most)
    { return std::clamp(int(std::lround(size * scale)), 1, most); };
    return {scaled(width, rows.Width()), scaled(height, rows.Height())};
}

std::string WriteTurned(std::vector<std::uint8_t> pixels, Size size, int orientation)
{
    pixels = TurnPixels(std::move(pixels), size.width, size.height, orientation);
    if (orientation >= k_FirstOnItsSide)
        std::swap(size.width, size.height);
    return WriteJpeg(pixels, size.width, size.height);
}

AreaAverage Shrink(ShownRows &rows, Size size)
{
    AreaAverage average(rows.Width(), rows.Height(), size.width, size.height);
    for (int y = 0; y < rows.Height(); ++y)
        if (const float *row = rows.Row(y))
            average.AddRow(y, row);
    return average;
}

// Runs `action` on the image that is subtracted, and says so where it fails.
template <typename Action> auto OfOther(Action action)
{
    try
    {
        return action();
    }
    catch (const std::system_error &)
    {
        throw;
    }
    catch (const std::runtime_error &error)
    {
        throw std::runtime_error(std::string("the other frame: ") + error.what());
    }
}

// The difference is taken before anything is made smaller: means hide what lies side by side.
AreaAverage ShrinkDifference(ShownRows &rows, ShownRows &others, Size size)
{
    if (rows.Width() != others.Width() || rows.Height() != others.Height())
        throw std::runtime_error(fmt::format("it has {} x {} pixels, and the other frame {} x {}",
                                             rows.Width(), rows.Height(), others.Width(),
                                             others.Height()));
    if (rows.Orientation() != others.Orientation())
        throw std::runtime_error("it is turned otherwise than the other frame");
    AreaAverage average(rows.Width(), rows.Height(), size.width, size.height);
    const std::vector<float> nothing(std::size_t(rows.Width()) * 4);
    std::vector<float> difference(nothing.size());
    for (int y = 0; y < rows.Height(); ++y)
    {
        const float *row = rows.Row(y);
        const float *other = OfOther([&] { return others.Row(y); });
        if (!row && !other)
            continue;
        row = row ? row : nothing.data();
        other = other ? other : nothing.data();
        for (std::size_t i = 0; i < difference.size(); ++i)
            difference[i] = std::abs(row[i] - other[i]);
        average.AddRow(y, difference.data());
    }
    return average;
}

std::string Make(const Path &path, const PictureWish &wish)
{
    ShownImage image(path, wish.channels);
    const Size size = ShownSize(image.Rows(), wish.width);
    const auto paint = [&](const AreaAverage &average)
    {
        return WriteTurned(PaintPixels(average, wish.channels, wish.exposure), size,
                           image.Rows().Orientation());
    };
    if (wish.minus.IsEmpty())
    {
        image.Rows().TakeSmallerCopy(size.width, size.height);
        return paint(Shrink(image.Rows(), size));
    }
    const auto other =
        OfOther([&] { return std::make_unique<ShownImage>(wish.minus, wish.channels); });
    return paint(ShrinkDifference(image.Rows(), other->Rows(), size));
}

} // namespace

Picture MakePicture(const Path &path, const PictureWish &wish)
{
    return TryPicture({path, wish.minus}, [&] { return Make(path, wish); });
}

} // namespace decode
