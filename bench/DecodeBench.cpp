// Image files read whole by child processes, as `corvan check --decode` does. All in the page
// cache. Yardstick: a loop in this process that opens each with OpenImageIO and reads it in one go.
//
// And what it costs beyond that to measure the pictures, as `corvan check --pictures` does: the
// loop and one child, reading with and without, in turn. What the child takes to start is told by
// itself. "measures" as argument has this alone, and names of formats after it these.
#include <OpenImageIO/imageio.h>
#include <algorithm>
#include <cmath>
#include <memory>
#include <span>
#include <string_view>
#include <sys/resource.h>

#include "bench/Measure.h"
#include "decode/DecodeFiles.h"
#include "ostrel/Exception.h"

using namespace bench;
using OIIO::ImageInput;
using OIIO::ImageOutput;
using OIIO::ImageSpec;
using ostrel::Path;

namespace
{

constexpr int k_width = 1920;
constexpr int k_height = 1080;
constexpr std::size_t k_frames = 24;

// What this process and its ended children have used of a processor, in milliseconds: it tells what
// the work costs, whatever else the machine does.
double FamilyTimeMs()
{
    double sum = 0;
    for (const auto who : {RUSAGE_SELF, RUSAGE_CHILDREN})
    {
        rusage usage{};
        getrusage(who, &usage);
        for (const timeval &time : {usage.ru_utime, usage.ru_stime})
            sum += double(time.tv_sec) * 1e3 + double(time.tv_usec) / 1e3;
    }
    return sum;
}

// The time that passes, and that of processors.
struct Costs
{
    Timing passed;
    Timing used;
};

template <typename Run> Costs MeasureCosts(Run &&run)
{
    std::vector<double> used;
    double start = 0;
    const Timing passed = Measure(
        3, [&] { start = FamilyTimeMs(); },
        [&]
        {
            run();
            used.push_back(FamilyTimeMs() - start);
        });
    return {passed, FromTimes(used)};
}

void Require(bool holds, const std::string &what)
{
    if (holds)
        return;
    std::fprintf(stderr, "%s\n", what.c_str());
    std::exit(1);
}

std::vector<float> Waves(int channels)
{
    std::vector<float> pixels;
    unsigned noise = 7;
    for (int y = 0; y < k_height; ++y)
        for (int x = 0; x < k_width; ++x)
            for (int channel = 0; channel < channels; ++channel)
            {
                noise = noise * 1664525u + 1013904223u;
                pixels.push_back(0.5f + 0.3f * std::sin(float(x + y * channel) * 0.01f) +
                                 float(noise >> 24) / 256.0f * 0.02f);
            }
    return pixels;
}

std::vector<Path> MakeImages(const Folder &folder, const std::string &extension,
                             const ImageSpec &spec)
{
    const std::vector<float> pixels = Waves(spec.nchannels);
    std::vector<Path> files;
    for (std::size_t frame = 1; frame <= k_frames; ++frame)
    {
        files.emplace_back(folder / (std::to_string(frame) + extension));
        const std::unique_ptr<ImageOutput> file = ImageOutput::create(files.back().Text());
        Require(file && file->open(files.back().Text(), spec) &&
                    file->write_image(OIIO::TypeFloat, pixels.data()) && file->close(),
                OIIO::geterror());
    }
    return files;
}

void ReadPlainly(std::span<const Path> files)
{
    std::vector<char> pixels;
    for (const Path &path : files)
    {
        const std::unique_ptr<ImageInput> file = ImageInput::open(path.Text());
        Require(bool(file), "cannot open " + path.Text());
        const ImageSpec &spec = file->spec();
        pixels.resize(spec.image_bytes());
        Require(file->read_image(0, 0, 0, -1, spec.format, pixels.data()), file->geterror());
    }
}

void ReadInChildren(const std::vector<Path> &files, unsigned jobs,
                    decode::ReportDepth depth = decode::ReportDepth::Whole)
{
    decode::DecodeLimits limits;
    limits.jobs = jobs;
    decode::DecodeFiles(
        decode::DecoderProgram(), files, limits,
        [depth](std::size_t, const decode::ImageReport &report)
        {
            Require(report.reason.empty(), report.reason);
            Require(report.measures.tiles.empty() == (depth == decode::ReportDepth::Whole),
                    "measured where that was asked for");
        },
        depth);
}

void MeasureFormat(const std::string &what, const std::string &extension, const ImageSpec &spec)
{
    const Folder folder;
    const std::vector<Path> files = MakeImages(folder, extension, spec);
    const Costs plain = MeasureCosts([&] { ReadPlainly(files); });
    PrintYardstick(what + ", loop in one process", k_frames, plain.passed);
    PrintYardstick(what + ", loop in one process, processor", k_frames, plain.used);
    for (const unsigned jobs : {1u, 2u})
    {
        const std::string row = what + ", child processes: " + std::to_string(jobs);
        const Costs costs = MeasureCosts([&] { ReadInChildren(files, jobs); });
        PrintRow(row, k_frames, costs.passed, plain.passed);
        PrintRow(row + ", processor", k_frames, costs.used, plain.used);
    }
}

// In turn, so that whatever else the machine does meets both alike.
void MeasureDepths(const std::string &what, const std::string &extension, const ImageSpec &spec)
{
    constexpr int k_repetitions = 7;
    const Folder folder;
    const std::vector<Path> files = MakeImages(folder, extension, spec);
    const auto usedMs = [](auto read)
    {
        const double start = FamilyTimeMs();
        read();
        return FamilyTimeMs() - start;
    };
    std::vector<double> plain;
    std::vector<double> starts;
    std::vector<double> whole;
    std::vector<double> measured;
    // Less what a child costs that reads one: its start would hide the rest.
    const auto furtherMs = [&](decode::ReportDepth depth)
    {
        const double all = usedMs([&] { ReadInChildren(files, 1, depth); });
        const double one = usedMs([&] { ReadInChildren({files.front()}, 1, depth); });
        starts.push_back(one - (all - one) / double(k_frames - 1));
        return all - one;
    };
    for (int i = 0; i < k_repetitions; ++i)
    {
        plain.push_back(usedMs([&] { ReadPlainly(std::span(files).subspan(1)); }));
        whole.push_back(furtherMs(decode::ReportDepth::Whole));
        measured.push_back(furtherMs(decode::ReportDepth::Measured));
    }
    PrintYardstick(what + ", loop in one process", k_frames - 1, FromTimes(plain));
    PrintRow(what + ", read by a child, to the loop", k_frames - 1, FromTimes(whole),
             FromTimes(plain));
    PrintRow(what + ", measured by it, to being read", k_frames - 1, FromTimes(measured),
             FromTimes(whole));
    PrintRow(what + ", start of the child, to the loop", k_frames - 1, FromTimes(starts),
             FromTimes(plain));
}

ImageSpec Packed(int channels, OIIO::TypeDesc type, const char *compression)
{
    ImageSpec spec(k_width, k_height, channels, type);
    spec["compression"] = compression;
    return spec;
}

void MeasureAllDepths(std::span<const char *const> formats)
{
    const auto measure = [formats](const char *what, const char *extension, const ImageSpec &spec)
    {
        if (formats.empty() || std::ranges::find(formats, std::string_view(what)) != formats.end())
            MeasureDepths(what, extension, spec);
    };
    PrintHead("What measuring pictures costs, of a processor");
    const ImageSpec bytes(k_width, k_height, 3, OIIO::TypeUInt8);
    const ImageSpec words(k_width, k_height, 3, OIIO::TypeUInt16);
    measure("JPEG", ".jpg", bytes);
    measure("PNG, 8 bits", ".png", bytes);
    measure("PNG, 16 bits", ".png", words);
    measure("DPX, 16 bits", ".dpx", words);
    ImageSpec ten = words;
    ten["oiio:BitsPerSample"] = 10;
    measure("DPX, 10 bits", ".dpx", ten);
    measure("TIFF zip, 16 bits", ".tif", Packed(3, OIIO::TypeUInt16, "zip"));
    measure("EXR zip, half", ".exr", Packed(4, OIIO::TypeHalf, "zip"));
    measure("EXR piz, half", ".exr", Packed(4, OIIO::TypeHalf, "piz"));
    measure("EXR zip, float", ".exr", Packed(4, OIIO::TypeFloat, "zip"));
}

void MeasureAllFormats()
{
    PrintHead("Images read whole");
    MeasureFormat("EXR zip, half", ".exr", Packed(4, OIIO::TypeHalf, "zip"));
    MeasureFormat("PNG, 8 bits", ".png", ImageSpec(k_width, k_height, 3, OIIO::TypeUInt8));
    MeasureFormat("DPX, 16 bits", ".dpx", ImageSpec(k_width, k_height, 3, OIIO::TypeUInt16));
    MeasureFormat("TIFF zip, 16 bits", ".tif", Packed(3, OIIO::TypeUInt16, "zip"));
    MeasureFormat("JPEG", ".jpg", ImageSpec(k_width, k_height, 3, OIIO::TypeUInt8));
}

} // namespace

int main(int count, char **arguments)
{
    const bool isShort = count > 1 && std::string_view(arguments[1]) == "measures";
    if (count > 1 && !isShort)
    {
        std::fputs("decode_bench [measures [FORMAT...]]\n", stderr);
        return 2;
    }
    OIIO::attribute("threads", 1);
    OIIO::attribute("exr_threads", -1);
    try
    {
        if (!isShort)
            MeasureAllFormats();
        MeasureAllDepths(std::span(arguments, std::size_t(count)).subspan(isShort ? 2 : 1));
    }
    catch (ostrel::Exception *raw)
    {
        const std::unique_ptr<ostrel::Exception> error(raw);
        Require(false, error->Text());
    }
}
