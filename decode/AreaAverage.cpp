#include "decode/AreaAverage.h"

#include <algorithm>
#include <cassert>
#include <cmath>

namespace decode
{

AreaAverage::AreaAverage(int width, int height, int newWidth, int newHeight)
    : m_width(width), m_newWidth(newWidth), m_columns(SharesOf(width, newWidth)),
      m_rows(SharesOf(height, newHeight)), m_narrow(std::size_t(newWidth) * 4),
      m_narrowWild(std::size_t(newWidth)),
      m_pixels(std::size_t(newWidth) * std::size_t(newHeight) * 4),
      m_wild(std::size_t(newWidth) * std::size_t(newHeight))
{
}

// In whole numbers: an old pixel is `newSize` long and a new one `size`.
std::vector<AreaAverage::Share> AreaAverage::SharesOf(int size, int newSize)
{
    assert(newSize >= 1 && newSize <= size);
    std::vector<Share> shares;
    shares.reserve(std::size_t(size));
    for (std::int64_t i = 0; i < size; ++i)
    {
        const std::int64_t begin = i * newSize;
        const std::int64_t here = std::min<std::int64_t>(newSize, size - begin % size);
        shares.push_back(
            {int(begin / size), float(here) / float(size), float(newSize - here) / float(size)});
    }
    return shares;
}

// Nearly always all values are numbers: the first loop has no branch.
const float *AreaAverage::WithoutWild(const float *row)
{
    const std::size_t values = std::size_t(m_width) * 4;
    m_isNarrowWild = false;
    for (std::size_t i = 0; i < values; ++i)
        m_isNarrowWild |= !std::isfinite(row[i]);
    if (!m_isNarrowWild)
        return row;

    m_clean.assign(row, row + values);
    std::fill(m_narrowWild.begin(), m_narrowWild.end(), 0);
    for (std::size_t i = 0; i < values; ++i)
    {
        if (std::isfinite(row[i]))
            continue;
        m_clean[i] = 0.0f;
        const Share &share = m_columns[i / 4];
        m_narrowWild[std::size_t(share.place)] = 1;
        if (share.next > 0.0f)
            m_narrowWild[std::size_t(share.place) + 1] = 1;
    }
    return m_clean.data();
}

void AreaAverage::AddRow(int y, const float *row)
{
    row = WithoutWild(row);
    std::fill(m_narrow.begin(), m_narrow.end(), 0.0f);
    for (std::size_t x = 0; x < std::size_t(m_width); ++x)
    {
        const Share &share = m_columns[x];
        float *to = m_narrow.data() + std::size_t(share.place) * 4;
        for (std::size_t i = 0; i < 4; ++i)
            to[i] += row[x * 4 + i] * share.here;
        if (share.next > 0.0f)
            for (std::size_t i = 0; i < 4; ++i)
                to[4 + i] += row[x * 4 + i] * share.next;
    }
    const Share &share = m_rows[std::size_t(y)];
    AddTo(share.place, share.here);
    if (share.next > 0.0f)
        AddTo(share.place + 1, share.next);
}

void AreaAverage::AddTo(int newY, float weight)
{
    const std::size_t first = std::size_t(newY) * std::size_t(m_newWidth);
    for (std::size_t i = 0; i < m_narrow.size(); ++i)
        m_pixels[first * 4 + i] += m_narrow[i] * weight;
    if (m_isNarrowWild)
        for (std::size_t i = 0; i < m_narrowWild.size(); ++i)
            m_wild[first + i] |= m_narrowWild[i];
}

} // namespace decode
