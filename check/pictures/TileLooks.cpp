#include "check/pictures/TileLooks.h"

#include <cmath>

namespace check
{

namespace
{

// Slopes are told in 32nds of a stop.
constexpr float k_slope_steps = 32;

} // namespace

float DistanceOf(const TileLook &one, const TileLook &other)
{
    float sum = 0;
    for (std::size_t i = 0; i < one.size(); ++i)
        sum += std::abs(one[i] - other[i]);
    return sum;
}

float ProductOf(const TileLook &one, const TileLook &other)
{
    float sum = 0;
    for (std::size_t i = 0; i < one.size(); ++i)
        sum += one[i] * other[i];
    return sum;
}

float LikenessOf(const TileLook &one, const TileLook &other)
{
    const float first = ProductOf(one, one);
    const float second = ProductOf(other, other);
    return first > 0 && second > 0 ? ProductOf(one, other) / std::sqrt(first * second) : 0;
}

TileLooks::TileLooks(const PictureSequence &pictures)
    : m_tiles(pictures.Tiles()), m_looks(pictures.Size() * m_tiles)
{
    for (std::size_t frame = 0; frame < pictures.Size(); ++frame)
    {
        if (!pictures.At(frame))
            continue;
        for (std::size_t tile = 0; tile < m_tiles; ++tile)
        {
            const decode::TileMeasure &measure = pictures.At(frame)->tiles[tile];
            m_looks[frame * m_tiles + tile] = {
                pictures.Light(frame)[tile],
                float(measure.across) / (k_slope_steps * k_SlopeWeight),
                float(measure.down) / (k_slope_steps * k_SlopeWeight),
                float(decode::StopsOf(measure.detail)) / k_CoarseWeight,
                float(decode::StopsOf(measure.greatest)) / k_CoarseWeight};
        }
    }
}

} // namespace check
