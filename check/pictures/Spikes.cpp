#include "check/pictures/Spikes.h"

#include <algorithm>
#include <cmath>

#include "check/pictures/PictureRules.h"

namespace check
{

namespace
{

// The two highest of some values.
struct Highest
{
    float first = 0;
    float second = 0;
    int count = 0;

    void Add(float value)
    {
        ++count;
        second = std::max(second, std::min(first, value));
        first = std::max(first, value);
    }
};

// A side with fewer says little of what is usual.
constexpr int k_enough = 4;

// Of the nearest `most` frames on one side, those that are known.
Highest HighestOf(const SpikeSeries &series, std::size_t frame, std::size_t place, int step,
                  int most)
{
    Highest found;
    auto at = std::ptrdiff_t(frame) + step;
    for (int i = 0; i < most; ++i, at += step)
    {
        if (at < 0 || at >= std::ptrdiff_t(series.Frames()))
            break;
        if (series.IsKnown(std::size_t(at)))
            found.Add(series.At(std::size_t(at))[place]);
    }
    return found;
}

} // namespace

float SpikeOf(float before, float value, float after)
{
    const float rise = value - before;
    const float fall = value - after;
    if ((rise > 0) != (fall > 0))
        return 0;
    return std::max(0.0f, std::min(std::abs(rise), std::abs(fall)) - std::abs(after - before));
}

float UsualAt(const SpikeSeries &series, std::size_t frame, std::size_t place)
{
    using picture_rules::k_History;
    const Highest before = HighestOf(series, frame, place, -1, k_History);
    const Highest after = HighestOf(series, frame, place, 1, k_History);
    const auto beside = [&](const Highest &few, int step)
    {
        const Highest many = HighestOf(series, frame, place, step, 2 * k_History);
        return std::max(few.first, many.count < k_enough ? many.first : many.second);
    };
    if (before.count < k_enough)
        return beside(before, 1);
    if (after.count < k_enough)
        return beside(after, -1);
    return std::max(before.second, after.second);
}

bool IsHabit(const SpikeSeries &series, std::size_t frame, std::size_t place, float value)
{
    using namespace picture_rules;
    const std::size_t first = frame > std::size_t(k_Habit) ? frame - k_Habit : 0;
    const std::size_t end = std::min(frame + k_Habit + 1, series.Frames());
    int alike = 0;
    for (std::size_t other = first; other < end; ++other)
    {
        if (other == frame || !series.IsKnown(other))
            continue;
        const float there = series.At(other)[place];
        alike += there * k_HabitTimes >= value && there <= value * k_HabitTimes;
    }
    return alike >= k_HabitFrames;
}

void SpreadOverPlaces(SpikeSeries &series, int columns, int reach)
{
    const int rows = columns > 0 ? int(series.Places()) / columns : 0;
    std::vector<float> across(series.Places());
    for (std::size_t frame = 0; frame < series.Frames(); ++frame)
    {
        if (!series.IsKnown(frame))
            continue;
        const std::span<float> values = series.Fill(frame);
        for (int y = 0; y < rows; ++y)
            for (int x = 0; x < columns; ++x)
            {
                const auto *const row = values.data() + std::ptrdiff_t(y) * columns;
                across[std::size_t(y * columns + x)] = *std::max_element(
                    row + std::max(x - reach, 0), row + std::min(x + reach + 1, columns));
            }
        for (int y = 0; y < rows; ++y)
            for (int x = 0; x < columns; ++x)
            {
                float most = 0;
                for (int other = std::max(y - reach, 0); other < std::min(y + reach + 1, rows);
                     ++other)
                    most = std::max(most, across[std::size_t(other * columns + x)]);
                values[std::size_t(y * columns + x)] = most;
            }
    }
}

} // namespace check
