#pragma once

#include <optional>
#include <span>
#include <vector>

#include "decode/PictureMeasures.h"

namespace check
{

/// Pictures that follow each other, with their tiles' light as judged: the logarithm to base 2,
/// darkness and glare aside. Positions are indices into the frames it was made of.
class PictureSequence
{
public:
    using Measures = decode::PictureMeasures;

    /// The frames in the order of time; null, or of another grid than most, where nothing is known.
    explicit PictureSequence(std::span<const Measures *const> frames);

    std::size_t Size() const
    {
        return m_frames.size();
    }
    std::size_t Tiles() const
    {
        return std::size_t(m_columns) * std::size_t(m_rows);
    }
    int Columns() const
    {
        return m_columns;
    }
    int Rows() const
    {
        return m_rows;
    }
    /// Null where nothing is known.
    const Measures *At(std::size_t frame) const
    {
        return m_frames[frame];
    }
    std::span<const float> Light(std::size_t frame) const
    {
        return {m_light.data() + frame * Tiles(), Tiles()};
    }
    /// The mean light of a whole picture, linear.
    double MeanLight(std::size_t frame) const
    {
        return m_means[frame];
    }

    /// The mean of what all tiles differ by between the frames next to one, in stops. It has both.
    float WayAcross(std::size_t frame) const;

    /// The nearest frame before or after that is known and no farther than some.
    std::optional<std::size_t> Before(std::size_t frame) const;
    std::optional<std::size_t> After(std::size_t frame) const;
    /// Whether it is known, and the frames next to it are.
    bool HasNeighbours(std::size_t frame) const
    {
        return frame > 0 && frame + 1 < Size() && m_frames[frame] && m_frames[frame - 1] &&
               m_frames[frame + 1];
    }

private:
    std::vector<const Measures *> m_frames;
    int m_columns = 0;
    int m_rows = 0;
    std::vector<float> m_light;
    std::vector<double> m_means;
};

} // namespace check
