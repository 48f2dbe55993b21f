#include "decode/DecodeImage.h"

#include <OpenImageIO/deepdata.h>
#include <OpenImageIO/imageio.h>
#include <OpenImageIO/thread.h>
#include <algorithm>
#include <malloc.h>
#include <vector>

#include "decode/ImageFile.h"
#include "decode/JpegData.h"
#include "decode/PixelTally.h"
#include "decode/TiffChecksums.h"

namespace decode
{

namespace
{

using OIIO::ImageInput;
using OIIO::ImageSpec;
using ostrel::Path;

// One part of an image, rows [begin, end) of one slice at a time.
class PartReader
{
public:
    PartReader(ImageInput &image, int part, const ImageSpec &spec)
        : m_image(image), m_part(part), m_spec(spec), m_tally(spec.format, spec.nchannels)
    {
    }

    bool Read()
    {
        const int depth = m_spec.tile_width ? std::max(m_spec.tile_depth, 1) : 1;
        const int rows = m_spec.tile_width ? m_spec.tile_height : RowsAtOnce(m_spec);
        const int zEnd = m_spec.z + std::max(m_spec.depth, 1);
        const int yEnd = m_spec.y + m_spec.height;
        for (int z = m_spec.z; z < zEnd; z += depth)
            for (int y = m_spec.y; y < yEnd; y += rows)
                if (!ReadBlock({y, std::min(y + rows, yEnd), z, std::min(z + depth, zEnd)}) ||
                    m_image.has_error()) // Some readers fill in what is missing, and go on.
                    return false;
        return true;
    }

    const PixelTally &Tally() const
    {
        return m_tally;
    }

private:
    struct Block
    {
        int yBegin;
        int yEnd;
        int zBegin;
        int zEnd;
    };

    bool ReadBlock(const Block &block)
    {
        return m_spec.deep ? ReadDeep(block) : ReadFlat(block);
    }

    bool ReadFlat(const Block &block)
    {
        const std::uint64_t pixels = std::uint64_t(m_spec.width) *
                                     std::uint64_t(block.yEnd - block.yBegin) *
                                     std::uint64_t(block.zEnd - block.zBegin);
        m_buffer.resize(pixels * std::uint64_t(m_spec.nchannels) * m_spec.format.size());
        const bool isRead =
            m_spec.tile_width
                ? m_image.read_tiles(m_part, 0, m_spec.x, m_spec.x + m_spec.width, block.yBegin,
                                     block.yEnd, block.zBegin, block.zEnd, 0, m_spec.nchannels,
                                     m_spec.format, m_buffer.data())
                : m_image.read_scanlines(m_part, 0, block.yBegin, block.yEnd, block.zBegin, 0,
                                         m_spec.nchannels, m_spec.format, m_buffer.data());
        if (isRead)
            m_tally.Add(m_buffer.data(), pixels);
        return isRead;
    }

    // A sample counts as a pixel.
    bool ReadDeep(const Block &block)
    {
        OIIO::DeepData data;
        const bool isRead =
            m_spec.tile_width
                ? m_image.read_native_deep_tiles(m_part, 0, m_spec.x, m_spec.x + m_spec.width,
                                                 block.yBegin, block.yEnd, block.zBegin, block.zEnd,
                                                 0, m_spec.nchannels, data)
                : m_image.read_native_deep_scanlines(m_part, 0, block.yBegin, block.yEnd,
                                                     block.zBegin, 0, m_spec.nchannels, data);
        if (!isRead)
            return false;
        std::vector<float> sample(std::size_t(m_spec.nchannels));
        for (std::int64_t pixel = 0; pixel < data.pixels(); ++pixel)
            for (int i = 0; i < data.samples(pixel); ++i)
            {
                for (int channel = 0; channel < m_spec.nchannels; ++channel)
                    sample[std::size_t(channel)] = data.deep_value(pixel, channel, i);
                m_tally.Add(sample.data(), 1);
            }
        return true;
    }

    ImageInput &m_image;
    int m_part;
    const ImageSpec &m_spec;
    PixelTally m_tally;
    std::vector<char> m_buffer;
};

String JoinChannels(const ImageSpec &spec)
{
    String text;
    for (const std::string &name : spec.channelnames)
        text += (text.empty() ? "" : ",") + name;
    return text;
}

void AddPart(ImageReport &report, int part, const ImageSpec &spec, const PixelTally &tally)
{
    if (part == 0)
    {
        report.width = spec.full_width;
        report.height = spec.full_height;
    }
    report.channels += (part ? " + " : "") + JoinChannels(spec);
    report.pixels += tally.Pixels();
    report.nanPixels += tally.NanPixels();
    report.infinitePixels += tally.InfinitePixels();
    for (int channel = 0; channel < spec.nchannels; ++channel)
        if (tally.IsWild(channel))
            report.wildChannels +=
                (report.wildChannels.empty() ? "" : ",") + spec.channelnames[std::size_t(channel)];
    if (!tally.IsOneColour())
        report.colour.clear();
    else if (part == 0)
        report.colour = tally.FirstColour();
}

// The reason why it cannot be read to its end; empty when it was.
String ReadParts(ImageInput &image, ImageReport &report)
{
    int part = 0;
    for (; image.seek_subimage(part, 0); ++part)
    {
        ImageSpec spec = image.spec(part, 0);
        if (spec.deep)
            spec.format = OIIO::TypeFloat;
        PartReader reader(image, part, spec);
        if (!reader.Read())
            return ErrorOf(image);
        AddPart(report, part, spec, reader.Tally());
    }
    image.geterror(); // That there is no further part.
    if (part == 0)
        return "it holds no picture";
    if (!image.close() || image.has_error())
        return ErrorOf(image);
    return {};
}

// What the readers pass over.
String FindHiddenDamage(const Path &path, const String &format)
{
    if (format == "tiff")
        return FindBadChecksum(path);
    if (format == "jpeg")
        return FindCorruptData(path);
    return {};
}

ImageReport Decode(const Path &path)
{
    ImageReport report;
    const ImageFile file = OpenImage(path);
    report.formatByName = file.formatByName;
    report.reason = file.reason;
    if (!file.image)
        return report;
    report.format = file.format;
    report.reason = ReadParts(*file.image, report);
    if (report.reason.empty())
        report.reason = FindHiddenDamage(path, report.format);
    return report;
}

} // namespace

void StartImageLibraries()
{
    // Each thread that allocates would reserve a room of its own.
    mallopt(M_ARENA_MAX, 1);
    UseOneThread();
    ImageInput::create("openexr");
    OIIO::default_thread_pool();
}

ImageReport DecodeImage(const Path &path)
{
    UseOneThread();

    ImageReport report = Decode(path);
    if (report.reason.empty())
        return report;
    const String trouble = FindReadTrouble(path);
    if (trouble.empty())
        return report;
    report = {};
    report.trouble = trouble;
    return report;
}

} // namespace decode
