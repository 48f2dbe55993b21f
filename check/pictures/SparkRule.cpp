#include "check/pictures/SparkRule.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>

#include "check/pictures/PictureRules.h"
#include "check/pictures/Spikes.h"
#include "check/pictures/TileArea.h"

namespace check
{

using decode::Peak;
using decode::PictureMeasures;
using decode::StopsOf;
using namespace picture_rules;

namespace
{

bool HasPeakAt(const PictureMeasures &measures, const Peak &peak)
{
    return std::ranges::any_of(measures.peaks,
                               [&peak](const Peak &other) {
                                   return std::abs(other.x - peak.x) <= k_PeakReach &&
                                          std::abs(other.y - peak.y) <= k_PeakReach;
                               });
}

// The tile of a pixel; that of one at the lower right end is the last.
int TileAt(int pixel, int pixels, int tiles)
{
    return std::min(int(std::int64_t(pixel) * tiles / pixels), tiles - 1);
}

// The brightest pixel of the tile that a peak is in and of those around it.
double BrightestAround(const PictureMeasures &measures, const Peak &peak)
{
    const int column = TileAt(peak.x, measures.width, measures.columns);
    const int row = TileAt(peak.y, measures.height, measures.rows);
    std::uint8_t most = 0;
    for (int y = std::max(row - 1, 0); y <= std::min(row + 1, measures.rows - 1); ++y)
        for (int x = std::max(column - 1, 0); x <= std::min(column + 1, measures.columns - 1); ++x)
            most = std::max(most, measures.tiles[std::size_t(y * measures.columns + x)].greatest);
    return StopsOf(most);
}

// Peaks of a frame that its neighbours do not have.
struct NewPeaks
{
    std::vector<Peak> peaks;
    std::vector<Peak> strong; ///< Those of them that are above all that is around.
};

NewPeaks FindNewPeaks(const PictureSequence &pictures, std::size_t frame)
{
    const bool isFirst = frame == 0;
    const bool isLast = frame + 1 == pictures.Size();
    const PictureMeasures &before = *pictures.At(isFirst ? frame + 1 : frame - 1);
    const PictureMeasures &after = *pictures.At(isLast ? frame - 1 : frame + 1);
    NewPeaks found;
    for (const Peak &peak : pictures.At(frame)->peaks)
    {
        if (HasPeakAt(before, peak) || HasPeakAt(after, peak))
            continue;
        found.peaks.push_back(peak);
        const double around = std::max(BrightestAround(before, peak), BrightestAround(after, peak));
        if (StopsOf(peak.greatest) > around + k_StrongSpark)
            found.strong.push_back(peak);
    }
    return found;
}

PicturePlace PlaceOfPeaks(const std::vector<Peak> &peaks)
{
    const auto [left, right] = std::ranges::minmax_element(peaks, {}, &Peak::x);
    const auto [top, bottom] = std::ranges::minmax_element(peaks, {}, &Peak::y);
    return {left->x, top->y, right->x - left->x + 1, bottom->y - top->y + 1};
}

PictureFinding TellSparks(const std::vector<Peak> &peaks, float usual)
{
    const PicturePlace place = PlaceOfPeaks(peaks);
    const ostrel::String what =
        peaks.size() == 1
            ? fmt::format("a bright pixel that no frame beside has, at {},{}", place.x, place.y)
            : fmt::format("{} bright pixels that no frame beside has, within {}", peaks.size(),
                          PlaceText(place));
    return {CheckState::Sparks, fmt::format("{}; new ones that are usual: {:.0f}", what, usual),
            place};
}

// Frames at an end of the shot have one neighbour.
bool IsEnd(const PictureSequence &pictures, std::size_t frame)
{
    if (pictures.Size() < 2 || !pictures.At(frame))
        return false;
    return (frame == 0 && pictures.At(1)) ||
           (frame > 0 && frame + 1 == pictures.Size() && pictures.At(frame - 1));
}

// That no frame of the time around has one.
bool IsQuiet(const SpikeSeries &strong, std::size_t frame)
{
    const std::size_t first = frame > std::size_t(k_History) ? frame - k_History : 0;
    const std::size_t last = std::min(frame + k_History, strong.Frames() - 1);
    for (std::size_t other = first; other <= last; ++other)
        if (other != frame && strong.At(other)[0] > 0)
            return false;
    return true;
}

} // namespace

PictureFindings FindSparks(const PictureSequence &pictures)
{
    SpikeSeries counts(pictures.Size(), 1);
    SpikeSeries strong(pictures.Size(), 1);
    std::map<std::size_t, NewPeaks> found;
    for (std::size_t frame = 0; frame < pictures.Size(); ++frame)
    {
        if (!pictures.HasNeighbours(frame) && !IsEnd(pictures, frame))
            continue;
        NewPeaks peaks = FindNewPeaks(pictures, frame);
        counts.Set(frame, 0, float(peaks.peaks.size()));
        strong.Set(frame, 0, float(peaks.strong.size()));
        if (!peaks.peaks.empty())
            found[frame] = std::move(peaks);
    }

    PictureFindings findings;
    for (const auto &[frame, peaks] : found)
    {
        const float usual = UsualAt(counts, frame, 0);
        const float count = counts.At(frame)[0];
        const bool isEnd = IsEnd(pictures, frame);
        const bool areUsual = usual > k_SnowPeaks;
        const float more = std::max(isEnd ? k_MoreSparks : 0,
                                    areUsual ? std::max(k_MoreSparks, k_SnowShare * usual) : 0);
        const bool areMany = !isEnd && count > (areUsual ? k_UsualTimes : 1) * usual +
                                                   k_SparkDeviations * std::sqrt(usual + 1) +
                                                   k_LeastSparks;
        const bool isLonely = usual <= k_QuietPeaks && IsQuiet(strong, frame);
        const float least = isLonely ? 1 : k_LeastStrongSparks;
        const bool areStrong =
            !(isEnd && areUsual) &&
            float(peaks.strong.size()) >= least + k_UsualTimes * UsualAt(strong, frame, 0) + more;
        if (areMany || areStrong)
            findings[frame] = TellSparks(areMany ? peaks.peaks : peaks.strong, usual);
    }
    return findings;
}

} // namespace check
