#include "decode/ColumnSums.h"

#include <cmath>

#include "decode/PictureMeasures.h"

namespace decode
{

// The loop has no branch and a known length, so that the compiler makes it of wide instructions.
bool AddRow(ColumnSums &columns, const float *__restrict above, const float *__restrict at,
            const float *__restrict below)
{
    constexpr auto k_black = float(k_BlackLight);
    float *const __restrict light = columns.light.data();
    float *const __restrict detail = columns.detail.data();
    float *const __restrict greatest = columns.greatest.data();
    int *const __restrict lit = columns.lit.data();
    int isPeak = 0;
    for (int x = 0; x < ColumnSums::k_count; ++x)
    {
        const float here = at[x + 1];
        const float left = at[x];
        const float right = at[x + 2];
        const float up = above[x + 1];
        const float down = below[x + 1];
        light[x] += here;
        greatest[x] = greatest[x] > here ? greatest[x] : here;
        lit[x] += here > k_black ? 1 : 0;
        detail[x] += std::abs(4 * here - left - right - up - down);
        // One alone of all eight may be as bright, so of two there is one that is not.
        const float aside = left < right ? left : right;
        const float upright = up < down ? up : down;
        const float dimmer = aside > upright ? aside : upright;
        const float most = here / k_PeakRatio;
        isPeak |= int(most > dimmer) & int(most > k_black);
    }
    return isPeak != 0;
}

} // namespace decode
