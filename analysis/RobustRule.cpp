#include "analysis/RobustRule.h"

#include <array>
#include <cmath>
#include <limits>
#include <memory>

namespace analysis
{

namespace
{

constexpr unsigned k_octaves = 64;
constexpr unsigned k_group = 16; ///< Levels counted together, and groups of an octave.
constexpr unsigned k_levels = k_octaves * k_LevelsPerOctave;
constexpr unsigned k_groups = k_levels / k_group;
static_assert(k_group * k_group == k_LevelsPerOctave);

/// How many rows of a window are at each level; in groups and octaves as well, so that few numbers
/// have to be added up to find the row of a rank.
struct LevelCounts
{
    std::uint32_t all = 0;
    std::array<std::uint32_t, k_octaves> octaves{};
    std::array<std::uint32_t, k_groups> groups{};
    std::array<std::uint32_t, k_levels> levels{};

    void Change(unsigned level, std::uint32_t by)
    {
        all += by;
        octaves[level / k_LevelsPerOctave] += by;
        groups[level / k_group] += by;
        levels[level] += by;
    }
    void Add(unsigned level)
    {
        Change(level, 1);
    }
    void Remove(unsigned level)
    {
        Change(level, std::uint32_t(-1));
    }
};

// What follows takes one window, or two as if they were one.

template <typename... Counts> std::uint32_t CountAll(const Counts &...counts)
{
    return (counts.all + ...);
}

template <typename... Counts> std::uint32_t CountAt(std::size_t level, const Counts &...counts)
{
    return level < k_levels ? (counts.levels[level] + ...) : 0;
}

// Of the levels [first, first + k_group).
template <typename... Counts> std::uint32_t CountFrom(std::size_t first, const Counts &...counts)
{
    std::uint32_t sum = 0;
    for (std::size_t level = first; level < first + k_group; ++level)
        sum += (counts.levels[level] + ...);
    return sum;
}

/// The level of the row that has `rank` others below it.
template <typename... Counts> unsigned LevelOfRank(std::uint32_t rank, const Counts &...counts)
{
    unsigned at = 0;
    const auto find = [&](auto member)
    {
        for (;; ++at)
        {
            const std::uint32_t here = ((counts.*member)[at] + ...);
            if (rank < here)
                return;
            rank -= here;
        }
    };
    find(&LevelCounts::octaves);
    at *= k_group;
    find(&LevelCounts::groups);
    at *= k_group;
    find(&LevelCounts::levels);
    return at;
}

/// The distances of some levels from twice their median, in half levels: the sum of the two in the
/// middle, which is four times the MAD in levels.
template <typename... Counts> unsigned SumOfMiddles(unsigned twice, const Counts &...counts)
{
    const std::uint32_t all = CountAll(counts...);
    const std::uint32_t ranks[] = {(all - 1) / 2, all / 2};
    unsigned found[2] = {};
    unsigned have = 0;

    std::uint32_t seen = 0;
    std::int64_t low = twice / 2;
    std::int64_t high = (twice + 1) / 2;
    for (unsigned distance = twice % 2;; distance += 2, --low, ++high)
    {
        // Many levels at once, as long as the one that is looked for is not among them.
        while (low != high && low >= k_group && high + k_group < k_levels)
        {
            const std::uint32_t some = CountFrom(std::size_t(low) - k_group + 1, counts...) +
                                       CountFrom(std::size_t(high), counts...);
            if (seen + some > ranks[have])
                break;
            seen += some;
            distance += 2 * k_group;
            low -= k_group;
            high += k_group;
        }
        seen += CountAt(std::size_t(low), counts...);
        if (high != low)
            seen += CountAt(std::size_t(high), counts...);
        while (seen > ranks[have])
        {
            found[have] = distance;
            if (++have == 2)
                return found[0] + found[1];
        }
    }
}

/// Where the middle of some sizes is and how far they are spread, in levels.
struct Spread
{
    double median = 0;
    double scale = 0; ///< More than 0.

