#include "decode/PictureMeter.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace decode
{

namespace
{

using OIIO::ImageSpec;

constexpr int k_most_side = 65535;

// The steps of a tile's slopes.
std::int8_t SlopeOf(double one, double other)
{
    constexpr double k_steps = 32;
    constexpr double k_most = 127;
    // What is as dark as that has no slope to speak of.
    const double stops = std::log2((other + k_BlackLight) / (one + k_BlackLight));
    return std::int8_t(std::clamp(std::round(stops * k_steps), -k_most, k_most));
}

bool IsBrighter(const Peak &one, const Peak &other)
{
    return one.greatest > other.greatest;
}

} // namespace

PictureMeter::PictureMeter(const ImageSpec &spec)
    : m_lightOf(spec), m_pixelBytes(std::size_t(spec.nchannels) * spec.format.size()),
      m_left(spec.x - spec.full_x), m_top(spec.y - spec.full_y), m_dataWidth(spec.width),
      m_dataHeight(spec.height)
{
    int width = spec.full_width;
    int height = spec.full_height;
    // A file may say anything of its display window, also that it is elsewhere.
    if (width <= 0 || height <= 0 || width > k_most_side || height > k_most_side ||
        std::abs(std::int64_t(m_left)) > k_most_side || std::abs(std::int64_t(m_top)) > k_most_side)
    {
        width = std::min(spec.width, k_most_side);
        height = std::min(spec.height, k_most_side);
        m_left = m_top = 0;
    }
    m_measures.width = width;
    m_measures.height = height;
    m_measures.columns = TileCount(width, std::max(width, height));
    m_measures.rows = TileCount(height, std::max(width, height));
    m_xEdges = TileEdges(width, m_measures.columns);
    m_yEdges = TileEdges(height, m_measures.rows);
    m_isPeak.resize(std::size_t(width));
    Begin();
    // Above the data window.
    for (int y = 0; y < std::min(m_top, height); ++y)
        TakeRow({});
    m_nextData = std::max(-m_top, 0);
}

void PictureMeter::Begin()
{
    const auto width = std::size_t(m_measures.width);
    for (auto *const sums : {&m_columns.light, &m_columns.upper, &m_columns.detail,
                             &m_columns.greatest, &m_columns.lit})
        sums->assign(width, 0);
    m_isHalved = false;
}

void PictureMeter::Fill(Row &row, const char *pixels, int x, int count)
{
    row.light.resize(std::size_t(m_measures.width) + 2);
    row.filled += count;
    const int first = std::max(m_left + x, 0);
    const int last = std::min(m_left + x + count, m_measures.width);
    if (first < last)
        m_lightOf.Convert(pixels + std::size_t(first - m_left - x) * m_pixelBytes, last - first,
                          row.light.data() + first + 1);
}

void PictureMeter::Add(const PixelBlock &block)
{
    for (int i = 0; i < block.height; ++i)
    {
        const int y = block.y + i - m_nextData;
        if (y < 0 || m_top + block.y + i >= m_measures.height)
            continue;
        while (m_coming.size() <= std::size_t(y))
            m_coming.emplace_back();
        Fill(m_coming[std::size_t(y)],
             block.pixels + std::size_t(i) * std::size_t(block.stride) * m_pixelBytes, block.x,
             block.width);
        while (!m_coming.empty() && m_coming.front().filled >= m_dataWidth)
        {
            TakeRow(std::move(m_coming.front()));
            m_coming.pop_front();
            ++m_nextData;
        }
    }
}

void PictureMeter::TakeRow(Row &&row)
{
    if (m_nextRow > m_measures.height)
        return;
    const auto width = std::size_t(m_measures.width);
    row.light.resize(width + 2);
    row.light[0] = row.light[1];
    row.light[width + 1] = row.light[width];
    m_last.push_back(std::move(row.light));
    ++m_nextRow;
    if (m_last.size() == 2 && m_nextRow == 2)
        Measure(0, m_last[0].data(), m_last[0].data(), m_last[1].data());
    if (m_last.size() == 3)
    {
        Measure(m_nextRow - 2, m_last[0].data(), m_last[1].data(), m_last[2].data());
        m_last.pop_front();
    }
}

void PictureMeter::Measure(int y, const float *above, const float *at, const float *below)
{
    if (y + 1 == m_measures.height)
        below = at;
    if (!m_isHalved &&
        y >= (m_yEdges[std::size_t(m_tileRow)] + m_yEdges[std::size_t(m_tileRow) + 1]) / 2)
    {
        m_columns.upper = m_columns.light;
        m_isHalved = true;
    }
    AddToColumns(above, at, below);
    FindPeaks(y, above, at, below);
    if (y + 1 == m_yEdges[std::size_t(m_tileRow) + 1])
    {
        EndTiles(m_tileRow++);
        Begin();
    }
}

// A loop over the columns alone is one that the compiler makes of wide instructions.
void PictureMeter::AddToColumns(const float *above, const float *at, const float *below)
{
    const int width = m_measures.width;
    float *const light = m_columns.light.data();
    float *const detail = m_columns.detail.data();
    float *const greatest = m_columns.greatest.data();
    float *const lit = m_columns.lit.data();
    constexpr auto k_black = float(k_BlackLight);
    for (int x = 0; x < width; ++x)
    {
        const float here = at[x + 1];
        light[x] += here;
        greatest[x] = greatest[x] > here ? greatest[x] : here;
        lit[x] += here > k_black ? 1.0f : 0.0f;
        detail[x] += std::abs(4 * here - at[x] - at[x + 2] - above[x + 1] - below[x + 1]);
    }
}

void PictureMeter::FindPeaks(int y, const float *above, const float *at, const float *below)
{
    const int width = m_measures.width;
    unsigned char *const isPeak = m_isPeak.data();
    constexpr auto k_black = float(k_BlackLight);
    for (int x = 0; x < width; ++x)
    {
        const float most = at[x + 1] / k_PeakRatio;
        const int below7 = (above[x] < most) + (above[x + 1] < most) + (above[x + 2] < most) +
                           (at[x] < most) + (at[x + 2] < most) + (below[x] < most) +
                           (below[x + 1] < most) + (below[x + 2] < most);
        isPeak[x] = static_cast<unsigned char>(below7 >= 7 && most > k_black);
    }
    for (int x = 0; x < width; ++x)
    {
        // Eight at a time, since hardly any is one.
        std::uint64_t some = 1;
        if (x % 8 == 0 && x + 8 <= width)
            std::memcpy(&some, isPeak + x, sizeof some);
        if (some == 0)
        {
            x += 7;
            continue;
        }
        if (!isPeak[x])
            continue;
        ++m_measures.peakCount;
        m_measures.peaks.push_back(
            {std::uint16_t(x), std::uint16_t(y), CoarseLevelOf(double(at[x + 1]))});
        std::ranges::push_heap(m_measures.peaks, IsBrighter);
        if (m_measures.peaks.size() > k_MostPeaks)
        {
            std::ranges::pop_heap(m_measures.peaks, IsBrighter);
            m_measures.peaks.pop_back();
        }
    }
}

void PictureMeter::EndTiles(int tileRow)
{
    const int height = m_yEdges[std::size_t(tileRow) + 1] - m_yEdges[std::size_t(tileRow)];
    for (std::size_t tile = 0; tile + 1 < m_xEdges.size(); ++tile)
    {
        const int first = m_xEdges[tile];
        const int end = m_xEdges[tile + 1];
        const int middle = (first + end) / 2;
        double left = 0;
        double right = 0;
        double upper = 0;
        double detail = 0;
        double lit = 0;
        float greatest = 0;
        for (int x = first; x < end; ++x)
        {
            const auto at = std::size_t(x);
            (x < middle ? left : right) += double(m_columns.light[at]);
            upper += double(m_columns.upper[at]);
            detail += double(m_columns.detail[at]);
            lit += double(m_columns.lit[at]);
            greatest = std::max(greatest, m_columns.greatest[at]);
        }
        const double area = double(end - first) * height;
        const double all = left + right;
        const int upperRows = height / 2;
        const auto perPixel = [](double sum, int count) { return count > 0 ? sum / count : 0; };
        m_measures.tiles.push_back(
            {LevelOf(all / area), CoarseLevelOf(detail / area), CoarseLevelOf(double(greatest)),
             std::uint8_t(std::lround(255 * (1 - lit / area))),
             SlopeOf(perPixel(left, (middle - first) * height),
                     perPixel(right, (end - middle) * height)),
             SlopeOf(perPixel(upper, (end - first) * upperRows),
                     perPixel(all - upper, (end - first) * (height - upperRows)))});
    }
}

PictureMeasures PictureMeter::Finish()
{
    // Below the data window, and one more, under the last.
    while (m_nextRow <= m_measures.height)
        TakeRow({});
    std::ranges::sort(m_measures.peaks, [](const Peak &one, const Peak &other)
                      { return std::pair(one.y, one.x) < std::pair(other.y, other.x); });
    return std::move(m_measures);
}

} // namespace decode
