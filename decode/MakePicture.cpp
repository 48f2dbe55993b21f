#include "decode/MakePicture.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <fmt/format.h>
#include <memory>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "decode/AreaAverage.h"
#include "decode/ImageFile.h"
#include "decode/ShownRows.h"
#include "decode/TurnPixels.h"
#include "decode/WriteJpeg.h"

namespace decode
{

namespace
{

using Colour = std::array<std::uint8_t, 3>;

constexpr Colour k_wild_colour{255, 0, 255};

// An image of which rows are taken, and the file that they come from.
class ShownImage
{
public:
    ShownImage(const Path &path, PictureChannels channels)
        : m_file(Open(path)), m_rows(*m_file.image, channels)
    {
    }

    ShownRows &Rows()
    {
        return m_rows;
    }

private:
    static ImageFile Open(const Path &path)
    {
        OIIO::ImageSpec wishes;
        wishes.attribute("oiio:UnassociatedAlpha", 1); // Else it is multiplied in no linear light.
        ImageFile file = OpenImage(path, wishes);
        if (!file.image)
            throw std::runtime_error(file.reason);
        return file;
    }

    ImageFile m_file;
    ShownRows m_rows;
};

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

// From linear light to 8 bits by the curve of sRGB; by a table fine enough for its steepest part.
class SrgbCurve
{
public:
    SrgbCurve()
    {
        for (std::size_t i = 0; i < m_table.size(); ++i)
        {
            const double linear = double(i) / double(m_table.size() - 1);
            const double coded =
                linear <= 0.0031308 ? linear * 12.92 : 1.055 * std::pow(linear, 1 / 2.4) - 0.055;
            m_table[i] = std::uint8_t(std::lround(coded * 255));
        }
    }

    std::uint8_t operator()(float linear) const
    {
        // Whatever is not above 0, sums that are no number too, is dark.
        const float bounded = linear > 0.0f ? std::min(linear, 1.0f) : 0.0f;
        return m_table[std::size_t(bounded * float(m_table.size() - 1) + 0.5f)];
    }

private:
    std::vector<std::uint8_t> m_table = std::vector<std::uint8_t>(1u << 17);
};

std::uint8_t LinearByte(float value)
{
    return std::uint8_t((value > 0.0f ? std::min(value, 1.0f) : 0.0f) * 255.0f + 0.5f);
}

Colour ColourOf(const float *pixel, PictureChannels channels, float gain)
{
    static const SrgbCurve s_srgb;
    const auto grey = [](std::uint8_t value) { return Colour{value, value, value}; };
    switch (channels)
    {
    case PictureChannels::Rgb:
        return {s_srgb(pixel[0] * gain), s_srgb(pixel[1] * gain), s_srgb(pixel[2] * gain)};
    case PictureChannels::Red:
        return grey(s_srgb(pixel[0] * gain));
    case PictureChannels::Green:
        return grey(s_srgb(pixel[1] * gain));
    case PictureChannels::Blue:
        return grey(s_srgb(pixel[2] * gain));
    case PictureChannels::Alpha:
        return grey(LinearByte(pixel[3] * gain));
    case PictureChannels::Luma:
        return grey(s_srgb((0.2126f * pixel[0] + 0.7152f * pixel[1] + 0.0722f * pixel[2]) * gain));
    }
    return k_wild_colour;
}

std::vector<std::uint8_t> PaintPixels(const AreaAverage &average, const PictureWish &wish)
{
    const float gain = std::exp2(wish.exposure);
    std::vector<std::uint8_t> bytes;
    bytes.reserve(average.Pixels().size() / 4 * 3);
    for (std::size_t pixel = 0; pixel < average.Pixels().size() / 4; ++pixel)
    {
        const Colour colour = average.IsWild(pixel) ? k_wild_colour
                                                    : ColourOf(average.Pixels().data() + pixel * 4,
                                                               wish.channels, gain);
        bytes.insert(bytes.end(), colour.begin(), colour.end());
    }
    return bytes;
}

std::string Make(const Path &path, const PictureWish &wish)
{
    ShownImage image(path, wish.channels);
    const Size size = ShownSize(image.Rows(), wish.width);
    const auto paint = [&](const AreaAverage &average)
    { return WriteTurned(PaintPixels(average, wish), size, image.Rows().Orientation()); };
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
    UseOneThread();

    Picture picture;
    try
    {
        picture.jpeg = Make(path, wish);
        return picture;
    }
    catch (const std::system_error &)
    {
        throw; // What the system refuses is no fault of the file's.
    }
    catch (const std::runtime_error &error)
    {
        picture.reason = error.what();
    }
    for (const Path &file : {path, wish.minus})
    {
        if (!file.IsEmpty() && picture.trouble.empty())
            picture.trouble = FindReadTrouble(file);
    }
    if (!picture.trouble.empty())
        picture.reason.clear();
    return picture;
}

} // namespace decode
