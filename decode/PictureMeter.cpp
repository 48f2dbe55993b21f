#include "decode/PictureMeter.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>

namespace decode
{

namespace
{

using OIIO::ImageSpec;

// A sum of light over so many pixels.
struct Sum
{
    double light;
    int pixels;
};

// The steps of a tile's slopes. A tile of one row or column has no halves, and none.
std::int8_t SlopeOf(const Sum &first, const Sum &second)
{
    if (first.pixels == 0)
        return 0;
    const double one = first.light / first.pixels;
    const double other = second.light / second.pixels;
    constexpr double k_steps = 32;
    constexpr double k_most = 127;
    // What is as dark as that has no slope to speak of.
    const double stops = std::log2((other + k_BlackLight) / (one + k_BlackLight));
    return std::int8_t(std::clamp(std::round(stops * k_steps), -k_most, k_most));
}

// Of the columns of a tile, from the left. Sums that are equal to the bit come of equal pixels as a
// rule: what moves or is noise rounds otherwise.
class TileMark
{
public:
    void Add(float light, float upper)
    {
        const auto bits = std::uint64_t(std::bit_cast<std::uint32_t>(light)) << 32 |
                          std::bit_cast<std::uint32_t>(upper);
        // The golden ratio of 64 bits spreads what is added upwards (D. Knuth, The Art of Computer
        // Programming, 6.4).
        m_bits = (std::rotr(m_bits, 23) ^ bits) * 0x9e3779b97f4a7c15;
    }
    std::uint16_t Value() const
    {
        return std::uint16_t(m_bits >> 48);
    }

private:
    std::uint64_t m_bits = 0;
};

bool IsBrighter(const Peak &one, const Peak &other)
{
    return one.greatest > other.greatest;
}

} // namespace

PictureMeter::PictureMeter(const ImageSpec &spec)
    : m_lightOf(spec), m_pixelBytes(std::size_t(spec.nchannels) * spec.format.size()),
      m_dataWidth(spec.width)
{
    int width = spec.full_width;
    int height = spec.full_height;
    const std::int64_t left = std::int64_t(spec.x) - spec.full_x;
    const std::int64_t top = std::int64_t(spec.y) - spec.full_y;
    // A file may say anything of its display window, also that it is elsewhere.
    if (width <= 0 || height <= 0 || width > k_MostPictureSide || height > k_MostPictureSide ||
        std::abs(left) > k_MostPictureSide || std::abs(top) > k_MostPictureSide)
    {
        width = std::clamp(spec.width, 1, k_MostPictureSide);
        height = std::clamp(spec.height, 1, k_MostPictureSide);
    }
    else
    {
        m_left = int(left);
        m_top = int(top);
    }
    m_shownFirst = std::clamp(m_left, 0, width);
    m_shownEnd = int(std::clamp<std::int64_t>(std::int64_t(m_left) + m_dataWidth, 0, width));
    m_measures.width = width;
    m_measures.height = height;
    m_measures.columns = TileCount(width, std::max(width, height));
    m_measures.rows = TileCount(height, std::max(width, height));
    m_xEdges = TileEdges(width, m_measures.columns);
    m_yEdges = TileEdges(height, m_measures.rows);
    m_columns.resize(std::size_t((width - 1) / ColumnSums::k_count + 1));
    m_isBlack.fill(true);
    for (std::vector<float> &row : m_rows)
        row.resize(m_columns.size() * ColumnSums::k_count + 2);
    for (int y = 0; y < std::min(m_top, height); ++y)
        TakeBlack();
    m_nextData = std::max(-m_top, 0);
}

void PictureMeter::Fill(Row &row, const char *pixels, int x, int count)
{
    row.light.resize(std::size_t(m_shownEnd - m_shownFirst));
    row.filled += count;
    const int first = std::max(m_left + x, m_shownFirst);
    const int last = std::min(m_left + x + count, m_shownEnd);
    if (first < last)
        m_lightOf.Convert(pixels + std::size_t(first - m_left - x) * m_pixelBytes, last - first,
                          row.light.data() + first - m_shownFirst);
}

void PictureMeter::Add(const PixelBlock &block)
{
    for (int i = 0; i < block.height; ++i)
    {
        const int y = block.y + i - m_nextData;
        if (y < 0 || m_top + block.y + i >= m_measures.height)
            continue;
        const char *const pixels =
            block.pixels + std::size_t(i) * std::size_t(block.stride) * m_pixelBytes;
        if (y == 0 && m_coming.empty() && block.width == m_dataWidth)
        {
            if (m_shownFirst < m_shownEnd)
                m_lightOf.Convert(pixels + std::size_t(m_shownFirst - m_left) * m_pixelBytes,
                                  m_shownEnd - m_shownFirst, NextRow());
            TakeNext(m_shownFirst == m_shownEnd);
            ++m_nextData;
            continue;
        }
        while (m_coming.size() <= std::size_t(y))
            m_coming.emplace_back();
        Fill(m_coming[std::size_t(y)], pixels, block.x, block.width);
        for (; !m_coming.empty() && m_coming.front().filled >= m_dataWidth; ++m_nextData)
        {
            std::ranges::copy(m_coming.front().light, NextRow());
            TakeNext(m_shownFirst == m_shownEnd);
            m_coming.pop_front();
        }
    }
}

std::vector<float> &PictureMeter::RowAt(int y)
{
    return m_rows[std::size_t(y) % k_rows];
}

// Where the first column that has data goes.
float *PictureMeter::NextRow()
{
    return RowAt(m_nextRow).data() + 1 + m_shownFirst;
}

void PictureMeter::TakeNext(bool isBlack)
{
    if (m_nextRow >= m_measures.height)
        return;
    std::vector<float> &row = RowAt(m_nextRow);
    const auto width = std::size_t(m_measures.width);
    row[0] = row[1];
    row[width + 1] = row[width];
    m_isBlack[std::size_t(m_nextRow) % k_rows] = isBlack;
    if (m_nextRow - m_measured >= k_at_once)
        MeasureUntil(m_nextRow);
    ++m_nextRow;
}

void PictureMeter::TakeBlack()
{
    if (!m_isBlack[std::size_t(m_nextRow) % k_rows])
        std::ranges::fill(RowAt(m_nextRow), 0.0f);
    TakeNext(true);
}

// The sums are looked at where a half of the tiles ends.
void PictureMeter::MeasureUntil(int end)
{
    while (m_measured < end)
    {
        const int tileEnd = m_yEdges[std::size_t(m_tileRow) + 1];
        const int middle = (m_yEdges[std::size_t(m_tileRow)] + tileEnd) / 2;
        if (!m_isHalved && m_measured >= middle)
        {
            for (ColumnSums &columns : m_columns)
                columns.upper = columns.light;
            m_isHalved = true;
        }
        const int next = std::min(end, m_isHalved ? tileEnd : middle);
        if (!IsBlackAround(m_measured, next))
            MeasureRows(m_measured, next);
        m_measured = next;
        if (next == tileEnd)
            EndTiles(m_tileRow++);
    }
}

bool PictureMeter::IsBlackAround(int first, int end) const
{
    for (int y = std::max(first - 1, 0); y < std::min(end + 1, m_measures.height); ++y)
        if (!m_isBlack[std::size_t(y) % k_rows])
            return false;
    return true;
}

void PictureMeter::MeasureRows(int first, int end)
{
    std::array<const float *, k_rows> rows{};
    std::size_t count = 0;
    for (int y = first - 1; y <= end; ++y)
        rows[count++] = RowAt(std::clamp(y, 0, m_measures.height - 1)).data();

    // What has data touches one column more on either side.
    int x = std::max(m_shownFirst - 1, 0) / ColumnSums::k_count * ColumnSums::k_count;
    m_peakColumns.clear();
    for (; x < std::min(m_shownEnd + 1, m_measures.width); x += ColumnSums::k_count)
    {
        std::array<const float *, k_rows> from = rows;
        for (const float *&row : std::span(from).first(count))
            row += x;
        if (AddRows(m_columns[std::size_t(x / ColumnSums::k_count)], std::span(from).first(count)))
            m_peakColumns.push_back(x);
    }
    for (int y = first; y < end; ++y)
        for (const int column : m_peakColumns)
            FindPeaks(y, column, std::min(column + ColumnSums::k_count, m_measures.width));
}

void PictureMeter::FindPeaks(int y, int first, int end)
{
    const float *const above = RowAt(std::max(y - 1, 0)).data();
    const float *const at = RowAt(y).data();
    const float *const below = RowAt(std::min(y + 1, m_measures.height - 1)).data();
    for (int x = first; x < end; ++x)
    {
        const float most = at[x + 1] / k_PeakRatio;
        if (!(most > float(k_BlackLight)))
            continue;
        const int dimmer = (above[x] < most) + (above[x + 1] < most) + (above[x + 2] < most) +
                           (at[x] < most) + (at[x + 2] < most) + (below[x] < most) +
                           (below[x + 1] < most) + (below[x + 2] < most);
        if (dimmer >= 7)
            Keep(x, y, at[x + 1]);
    }
}

void PictureMeter::Keep(int x, int y, float light)
{
    std::vector<Peak> &peaks = m_measures.peaks;
    if (light <= m_dimmest)
        return;
    peaks.push_back({std::uint16_t(x), std::uint16_t(y), CoarseLevelOf(double(light))});
    std::ranges::push_heap(peaks, IsBrighter);
    if (peaks.size() <= k_MostPeaks)
        return;
    std::ranges::pop_heap(peaks, IsBrighter);
    peaks.pop_back();
    m_dimmest = float(std::exp2(StopsOf(peaks.front().greatest)));
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
        TileMark mark;
        for (int x = first; x < end; ++x)
        {
            const ColumnSums &columns = m_columns[std::size_t(x / ColumnSums::k_count)];
            const auto at = std::size_t(x % ColumnSums::k_count);
            (x < middle ? left : right) += double(columns.light[at]);
            upper += double(columns.upper[at]);
            detail += double(columns.detail[at]);
            lit += double(columns.lit[at]);
            greatest = std::max(greatest, columns.greatest[at]);
            mark.Add(columns.light[at], columns.upper[at]);
        }
        const double area = double(end - first) * height;
        const double all = left + right;
        const int upperRows = height / 2;
        m_measures.tiles.push_back(
            {LevelOf(all / area), CoarseLevelOf(detail / area), CoarseLevelOf(double(greatest)),
             std::uint8_t(std::lround(255 * (1 - lit / area))),
             SlopeOf({left, (middle - first) * height}, {right, (end - middle) * height}),
             SlopeOf({upper, (end - first) * upperRows},
                     {all - upper, (end - first) * (height - upperRows)}),
             mark.Value()});
    }
    std::ranges::fill(m_columns, ColumnSums());
    m_isHalved = false;
}

PictureMeasures PictureMeter::Finish()
{
    while (m_nextRow < m_measures.height)
        TakeBlack();
    MeasureUntil(m_measures.height);
    std::ranges::sort(m_measures.peaks, [](const Peak &one, const Peak &other)
                      { return std::pair(one.y, one.x) < std::pair(other.y, other.x); });
    return std::move(m_measures);
}

} // namespace decode
