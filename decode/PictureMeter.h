#pragma once

#include <OpenImageIO/imageio.h>
#include <array>
#include <deque>
#include <vector>

#include "decode/ColumnSums.h"
#include "decode/LightOfPixels.h"
#include "decode/PictureMeasures.h"
#include "decode/PixelBlock.h"

namespace decode
{

/// Measures a picture while its blocks come. Keeps the rows that are not complete yet and a few
/// sums a column; the time it takes goes with the pixels that have data.
class PictureMeter
{
public:
    /// `spec`: of the part that is shown. The tiles lie over its display window; what lies beyond
    /// is not measured, and where the display window has no pixels they are black.
    explicit PictureMeter(const OIIO::ImageSpec &spec);

    /// Blocks come from the top to the bottom; of a volume the first slice counts.
    void Add(const PixelBlock &block);
    /// Once all blocks came. The hash is left to the caller.
    PictureMeasures Finish();

private:
    /// A row of the data window that comes piece by piece: what the display window shows of it.
    struct Row
    {
        std::vector<float> light;
        int filled = 0; ///< Pixels of the data window that came.
    };

    void Fill(Row &row, const char *pixels, int x, int count);
    float *NextRow();
    void TakeNext(bool isBlack);
    void TakeBlack();
    std::vector<float> &RowAt(int y);
    void MeasureUntil(int end);
    void MeasureRows(int first, int end);
    bool IsBlackAround(int first, int end) const;
    void FindPeaks(int y, int first, int end);
    void Keep(int x, int y, float light);
    void EndTiles(int tileRow);

    LightOfPixels m_lightOf;
    std::size_t m_pixelBytes;
    int m_left = 0; ///< Of the data window in the display window, in pixels.
    int m_top = 0;
    int m_dataWidth;
    int m_shownFirst = 0; ///< Columns of the display window that have data.
    int m_shownEnd = 0;
    PictureMeasures m_measures;
    std::vector<int> m_xEdges;
    std::vector<int> m_yEdges;
    int m_tileRow = 0;
    bool m_isHalved = false;           ///< The upper half of the tiles is done.
    std::vector<ColumnSums> m_columns; ///< Since the tiles that are at work began.
    std::deque<Row> m_coming;          ///< From data row `m_nextData` on.
    int m_nextData = 0;
    /// Rows are measured so many at a time, which needs those above and below them, too.
    static constexpr int k_at_once = 8;
    static constexpr std::size_t k_rows = k_at_once + 2;
    /// Display row y is in y % k_rows: from its second value on, the first and the last pixel
    /// twice. Beyond the columns that have data all are 0.
    std::array<std::vector<float>, k_rows> m_rows;
    std::array<bool, k_rows> m_isBlack; ///< All of the row is 0.
    int m_nextRow = 0;                  ///< Of the display window.
    int m_measured = 0;                 ///< Rows that are in the sums.
    std::vector<int> m_peakColumns;     ///< Where a step of columns may have one.
    float m_dimmest = 0;                ///< No peak up to this light is kept any more.
};

} // namespace decode
