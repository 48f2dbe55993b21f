#include "tests/decode/SlowMeasures.h"

#include <algorithm>
#include <cmath>

using namespace decode;
using OIIO::ImageSpec;

namespace
{

constexpr double k_black = 1.0 / 1024;

double LinearOf(double code)
{
    return code <= 0.04045 ? code / 12.92 : std::pow((code + 0.055) / 1.055, 2.4);
}

int ChannelOf(const ImageSpec &spec, const std::string &name)
{
    const auto &names = spec.channelnames;
    return int(std::find(names.begin(), names.end(), name) - names.begin());
}

double LightOfPixel(const ImageSpec &spec, const double *pixel)
{
    const bool isCode = spec.format == OIIO::TypeUInt8 || spec.format == OIIO::TypeUInt16 ||
                        spec.format == OIIO::TypeUInt32;
    const auto light = [&](int channel)
    {
        const double value = pixel[channel];
        if (!(value > 0))
            return 0.0;
        return isCode ? LinearOf(value) : std::min(value, 65504.0);
    };
    if (ChannelOf(spec, "R") < spec.nchannels)
        return 0.2126 * light(ChannelOf(spec, "R")) + 0.7152 * light(ChannelOf(spec, "G")) +
               0.0722 * light(ChannelOf(spec, "B"));
    const int luma = ChannelOf(spec, "Y");
    return light(luma < spec.nchannels ? luma : 0);
}

class Window
{
public:
    Window(const ImageSpec &spec, std::vector<double> light)
        : m_width(spec.full_width), m_height(spec.full_height), m_light(std::move(light))
    {
    }

    // Beyond an edge lies the pixel at the edge.
    double At(int x, int y) const
    {
        x = std::clamp(x, 0, m_width - 1);
        y = std::clamp(y, 0, m_height - 1);
        return m_light[std::size_t(y) * std::size_t(m_width) + std::size_t(x)];
    }

    double Detail(int x, int y) const
    {
        return std::abs(4 * At(x, y) - At(x - 1, y) - At(x + 1, y) - At(x, y - 1) - At(x, y + 1));
    }

    bool IsPeak(int x, int y) const
    {
        int dimmer = 0;
        for (const int row : {y - 1, y, y + 1})
            for (const int column : {x - 1, x, x + 1})
                dimmer += At(column, row) < At(x, y) / 2;
        return dimmer >= 7 && At(x, y) / 2 > k_black;
    }

    // Of the pixels from (left, top) to before (right, bottom); 0 of none.
    template <typename Value>
    double Mean(int left, int top, int right, int bottom, Value value) const
    {
        double sum = 0;
        for (int y = top; y < bottom; ++y)
            for (int x = left; x < right; ++x)
                sum += value(x, y);
        const int count = (right - left) * (bottom - top);
        return count > 0 ? sum / count : 0;
    }

    TileMeasure Tile(int left, int top, int right, int bottom) const
    {
        const auto light = [this](int x, int y) { return At(x, y); };
        const auto mean = [&](int x0, int y0, int x1, int y1)
        { return Mean(x0, y0, x1, y1, light); };
        double greatest = 0;
        Mean(left, top, right, bottom,
             [&](int x, int y) { return greatest = std::max(greatest, At(x, y)); });
        const auto isBlack = [this](int x, int y) { return At(x, y) > k_black ? 0.0 : 1.0; };
        const int centre = left + (right - left) / 2;
        const int middle = top + (bottom - top) / 2;
        return {
            LevelOf(mean(left, top, right, bottom)),
            CoarseLevelOf(
                Mean(left, top, right, bottom, [this](int x, int y) { return Detail(x, y); })),
            CoarseLevelOf(greatest),
            std::uint8_t(std::lround(255 * Mean(left, top, right, bottom, isBlack))),
            centre == left
                ? std::int8_t(0)
                : Slope(mean(left, top, centre, bottom), mean(centre, top, right, bottom)),
            middle == top
                ? std::int8_t(0)
                : Slope(mean(left, top, right, middle), mean(left, middle, right, bottom)),
        };
    }

private:
    static std::int8_t Slope(double one, double other)
    {
        const double steps = 32 * std::log2((other + k_black) / (one + k_black));
        return std::int8_t(std::clamp(std::round(steps), -127.0, 127.0));
    }

    int m_width;
    int m_height;
    std::vector<double> m_light;
};

} // namespace

std::vector<double> LightOfWindow(const ImageSpec &spec, const std::vector<double> &values)
{
    std::vector<double> light;
    for (int y = spec.full_y; y < spec.full_y + spec.full_height; ++y)
        for (int x = spec.full_x; x < spec.full_x + spec.full_width; ++x)
        {
            const int column = x - spec.x;
            const int row = y - spec.y;
            const bool isData = column >= 0 && column < spec.width && row >= 0 && row < spec.height;
            const auto pixel = std::size_t(row) * std::size_t(spec.width) + std::size_t(column);
            light.push_back(
                isData ? LightOfPixel(spec, &values[pixel * std::size_t(spec.nchannels)]) : 0);
        }
    return light;
}

PictureMeasures MeasureSlowly(const ImageSpec &spec, const std::vector<double> &values)
{
    const Window window(spec, LightOfWindow(spec, values));
    const int width = spec.full_width;
    const int height = spec.full_height;
    PictureMeasures measures;
    measures.width = width;
    measures.height = height;
    measures.columns = TileCount(width, std::max(width, height));
    measures.rows = TileCount(height, std::max(width, height));
    for (int row = 0; row < measures.rows; ++row)
        for (int column = 0; column < measures.columns; ++column)
            measures.tiles.push_back(window.Tile(
                width * column / measures.columns, height * row / measures.rows,
                width * (column + 1) / measures.columns, height * (row + 1) / measures.rows));
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            if (window.IsPeak(x, y))
                measures.peaks.push_back(
                    {std::uint16_t(x), std::uint16_t(y), CoarseLevelOf(window.At(x, y))});
    return measures;
}
