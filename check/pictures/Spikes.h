#pragma once

#include <optional>
#include <span>
#include <vector>

namespace check
{

/// A number a frame and a place (a tile, a block, or the one place of a whole picture).
class SpikeSeries
{
public:
    SpikeSeries(std::size_t frames, std::size_t places)
        : m_places(places), m_values(frames * places), m_isKnown(frames)
    {
    }

    std::size_t Frames() const
    {
        return m_isKnown.size();
    }
    std::size_t Places() const
    {
        return m_places;
    }
    /// The values of a frame, to be filled; it is known from here on.
    std::span<float> Fill(std::size_t frame)
    {
        m_isKnown[frame] = true;
        return {m_values.data() + frame * m_places, m_places};
    }
    void Set(std::size_t frame, std::size_t place, float value)
    {
        Fill(frame)[place] = value;
    }
    std::span<const float> At(std::size_t frame) const
    {
        return {m_values.data() + frame * m_places, m_places};
    }
    bool IsKnown(std::size_t frame) const
    {
        return m_isKnown[frame];
    }

private:
    std::size_t m_places;
    std::vector<float> m_values;
    std::vector<bool> m_isKnown;
};

/// How far a value is beyond both others, where they lie on the same side of it, less the way
/// between them: a step, a ramp and the middle of one give 0.
float SpikeOf(float before, float value, float after);

/// What is usual at a place around a frame: of the frames before it and of those after it the
/// second highest, and of these the higher, so that one other fault hides nothing. Where one side
/// has too few, the second highest of twice as many of the other side counts in its place, or the
/// highest of those few.
float UsualAt(const SpikeSeries &series, std::size_t frame, std::size_t place);

/// Whether it is a habit of the shot: in a longer time around some other frames have about as much
/// there, as where a strobe flashes.
bool IsHabit(const SpikeSeries &series, std::size_t frame, std::size_t place, float value);

/// Each place takes the greatest of those around it, `reach` to each side on a grid so wide.
void SpreadOverPlaces(SpikeSeries &series, int columns, int reach);

} // namespace check
