#include "decode/ShownRows.h"

#include <OpenImageIO/deepdata.h>
#include <algorithm>
#include <boost/algorithm/string/case_conv.hpp>
#include <cmath>
#include <fmt/format.h>
#include <stdexcept>

#include "decode/FlattenDeep.h"
#include "decode/ImageFile.h"
#include "decode/TurnPixels.h"

namespace decode
{

using OIIO::ImageSpec;

namespace
{

constexpr int k_most_pixels_aside = 1 << 17;

struct ChannelName
{
    std::string layer; // "diffuse." of "diffuse.R".
    std::string leaf;  // In lower case.
};

ChannelName SplitName(const std::string &name)
{
    const std::size_t leaf = name.rfind('.') + 1;
    return {name.substr(0, leaf), boost::to_lower_copy(name.substr(leaf))};
}

int FindChannel(const ImageSpec &spec, const std::string &layer, std::string_view shortName,
                std::string_view longName)
{
    for (int i = 0; i < spec.nchannels; ++i)
    {
        const ChannelName name = SplitName(spec.channel_name(i));
        if (name.layer == layer && (name.leaf == shortName || name.leaf == longName))
            return i;
    }
    return -1;
}

} // namespace

ShownRows::ShownRows(OIIO::ImageInput &image, PictureChannels channels) : m_image(image)
{
    ChoosePart();
    if (m_spec.full_width > k_most_pixels_aside || m_spec.full_height > k_most_pixels_aside)
        throw std::runtime_error(fmt::format("{} x {} pixels are more than can be shown",
                                             m_spec.full_width, m_spec.full_height));
    if (m_spec.full_width <= 0 || m_spec.full_height <= 0 || m_spec.nchannels <= 0)
        throw std::runtime_error("it holds no picture");
    ChooseChannels(channels);
    ChooseCurve();
    m_row.resize(std::size_t(Width()) * 4);
}

// The channels of the first layer that has all colours; else the first ones.
ShownRows::Layer ShownRows::FindLayer(const ImageSpec &spec)
{
    for (int i = 0; i < spec.nchannels; ++i)
    {
        const ChannelName name = SplitName(spec.channel_name(i));
        if (name.leaf != "r" && name.leaf != "red")
            continue;
        const Layer layer{i, FindChannel(spec, name.layer, "g", "green"),
                          FindChannel(spec, name.layer, "b", "blue"),
                          FindChannel(spec, name.layer, "a", "alpha")};
        if (layer.green >= 0 && layer.blue >= 0)
            return layer;
    }
    Layer layer{0, 0, 0, spec.alpha_channel};
    if (layer.alpha == 0 && spec.nchannels > 1)
        layer.red = layer.green = layer.blue = 1;
    return layer;
}

void ShownRows::ChoosePart()
{
    for (int part = 0; m_image.seek_subimage(part, 0); ++part)
    {
        const ImageSpec spec = m_image.spec(part, 0);
        const Layer layer = FindLayer(spec);
        const bool hasColours = layer.red != layer.green;
        if (part == 0 || hasColours)
        {
            m_part = part;
            m_spec = spec;
            m_layer = layer;
        }
        if (hasColours)
            break;
    }
    m_image.geterror(); // That there is no further part.
    m_isUnassociated = m_layer.alpha >= 0 && m_spec.get_int_attribute("oiio:UnassociatedAlpha");
}

void ShownRows::ChooseChannels(PictureChannels channels)
{
    std::vector<int> needed;
    const Layer all = m_layer;
    m_layer = {};
    const auto need = [&needed](int &place, int channel)
    {
        place = channel;
        needed.push_back(channel);
    };
    const bool isColour = channels == PictureChannels::Rgb || channels == PictureChannels::Luma;
    if (isColour || channels == PictureChannels::Red)
        need(m_layer.red, all.red);
    if (isColour || channels == PictureChannels::Green)
        need(m_layer.green, all.green);
    if (isColour || channels == PictureChannels::Blue)
        need(m_layer.blue, all.blue);
    if (all.alpha >= 0 && (channels == PictureChannels::Alpha || m_isUnassociated || m_spec.deep))
        need(m_layer.alpha, all.alpha);
    if (needed.empty())
        needed.push_back(0); // Of its pixels no more is shown than where they are.
    const auto [first, last] = std::minmax_element(needed.begin(), needed.end());
    m_firstChannel = *first;
    m_endChannel = *last + 1;
}

void ShownRows::ChooseCurve()
{
    const std::string space =
        boost::to_lower_copy(std::string(m_spec.get_string_attribute("oiio:ColorSpace")));
    m_gamma = m_spec.get_float_attribute("oiio:Gamma", 0.0f);
    if (space == "linear" || (space.empty() && m_spec.format.is_floating_point()))
        m_curve = Curve::Linear;
    else if (space.starts_with("gamma") && m_gamma >= 0.1f && m_gamma <= 10.0f)
        m_curve = m_gamma == 1.0f ? Curve::Linear : Curve::Gamma;
    else
        m_curve = Curve::Srgb; // As it is stored, so it is shown.

    m_isTabled = !m_spec.deep && !m_spec.format.is_floating_point() && m_spec.format.size() <= 2;
    if (!m_isTabled)
        return;
    m_table.resize(65536);
    for (std::size_t i = 0; i < m_table.size(); ++i)
        m_table[i] = Straighten(float(i) / 65535.0f);
}

float ShownRows::Straighten(float value) const
{
    switch (m_curve)
    {
    case Curve::Linear:
        return value;
    case Curve::Srgb:
        return value <= 0.04045f ? value / 12.92f : std::pow((value + 0.055f) / 1.055f, 2.4f);
    case Curve::Gamma:
        return value <= 0.0f ? value : std::pow(value, m_gamma);
    }
    return value;
}

int ShownRows::Orientation() const
{
    const int orientation = m_spec.get_int_attribute("Orientation", k_Upright);
    return orientation >= k_Upright && orientation <= k_LastOrientation ? orientation : k_Upright;
}

double ShownRows::PixelAspect() const
{
    constexpr double k_most = 16.0; // Beyond that it is no image's.
    const double aspect = double(m_spec.get_float_attribute("PixelAspectRatio", 1.0f));
    return aspect >= 1.0 / k_most && aspect <= k_most ? aspect : 1.0;
}

void ShownRows::TakeSmallerCopy(int leastWidth, int leastHeight)
{
    const bool isCropped = m_spec.x != m_spec.full_x || m_spec.y != m_spec.full_y ||
                           m_spec.width != m_spec.full_width || m_spec.height != m_spec.full_height;
    if (isCropped || m_spec.deep)
        return; // What the windows of a smaller copy mean is told by no format.
    for (int level = 1; m_image.seek_subimage(m_part, level); ++level)
    {
        const ImageSpec smaller = m_image.spec(m_part, level);
        if (smaller.width < leastWidth || smaller.height < leastHeight ||
            smaller.nchannels != m_spec.nchannels || smaller.width > m_spec.width)
            break;
        m_level = level;
        m_spec.copy_dimensions(smaller);
        m_spec.full_x = m_spec.x;
        m_spec.full_y = m_spec.y;
        m_spec.full_width = m_spec.width;
        m_spec.full_height = m_spec.height;
    }
    m_image.geterror(); // That there is no further level.
    m_row.resize(std::size_t(Width()) * 4);
}

const float *ShownRows::Row(int y)
{
    const std::int64_t line = std::int64_t(y) + m_spec.full_y - m_spec.y;
    if (line < 0 || line >= m_spec.height)
        return nullptr;
    if (line < m_blockBegin || line >= m_blockEnd)
        ReadBlock(int(line));
    FillRow(int(line));
    return m_row.data();
}

void ShownRows::ReadBlock(int begin)
{
    const int rows = m_spec.tile_width ? m_spec.tile_height : RowsAtOnce(m_spec);
    m_blockBegin = begin - begin % rows;
    m_blockEnd = int(std::min<std::int64_t>(std::int64_t(m_blockBegin) + rows, m_spec.height));
    if (m_spec.deep)
        ReadDeep(m_spec.y + m_blockEnd);
    else
        ReadFlat(m_spec.y + m_blockEnd);
}

void ShownRows::ReadFlat(int end)
{
    const int begin = m_spec.y + m_blockBegin;
    const std::size_t values = std::size_t(m_spec.width) * std::size_t(end - begin) *
                               std::size_t(m_endChannel - m_firstChannel);
    // A tile of a volume is read as a whole.
    const int depth = m_spec.tile_width ? std::max(m_spec.tile_depth, 1) : 1;
    const int zEnd = std::min(m_spec.z + depth, m_spec.z + std::max(m_spec.depth, 1));
    void *buffer = nullptr;
    if (m_isTabled)
    {
        m_shorts.resize(values * std::size_t(depth));
        buffer = m_shorts.data();
    }
    else
    {
        m_floats.resize(values * std::size_t(depth));
        buffer = m_floats.data();
    }
    const OIIO::TypeDesc type = m_isTabled ? OIIO::TypeUInt16 : OIIO::TypeFloat;
    const bool isRead =
        m_spec.tile_width
            ? m_image.read_tiles(m_part, m_level, m_spec.x, m_spec.x + m_spec.width, begin, end,
                                 m_spec.z, zEnd, m_firstChannel, m_endChannel, type, buffer)
            : m_image.read_scanlines(m_part, m_level, begin, end, m_spec.z, m_firstChannel,
                                     m_endChannel, type, buffer);
    if (!isRead || m_image.has_error()) // Some readers fill in what is missing, and go on.
        throw std::runtime_error(ErrorOf(m_image));
}

// Into a block like any other.
void ShownRows::ReadDeep(int end)
{
    const int begin = m_spec.y + m_blockBegin;
    OIIO::DeepData data;
    const bool isRead =
        m_spec.tile_width
            ? m_image.read_native_deep_tiles(m_part, m_level, m_spec.x, m_spec.x + m_spec.width,
                                             begin, end, m_spec.z, m_spec.z + 1, 0,
                                             m_spec.nchannels, data)
            : m_image.read_native_deep_scanlines(m_part, m_level, begin, end, m_spec.z, 0,
                                                 m_spec.nchannels, data);
    if (!isRead || m_image.has_error())
        throw std::runtime_error(ErrorOf(m_image));

    const int channels = m_endChannel - m_firstChannel;
    m_floats.assign(std::size_t(data.pixels()) * std::size_t(channels), 0.0f);
    for (std::int64_t pixel = 0; pixel < data.pixels(); ++pixel)
        FlattenDeep(
            data, pixel, m_firstChannel, m_layer.alpha,
            {m_floats.data() + std::size_t(pixel) * std::size_t(channels), std::size_t(channels)});
}

void ShownRows::FillRow(int line)
{
    const int channels = m_endChannel - m_firstChannel;
    const std::int64_t left = std::int64_t(m_spec.x) - m_spec.full_x;
    const std::int64_t begin = std::max<std::int64_t>(left, 0);
    const std::int64_t end = std::min<std::int64_t>(left + m_spec.width, Width());
    std::fill(m_row.begin(), m_row.end(), 0.0f);

    const auto fill = [&](const auto *values, auto &&colour, auto &&alpha)
    {
        const Layer &layer = m_layer;
        const auto at = [&](int channel) { return values[channel - m_firstChannel]; };
        for (std::int64_t x = begin; x < end; ++x, values += channels)
        {
            float *pixel = m_row.data() + std::size_t(x) * 4;
            pixel[3] = layer.alpha < 0 ? 1.0f : alpha(at(layer.alpha));
            const float weight = m_isUnassociated ? pixel[3] : 1.0f;
            if (layer.red >= 0)
                pixel[0] = colour(at(layer.red)) * weight;
            if (layer.green >= 0)
                pixel[1] = layer.green == layer.red ? pixel[0] : colour(at(layer.green)) * weight;
            if (layer.blue >= 0)
                pixel[2] = layer.blue == layer.red ? pixel[0] : colour(at(layer.blue)) * weight;
        }
    };
    if (begin >= end)
        return;
    const std::size_t first =
        (std::size_t(line - m_blockBegin) * std::size_t(m_spec.width) + std::size_t(begin - left)) *
        std::size_t(channels);
    if (m_isTabled)
        fill(
            m_shorts.data() + first, [&](std::uint16_t value) { return m_table[value]; },
            [](std::uint16_t value) { return float(value) / 65535.0f; });
    else if (m_curve == Curve::Linear)
        fill(
            m_floats.data() + first, [](float value) { return value; },
            [](float value) { return value; });
    else
        fill(
            m_floats.data() + first, [&](float value) { return Straighten(value); },
            [](float value) { return value; });
}

} // namespace decode
