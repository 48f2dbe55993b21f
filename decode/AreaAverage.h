#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace decode
{

/// Makes an image smaller: each new pixel is the mean of the area that it covers. Pixels are four
/// values side by side.
class AreaAverage
{
public:
    /// Sizes in pixels; the new one is no larger, and neither is empty.
    AreaAverage(int width, int height, int newWidth, int newHeight);

    /// One row of the image. A row that is never added is 0. A value that is no finite number
    /// counts as 0, and is remembered.
    void AddRow(int y, const float *row);

    /// All new pixels, row by row, four values each.
    const std::vector<float> &Pixels() const
    {
        return m_pixels;
    }
    /// Whether the area of a new pixel holds a value that is no finite number.
    bool IsWild(std::size_t pixel) const
    {
        return m_wild[pixel];
    }

private:
    // Of one pixel, along one direction: the new pixel that it falls into and how much of that one
    // it is, and how much it is of the next.
    struct Share
    {
        int place;
        float here;
        float next;
    };

    static std::vector<Share> SharesOf(int size, int newSize);
    const float *WithoutWild(const float *row);
    void AddTo(int newY, float weight);

    int m_width;
    int m_newWidth;
    std::vector<Share> m_columns;
    std::vector<Share> m_rows;
    std::vector<float> m_narrow; // The row that is added, of the new width.
    std::vector<char> m_narrowWild;
    bool m_isNarrowWild = false;
    std::vector<float> m_clean;
    std::vector<float> m_pixels;
    std::vector<char> m_wild;
};

} // namespace decode
