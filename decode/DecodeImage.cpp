#include "decode/DecodeImage.h"

#include <OpenImageIO/imageio.h>
#include <OpenImageIO/strutil.h>
#include <OpenImageIO/thread.h>
#include <algorithm>
#include <array>
#include <malloc.h>
#include <optional>

#include "decode/DeflatedTiff.h"
#include "decode/ImageFile.h"
#include "decode/JpegPixels.h"
#include "decode/PartPixels.h"
#include "decode/PictureMeter.h"
#include "decode/PixelHash.h"
#include "decode/PixelTally.h"

namespace decode
{

namespace
{

using OIIO::ImageInput;
using OIIO::ImageSpec;
using ostrel::Path;

String JoinChannels(const ImageSpec &spec)
{
    String text;
    for (const std::string &name : spec.channelnames)
        text += (text.empty() ? "" : ",") + name;
    return text;
}

// Of positions and motion, of normals and masks negative values are nothing strange.
std::vector<std::size_t> ColourChannels(const ImageSpec &spec)
{
    std::vector<std::size_t> channels;
    for (std::size_t i = 0; i < spec.channelnames.size(); ++i)
    {
        // Of "beauty.R" the end counts; the Y of a layer is that of a place, not of light.
        const std::string &whole = spec.channelnames[i];
        const std::string name = whole.substr(whole.rfind('.') + 1);
        const auto is = [&](const char *colour) { return OIIO::Strutil::iequals(name, colour); };
        if (is("R") || is("G") || is("B") || (is("Y") && name == whole))
            channels.push_back(i);
    }
    return channels;
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
    report.negativePixels += tally.NegativePixels();
    for (int channel = 0; channel < spec.nchannels; ++channel)
        if (tally.IsWild(channel))
            report.wildChannels +=
                (report.wildChannels.empty() ? "" : ",") + spec.channelnames[std::size_t(channel)];
    if (!tally.IsOneColour())
        report.colour.clear();
    else if (part == 0)
        report.colour = tally.FirstColour();
}

// One file, part by part. The readers of some formats pass over damage that can be known of: those
// are read here.
class FileReader
{
public:
    FileReader(const Path &path, const ImageFile &file, ReportDepth depth)
        : m_path(path), m_image(*file.image), m_isJpeg(file.format == "jpeg"), m_depth(depth)
    {
        if (file.format == "tiff")
            m_tiff.emplace(path);
    }

    // The reason why it cannot be read to its end, or is damaged; empty when it is sound.
    String Read(ImageReport &report)
    {
        String reason = ReadParts(report);
        if (reason.empty() && m_tiff)
            reason = m_tiff->FindBadChecksum();
        return reason;
    }

private:
    String ReadParts(ImageReport &report)
    {
        int part = 0;
        for (; m_image.seek_subimage(part, 0); ++part)
        {
            ImageSpec spec = m_image.spec(part, 0);
            if (spec.deep)
                spec.format = OIIO::TypeFloat;
            PixelTally tally(spec.format, spec.nchannels);
            tally.CountNegative(ColourChannels(spec));
            std::optional<PictureMeter> meter;
            if (m_depth == ReportDepth::Measured && part == 0)
                meter.emplace(spec);
            if (m_depth == ReportDepth::Measured)
                for (const std::int64_t number :
                     {spec.full_x, spec.full_y, spec.full_width, spec.full_height, spec.x, spec.y,
                      spec.width, spec.height, spec.nchannels, int(spec.format.basetype)})
                    m_hash.Add(number);
            if (String reason = ReadPart(part, spec, tally, meter); !reason.empty())
                return reason;
            AddPart(report, part, spec, tally);
            if (meter)
                report.measures = meter->Finish();
        }
        if (!report.measures.tiles.empty())
            report.measures.hash = m_hash.Value();
        m_image.geterror(); // That there is no further part.
        if (part == 0)
            return "it holds no picture";
        if (!m_image.close() || m_image.has_error())
            return ErrorOf(m_image);
        return {};
    }

    String ReadPart(int part, const ImageSpec &spec, PixelTally &tally,
                    std::optional<PictureMeter> &meter)
    {
        // Each channel comes in the same type, whatever each is stored in.
        const std::size_t pixelBytes = std::size_t(spec.nchannels) * spec.format.size();
        const TakePixels measure = [&](const PixelBlock &block)
        {
            m_hash.Add(block, pixelBytes);
            if (meter)
                meter->Add(block);
        };
        const bool isMeasured = m_depth == ReportDepth::Measured;
        const auto take = [&](const PixelBlock &block)
        {
            tally.Add(block);
            if (isMeasured)
                measure(block);
        };
        const auto takeSample = [&](const float *sample)
        {
            tally.Add(sample, 1);
            if (isMeasured)
                m_hash.Add({reinterpret_cast<const char *>(sample), 0, 0, 1, 1, 1}, pixelBytes);
        };
        if (const auto reason = m_tiff     ? m_tiff->ReadPart(part, spec, take)
                                : m_isJpeg ? ReadJpeg(m_path, spec, take)
                                           : std::nullopt)
            return *reason;
        const bool isRead = spec.deep ? ReadDeepPart(m_image, part, spec, takeSample,
                                                     isMeasured ? measure : TakePixels())
                                      : ReadFlatPart(m_image, part, spec, take);
        if (!isRead)
            return ErrorOf(m_image);
        return m_isJpeg ? FindCorruptData(m_path) : String();
    }

    const Path &m_path;
    ImageInput &m_image;
    bool m_isJpeg;
    ReportDepth m_depth;
    PixelHash m_hash;
    std::optional<DeflatedTiff> m_tiff;
};

ImageReport Decode(const Path &path, ReportDepth depth)
{
    ImageReport report;
    const ImageFile file = OpenImage(path);
    report.formatByName = file.formatByName;
    report.reason = file.reason;
    if (!file.image)
        return report;
    report.format = file.format;
    report.reason = FileReader(path, file, depth).Read(report);
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

ImageReport DecodeImage(const Path &path, ReportDepth depth)
{
    UseOneThread();

    ImageReport report = Decode(path, depth);
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
