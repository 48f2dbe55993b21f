#pragma once

#include <functional>
#include <iosfwd>
#include <optional>
#include <vector>

#include "check/CheckTable.h"
#include "check/pictures/PictureJudge.h"

namespace check
{

/// A picture of light, row by row from the upper left corner. Of 160 x 90 pixels the tiles are 32 x
/// 18, of 5 x 5 pixels each.
struct SamplePicture
{
    int width = 160;
    int height = 90;
    std::vector<float> light = std::vector<float>(std::size_t(width) * std::size_t(height));

    float &At(int x, int y)
    {
        return light[std::size_t(y) * std::size_t(width) + std::size_t(x)];
    }
};

/// By frame; nothing where none is known.
using SampleShot = std::vector<std::optional<SamplePicture>>;

/// Light of a ground with shapes some 5 to 30 pixels wide, 0.05 to 0.8; smooth between pixels. Each
/// `seed` is another ground.
float Ground(double x, double y, unsigned seed = 1);

using LightOfPixel = std::function<float(int frame, int x, int y)>;
SampleShot MakeShot(int frames, const LightOfPixel &lightOf);
/// Each frame has the same pixels.
SampleShot StillShot(int frames);
/// The ground goes by, at so many pixels a frame.
SampleShot PanningShot(int frames, double pixels = 1.3);
/// A bright disc with a pattern, 12 pixels wide, goes over ground that stands still.
SampleShot ShotWithObject(int frames);

/// The pixels take `stops` of noise, up to so much up or down.
void AddNoise(SamplePicture &picture, double stops, unsigned seed);
/// Each frame takes its own, the same in each run.
void AddNoise(SampleShot &shot, double stops);
void Expose(SamplePicture &picture, double stops);
void Fill(SamplePicture &picture, const PicturePlace &place, float light);
/// Copies a place of another picture.
void CopyPlace(SamplePicture &to, const SamplePicture &from, const PicturePlace &place);

/// The measures of a shot, as the pictures' files would give them.
class MeasuredShot
{
public:
    explicit MeasuredShot(const SampleShot &shot);

    void Set(std::size_t frame, const std::optional<SamplePicture> &picture);
    /// Valid until the shot is changed.
    std::vector<const decode::PictureMeasures *> Frames() const;

private:
    std::vector<std::optional<decode::PictureMeasures>> m_frames;
};

/// What a judge says who has not seen anything before.
PictureFindings JudgeShot(const SampleShot &shot);

/// How failed comparisons show them.
void PrintTo(const PicturePlace &place, std::ostream *stream);
void PrintTo(const PictureFinding &finding, std::ostream *stream);

} // namespace check
