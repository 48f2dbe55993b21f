#include "tests/check/pictures/SampleShot.h"

#include <bit>
#include <cmath>
#include <ostream>
#include <random>

#include "decode/PictureMeter.h"

namespace check
{

using decode::PictureMeasures;

namespace
{

// A number from -1 to 1 for each point of a grid.
double Chance(int x, int y, unsigned seed)
{
    std::uint32_t bits =
        std::uint32_t(x) * 0x9e3779b1u ^ std::uint32_t(y) * 0x85ebca77u ^ seed * 0xc2b2ae3du;
    for (const std::uint32_t factor : {0x7feb352du, 0x846ca68bu})
        bits = (bits ^ (bits >> 15)) * factor;
    return double(bits ^ (bits >> 16)) / 0x7fffffff - 1;
}

double Mix(double one, double other, double share)
{
    return one + (other - one) * share * share * (3 - 2 * share);
}

double Smooth(double x, double y, unsigned seed)
{
    const double left = std::floor(x);
    const double top = std::floor(y);
    const auto at = [&](int right, int below)
    { return Chance(int(left) + right, int(top) + below, seed); };
    return Mix(Mix(at(0, 0), at(1, 0), x - left), Mix(at(0, 1), at(1, 1), x - left), y - top);
}

std::uint64_t HashOf(const SamplePicture &picture)
{
    std::uint64_t hash = 0xcbf29ce484222325u;
    for (const float light : picture.light)
        hash = (hash ^ std::bit_cast<std::uint32_t>(light)) * 0x100000001b3u;
    return hash;
}

PictureMeasures MeasureOf(const SamplePicture &picture)
{
    const OIIO::ImageSpec spec(picture.width, picture.height, 1, OIIO::TypeFloat);
    decode::PictureMeter meter(spec);
    decode::PixelBlock block;
    block.width = picture.width;
    block.height = picture.height;
    block.stride = picture.width;
    block.pixels = reinterpret_cast<const char *>(picture.light.data());
    meter.Add(block);
    PictureMeasures measures = meter.Finish();
    measures.hash = HashOf(picture);
    return measures;
}

} // namespace

float Ground(double x, double y, unsigned seed)
{
    const double stops = 1.4 * Smooth(x / 29, y / 29, seed) + 0.8 * Smooth(x / 9, y / 9, seed + 7);
    return float(0.2 * std::exp2(stops));
}

SampleShot MakeShot(int frames, const LightOfPixel &lightOf)
{
    SampleShot shot;
    for (int frame = 0; frame < frames; ++frame)
    {
        SamplePicture &picture = shot.emplace_back().emplace();
        for (int y = 0; y < picture.height; ++y)
            for (int x = 0; x < picture.width; ++x)
                picture.At(x, y) = lightOf(frame, x, y);
    }
    return shot;
}

SampleShot StillShot(int frames)
{
    return MakeShot(frames, [](int, int x, int y) { return Ground(x, y); });
}

SampleShot PanningShot(int frames, double pixels)
{
    return MakeShot(frames,
                    [pixels](int frame, int x, int y) { return Ground(x + pixels * frame, y); });
}

SampleShot ShotWithObject(int frames)
{
    return MakeShot(frames,
                    [](int frame, int x, int y)
                    {
                        const double across = x - 20 - 1.5 * frame;
                        const double down = y - 45;
                        return std::hypot(across, down) < 6 ? 1.5f * Ground(4 * across, 4 * down, 9)
                                                            : Ground(x, y);
                    });
}

void AddNoise(SamplePicture &picture, double stops, unsigned seed)
{
    std::minstd_rand chance(seed + 1);
    for (float &light : picture.light)
        light *= float(std::exp2(stops * (2 * double(chance()) / chance.max() - 1)));
}

void AddNoise(SampleShot &shot, double stops)
{
    for (std::size_t frame = 0; frame < shot.size(); ++frame)
        if (shot[frame])
            AddNoise(*shot[frame], stops, unsigned(frame));
}

void Expose(SamplePicture &picture, double stops)
{
    for (float &light : picture.light)
        light *= float(std::exp2(stops));
}

void Fill(SamplePicture &picture, const PicturePlace &place, float light)
{
    for (int y = place.y; y < place.y + place.height; ++y)
        for (int x = place.x; x < place.x + place.width; ++x)
            picture.At(x, y) = light;
}

void CopyPlace(SamplePicture &to, const SamplePicture &from, const PicturePlace &place)
{
    SamplePicture source = from;
    for (int y = place.y; y < place.y + place.height; ++y)
        for (int x = place.x; x < place.x + place.width; ++x)
            to.At(x, y) = source.At(x, y);
}

MeasuredShot::MeasuredShot(const SampleShot &shot) : m_frames(shot.size())
{
    for (std::size_t frame = 0; frame < shot.size(); ++frame)
        Set(frame, shot[frame]);
}

void MeasuredShot::Set(std::size_t frame, const std::optional<SamplePicture> &picture)
{
    m_frames[frame].reset();
    if (picture)
        m_frames[frame] = MeasureOf(*picture);
}

std::vector<const PictureMeasures *> MeasuredShot::Frames() const
{
    std::vector<const PictureMeasures *> frames;
    for (const std::optional<PictureMeasures> &frame : m_frames)
        frames.push_back(frame ? &*frame : nullptr);
    return frames;
}

PictureFindings JudgeShot(const SampleShot &shot)
{
    const MeasuredShot measured(shot);
    return PictureJudge().Judge(measured.Frames());
}

void PrintTo(const PicturePlace &place, std::ostream *stream)
{
    *stream << place.x << ',' << place.y << ' ' << place.width << 'x' << place.height;
}

void PrintTo(const PictureFinding &finding, std::ostream *stream)
{
    *stream << StateText(finding.state) << ' ' << finding.detail << " [";
    PrintTo(finding.place, stream);
    *stream << ']';
}

} // namespace check