    double ScoreOf(double level) const
    {
        return std::abs(level - median) / scale;
    }
    double Reach() const
    {
        return k_RobustLimit * scale;
    }
};

/// Of at least one row. `floor`: what may differ in any case.
template <typename... Counts> Spread SpreadOf(double floor, const Counts &...counts)
{
    const std::uint32_t all = CountAll(counts...);
    const unsigned lower = LevelOfRank((all - 1) / 2, counts...);
    const unsigned upper = all % 2 == 0 ? LevelOfRank(all / 2, counts...) : lower;
    const double mad = SumOfMiddles(lower + upper, counts...) / 4.0;
    return {(lower + upper) / 2.0, std::max(k_MadToDeviation * mad, floor / k_RobustLimit)};
}

// What a size may differ from a median in any case, in levels. Not less than one, since no size is
// known more exactly.
double FloorOf(const ScanRules &rules)
{
    const double variation = rules.sizeVariation > 0 ? rules.sizeVariation : 0;
    return std::max(k_LevelsPerOctave * std::log2(1 + variation), 1.0);
}

/// So many groups on each side of a level's own one hold nothing that is farther from it than the
/// floor; -1 where not even that group does so. More than 3 would cost more than they save.
int GroupsWithin(double floor)
{
    return int(std::min((floor + 1) / k_group - 1, 3.0) + 1) - 1;
}

std::uint64_t Bytes(double number)
{
    if (!(number > 0))
        return 0;
    // 2^64, as a number that a double can hold.
    return number >= 18446744073709551616.0 ? std::numeric_limits<std::uint64_t>::max()
                                            : std::uint64_t(number);
}

/// A range of levels, both ends included, as the sizes that are in it.
SizeBand SizesBetween(double lowest, double median, double highest)
{
    const auto leastOf = [](double level)
    { return std::ceil(std::exp2((level - 0.5) / k_LevelsPerOctave)); };
    SizeBand sizes;
    sizes.mean = Bytes(std::exp2(median / k_LevelsPerOctave));
    sizes.lowest = lowest <= 0 ? 0 : Bytes(leastOf(std::ceil(lowest)));
    sizes.highest = highest >= k_levels ? std::numeric_limits<std::uint64_t>::max()
                                        : Bytes(leastOf(std::floor(highest) + 1) - 1);
    return sizes;
}

/// The rows that are not bad by themselves, each with the window before it and the one after it
/// while `VisitWindows` is at it.
class SizedRows
{
public:
    SizedRows(std::span<const FrameRecord> frames, const ScanRules &rules)
        : m_offset(rules.frameOffset), m_floor(FloorOf(rules)), m_reach(GroupsWithin(m_floor)),
          m_before(std::make_unique<LevelCounts>()), m_after(std::make_unique<LevelCounts>())
    {
        m_rows.reserve(frames.size());
        m_levels.reserve(frames.size());
        for (std::size_t row = 0; row < frames.size(); ++row)
            if (JudgeAlone(frames[row], rules) == FrameState::Ok)
            {
                m_rows.push_back(row);
                m_levels.push_back(std::uint16_t(LevelOf(frames[row].size)));
            }
    }

    /// Calls `visit(at)` for each of them, at 0 first.
    template <typename Visit> void VisitWindows(Visit &&visit)
    {
        const std::size_t count = m_offset < 0 ? 0 : m_rows.size();
        std::size_t first = 0; // Of the window before.
        std::size_t end = 0;   // Behind the one after.
        for (std::size_t at = 0; at < count; ++at)
        {
            if (at > 0)
                m_before->Add(m_levels[at - 1]);
            for (; m_rows[first] + m_offset < m_rows[at]; ++first)
                m_before->Remove(m_levels[first]);
            for (; end < count && m_rows[end] <= m_rows[at] + m_offset; ++end)
                m_after->Add(m_levels[end]);
            m_after->Remove(m_levels[at]);
            visit(at);
        }
    }

    std::size_t RowAt(std::size_t at) const
    {
        return m_rows[at];
    }

    /// True where it takes no more than a few numbers to see that a row is no outlier: more than
    /// half of one side are so near that the median is, too.
    bool IsPlainlyFine(std::size_t at) const
    {
        const int group = m_levels[at] / k_group;
        const int last = std::min(group + m_reach, int(k_groups) - 1);
        std::uint32_t before = 0;
        std::uint32_t after = 0;
        for (int near = std::max(group - m_reach, 0); near <= last; ++near)
        {
            before += m_before->groups[std::size_t(near)];
            after += m_after->groups[std::size_t(near)];
        }
        return 2 * before > m_before->all || 2 * after > m_after->all;
    }

    std::optional<RobustBand> BandOfSizes(std::size_t at) const
    {
        const auto judged = Judge(at);
        if (!judged)
            return std::nullopt;
        return RobustBand{judged->score,
                          SizesBetween(judged->lowest, judged->median, judged->highest)};
    }

