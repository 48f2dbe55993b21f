#include "decode/ColumnSums.h"

#include <cstddef>
#include <cstring>

#include "decode/PictureMeasures.h"

namespace decode
{

namespace
{

// As many columns as a register of so many bytes takes. What is written of them is one instruction
// each, or two where the processor has no such registers.
template <std::size_t bytes> struct Lanes
{
    using Light [[gnu::vector_size(bytes)]] = float;
    using Count [[gnu::vector_size(bytes)]] = int;
    static constexpr std::size_t k_count = bytes / sizeof(float);
};

template <typename Value, typename Element>
[[gnu::always_inline]] inline void Load(Value &value, const Element *from)
{
    std::memcpy(&value, from, sizeof value);
}

template <typename Value, typename Element>
[[gnu::always_inline]] inline void Store(const Value &value, Element *to)
{
    std::memcpy(to, &value, sizeof value);
}

// No fused steps anywhere: they round otherwise.
template <std::size_t bytes>
[[gnu::always_inline]] inline bool AddRowsInLanes(ColumnSums &columns,
                                                  std::span<const float *const> rows)
{
    using Light = typename Lanes<bytes>::Light;
    using Count = typename Lanes<bytes>::Count;
    constexpr std::size_t k_lanes = Lanes<bytes>::k_count;
    const Light black = Light{} + float(k_BlackLight);
    const Count withoutSign = Count{} + 0x7fffffff;
    Count isPeak{};
    for (std::size_t x = 0; x < ColumnSums::k_count; x += k_lanes)
    {
        Light light;
        Light detail;
        Light greatest;
        Count lit;
        Light up;
        Light here;
        Load(light, columns.light.data() + x);
        Load(detail, columns.detail.data() + x);
        Load(greatest, columns.greatest.data() + x);
        Load(lit, columns.lit.data() + x);
        Load(up, rows[0] + x + 1);
        Load(here, rows[1] + x + 1);
        for (std::size_t row = 1; row + 1 < rows.size(); ++row)
        {
            Light left;
            Light right;
            Light down;
            Load(left, rows[row] + x);
            Load(right, rows[row] + x + 2);
            Load(down, rows[row + 1] + x + 1);
            light += here;
            greatest = greatest > here ? greatest : here;
            lit -= here > black; // All bits of a lane for yes: one less than nothing.
            const Light bend = 4 * here - left - right - up - down;
            detail += Light(Count(bend) & withoutSign);
            // One alone of all eight may be as bright, so of two there is one that is not.
            const Light aside = left < right ? left : right;
            const Light upright = up < down ? up : down;
            Light dimmer = aside > upright ? aside : upright;
            dimmer = dimmer > black ? dimmer : black;
            isPeak |= here / k_PeakRatio > dimmer;
            up = here;
            here = down;
        }
        Store(light, columns.light.data() + x);
        Store(detail, columns.detail.data() + x);
        Store(greatest, columns.greatest.data() + x);
        Store(lit, columns.lit.data() + x);
    }
    int any = 0;
    for (std::size_t lane = 0; lane < k_lanes; ++lane)
        any |= isPeak[lane];
    return any != 0;
}

#if defined(__x86_64__)

[[gnu::target("avx2")]] bool AddRowsWidely(ColumnSums &columns, std::span<const float *const> rows)
{
    return AddRowsInLanes<32>(columns, rows);
}

bool HasWideLanes()
{
    static const bool s_has = __builtin_cpu_supports("avx2") != 0;
    return s_has;
}

#else

bool AddRowsWidely(ColumnSums &columns, std::span<const float *const> rows)
{
    return AddRowsPlainly(columns, rows);
}

bool HasWideLanes()
{
    return false;
}

#endif

} // namespace

bool AddRowsPlainly(ColumnSums &columns, std::span<const float *const> rows)
{
    return AddRowsInLanes<16>(columns, rows);
}

bool AddRows(ColumnSums &columns, std::span<const float *const> rows)
{
    return HasWideLanes() ? AddRowsWidely(columns, rows) : AddRowsPlainly(columns, rows);
}

} // namespace decode
