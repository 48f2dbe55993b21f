#pragma once

#include <OpenImageIO/imageio.h>
#include <deque>
#include <vector>

#include "decode/LightOfPixels.h"
#include "decode/PictureMeasures.h"
#include "decode/PixelBlock.h"

namespace decode
{

/// Measures a picture while its blocks come. Keeps the rows that are not complete yet and a few
/// sums a column.
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
    /// A row of the display window, its first and last pixel twice.
    struct Row
    {
        std::vector<float> light;
        int filled = 0; ///< Pixels of the data window that came.
    };
    /// Sums of a column since the tiles that are at work began.
    struct Columns
    {
        std::vector<float> light;
        std::vector<float> upper; ///< Of `light` what is in the upper half of the tiles.
        std::vector<float> detail;
        std::vector<float> greatest;
        std::vector<float> lit; ///< Pixels that are not black.
    };

    void Fill(Row &row, const char *pixels, int x, int count);
    void TakeRow(Row &&row);
    void Measure(int y, const float *above, const float *at, const float *below);
    void AddToColumns(const float *above, const float *at, const float *below);
    void FindPeaks(int y, const float *above, const float *at, const float *below);
    void EndTiles(int tileRow);
    void Begin();

    LightOfPixels m_lightOf;
    std::size_t m_pixelBytes;
    int m_left; ///< Of the data window in the display window, in pixels.
    int m_top;
    int m_dataWidth;
    int m_dataHeight;
    PictureMeasures m_measures;
    std::vector<int> m_xEdges;
    std::vector<int> m_yEdges;
    int m_tileRow = 0;
    bool m_isHalved = false; ///< The upper half of the tiles is done.
    Columns m_columns;
    std::deque<Row> m_coming; ///< From data row `m_nextData` on.
    int m_nextData = 0;
    std::deque<std::vector<float>> m_last; ///< The two display rows before the next.
    int m_nextRow = 0;                     ///< Of the display window, that `TakeRow` takes.
    std::vector<unsigned char> m_isPeak;
};

} // namespace decode
