#include "decode/ColumnSums.h"

#include <cmath>

#include "decode/PictureMeasures.h"

namespace decode
{

namespace
{

using Add = bool(ColumnSums &, const float *, const float *, const float *);

// The loop has no branch and a known length, so that the compiler makes it of wide instructions.
[[gnu::always_inline]] inline bool AddPlainly(ColumnSums &columns, const float *__restrict above,
                                              const float *__restrict at,
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

#ifdef __x86_64__
[[gnu::target("avx2")]] bool AddWidely(ColumnSums &columns, const float *above, const float *at,
                                       const float *below)
{
    return AddPlainly(columns, above, at, below);
}
#endif

bool AddAnywhere(ColumnSums &columns, const float *above, const float *at, const float *below)
{
    return AddPlainly(columns, above, at, below);
}

Add *ChooseAdd()
{
#ifdef __x86_64__
    if (__builtin_cpu_supports("avx2"))
        return AddWidely;
#endif
    return AddAnywhere;
}

} // namespace

bool AddRow(ColumnSums &columns, const float *above, const float *at, const float *below)
{
    static Add *const s_add = ChooseAdd();
    return s_add(columns, above, at, below);
}

} // namespace decode
