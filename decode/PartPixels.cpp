#include "decode/PartPixels.h"

#include <OpenImageIO/deepdata.h>
#include <algorithm>
#include <vector>

#include "decode/FlattenDeep.h"
#include "decode/ImageFile.h"

namespace decode
{

namespace
{

using OIIO::DeepData;
using OIIO::ImageInput;
using OIIO::ImageSpec;

// Rows [yBegin, yEnd) of slices [zBegin, zEnd).
struct Slab
{
    int yBegin;
    int yEnd;
    int zBegin;
    int zEnd;
};

// Has all slabs of a part read, as its blocks lie.
template <typename Read> bool ReadSlabs(ImageInput &image, const ImageSpec &spec, Read read)
{
    const int depth = spec.tile_width ? std::max(spec.tile_depth, 1) : 1;
    const int rows = spec.tile_width ? spec.tile_height : RowsAtOnce(spec);
    const int zEnd = spec.z + std::max(spec.depth, 1);
    const int yEnd = spec.y + spec.height;
    for (int z = spec.z; z < zEnd; z += depth)
        for (int y = spec.y; y < yEnd; y += rows)
            if (!read(Slab{y, std::min(y + rows, yEnd), z, std::min(z + depth, zEnd)}) ||
                image.has_error()) // Some readers fill in what is missing, and go on.
                return false;
    return true;
}

} // namespace

bool ReadFlatPart(ImageInput &image, int part, const ImageSpec &spec, const TakePixels &take)
{
    std::vector<char> pixels;
    const auto readSlab = [&](const Slab &slab)
    {
        const int rows = slab.yEnd - slab.yBegin;
        const std::size_t sliceBytes = std::size_t(spec.width) * std::size_t(rows) *
                                       std::size_t(spec.nchannels) * spec.format.size();
        pixels.resize(sliceBytes * std::size_t(slab.zEnd - slab.zBegin));
        const bool isRead =
            spec.tile_width ? image.read_tiles(part, 0, spec.x, spec.x + spec.width, slab.yBegin,
                                               slab.yEnd, slab.zBegin, slab.zEnd, 0, spec.nchannels,
                                               spec.format, pixels.data())
                            : image.read_scanlines(part, 0, slab.yBegin, slab.yEnd, slab.zBegin, 0,
                                                   spec.nchannels, spec.format, pixels.data());
        const char *slice = pixels.data();
        for (int z = slab.zBegin; isRead && z < slab.zEnd; ++z, slice += sliceBytes)
            take({slice, 0, slab.yBegin - spec.y, spec.width, rows, spec.width});
        return isRead;
    };
    return ReadSlabs(image, spec, readSlab);
}

bool ReadDeepPart(ImageInput &image, int part, const ImageSpec &spec,
                  const std::function<void(const float *)> &take, const TakePixels &takeFlat)
{
    const auto channels = std::size_t(spec.nchannels);
    std::vector<float> sample(channels);
    std::vector<float> flat;
    const auto flatten = [&](const Slab &slab, DeepData &data)
    {
        flat.assign(std::size_t(data.pixels()) * channels, 0.0f);
        for (std::int64_t pixel = 0; pixel < data.pixels(); ++pixel)
            FlattenDeep(data, pixel, 0, spec.alpha_channel,
                        {flat.data() + std::size_t(pixel) * channels, channels});
        const int rows = slab.yEnd - slab.yBegin;
        const float *slice = flat.data();
        for (int z = slab.zBegin; z < slab.zEnd; ++z)
        {
            takeFlat({reinterpret_cast<const char *>(slice), 0, slab.yBegin - spec.y, spec.width,
                      rows, spec.width});
            slice += std::size_t(spec.width) * std::size_t(rows) * channels;
        }
    };
    const auto readSlab = [&](const Slab &slab)
    {
        DeepData data;
        const bool isRead =
            spec.tile_width
                ? image.read_native_deep_tiles(part, 0, spec.x, spec.x + spec.width, slab.yBegin,
                                               slab.yEnd, slab.zBegin, slab.zEnd, 0, spec.nchannels,
                                               data)
                : image.read_native_deep_scanlines(part, 0, slab.yBegin, slab.yEnd, slab.zBegin, 0,
                                                   spec.nchannels, data);
        for (std::int64_t pixel = 0; isRead && pixel < data.pixels(); ++pixel)
            for (int i = 0; i < data.samples(pixel); ++i)
            {
                for (int channel = 0; channel < spec.nchannels; ++channel)
                    sample[std::size_t(channel)] = data.deep_value(pixel, channel, i);
                take(sample.data());
            }
        if (isRead && takeFlat)
            flatten(slab, data);
        return isRead;
    };
    return ReadSlabs(image, spec, readSlab);
}

} // namespace decode