    bool IsOutlier(std::size_t at) const
    {
        // Where one side lets it pass, nobody else has to be asked.
        if (m_before->all > 0 && m_after->all > 0)
            for (const LevelCounts *const side : {m_before.get(), m_after.get()})
                if (SpreadOf(m_floor, *side).ScoreOf(m_levels[at]) <= k_RobustLimit)
                    return false;
        const auto judged = Judge(at);
        return judged && judged->score > k_RobustLimit;
    }

private:
    /// In levels.
    struct Judgement
    {
        double score;
        double lowest;
        double median;
        double highest;
    };

    std::optional<Judgement> Judge(std::size_t at) const
    {
        if (m_before->all + m_after->all < k_LeastRobustNeighbours)
            return std::nullopt;
        if (m_before->all == 0)
            return JudgeEnd(at, SpreadOf(m_floor, *m_after), at + 1, at + 2);
        if (m_after->all == 0)
            return JudgeEnd(at, SpreadOf(m_floor, *m_before), at - 1, at - 2);
        return JudgeBetween(m_levels[at], SpreadOf(m_floor, *m_before), SpreadOf(m_floor, *m_after),
                            SpreadOf(m_floor, *m_before, *m_after));
    }

    static Judgement JudgeBetween(double level, const Spread &before, const Spread &after,
                                  const Spread &both)
    {
        const auto [low, high] = std::minmax(before.median, after.median);
        Judgement judged{0, low, both.median, high};
        if (level < low || level > high)
            judged.score = std::numeric_limits<double>::infinity();
        for (const Spread &spread : {before, after, both})
        {
            judged.score = std::min(judged.score, spread.ScoreOf(level));
            judged.lowest = std::min(judged.lowest, spread.median - spread.Reach());
            judged.highest = std::max(judged.highest, spread.median + spread.Reach());
        }
        return judged;
    }

    // The first or the last row, its two nearest neighbours being those.
    Judgement JudgeEnd(std::size_t at, const Spread &side, std::size_t nearest,
                       std::size_t next) const
    {
        Judgement judged{side.ScoreOf(m_levels[at]), side.median - side.Reach(), side.median,
                         side.median + side.Reach()};
        const double step = double(m_levels[nearest]) - double(m_levels[next]);
        if (step < -m_floor)
            judged.lowest = -std::numeric_limits<double>::infinity();
        if (step > m_floor)
            judged.highest = std::numeric_limits<double>::infinity();
        if (judged.score > k_RobustLimit && m_levels[at] >= judged.lowest &&
            m_levels[at] <= judged.highest)
            judged.score = 0;
        return judged;
    }

    const std::int64_t m_offset;
    const double m_floor;
    const int m_reach;
    std::vector<std::int64_t> m_rows;
    std::vector<std::uint16_t> m_levels; ///< Of the rows.
    const std::unique_ptr<LevelCounts> m_before;
    const std::unique_ptr<LevelCounts> m_after;
};

} // namespace

unsigned LevelOf(std::uint64_t size)
{
    const double level =
        std::log2(double(std::max<std::uint64_t>(size, 1))) * k_LevelsPerOctave + 0.5;
    return std::min(unsigned(level), k_levels - 1);
}

std::vector<std::size_t> FindRobustOutliers(std::span<const FrameRecord> frames,
                                            const ScanRules &rules)
{
    std::vector<std::size_t> outliers;
    SizedRows rows(frames, rules);
    rows.VisitWindows(
        [&](std::size_t at)
        {
            if (!rows.IsPlainlyFine(at) && rows.IsOutlier(at))
                outliers.push_back(rows.RowAt(at));
        });
    return outliers;
}

void VisitRobustBands(std::span<const FrameRecord> frames, const ScanRules &rules,
                      const VisitRobustBand &visit)
{
    SizedRows rows(frames, rules);
    std::size_t row = 0;
    rows.VisitWindows(
        [&](std::size_t at)
        {
            for (; row < rows.RowAt(at); ++row)
                visit(row, std::nullopt);
            visit(row++, rows.BandOfSizes(at));
        });
    for (; row < frames.size(); ++row)
        visit(row, std::nullopt);
}

std::optional<RobustBand> RobustBandAround(std::span<const FrameRecord> frames,
                                           const ScanRules &rules, std::size_t row)
{
    const RowSpan span =
        NeighbourRows(std::int64_t(row), std::int64_t(frames.size()), rules.frameOffset);
    std::optional<RobustBand> found;
    VisitRobustBands(frames.subspan(std::size_t(span.lo), std::size_t(span.hi - span.lo)), rules,
                     [&](std::size_t at, const std::optional<RobustBand> &band)
                     {
                         if (at + std::size_t(span.lo) == row)
                             found = band;
                     });
    return found;
}

} // namespace analysis
