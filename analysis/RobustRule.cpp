#include "analysis/RobustRule.h"

#include <cmath>
#include <limits>

#include "analysis/LongWindows.h"
#include "analysis/ShortWindows.h"

namespace analysis
{

namespace
{

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
    sizes.highest = highest >= k_Levels ? std::numeric_limits<std::uint64_t>::max()
                                        : Bytes(leastOf(std::floor(highest) + 1) - 1);
    return sizes;
}

/// In levels.
struct Judgement
{
    double score;
    double lowest;
    double median;
    double highest;
};

/// Judges rows by the spreads around them, row 0 first.
template <typename Windows> class Judge
{
public:
    Judge(const SizeLevels &levels, const SpreadLimit &limit)
        : m_levels(levels), m_limit(limit), m_windows(levels, limit)
    {
    }

    bool IsOutlier(std::size_t row)
    {
        const WindowLook look = m_windows.LookAt(row);
        if (look != WindowLook::Unclear)
            return look == WindowLook::Outlier;

        // Where one side lets it pass, nobody else has to be asked.
        const LevelSpread before = m_windows.Before(row);
        if (LetsPass(before, row))
            return false;
        const LevelSpread after = m_windows.After(row);
        if (LetsPass(after, row))
            return false;
        const auto judged = JudgeRow(row, before, after);
        return judged && judged->score > k_RobustLimit;
    }

    std::optional<Judgement> JudgeRow(std::size_t row)
    {
        return JudgeRow(row, m_windows.Before(row), m_windows.After(row));
    }

private:
    bool LetsPass(const LevelSpread &side, std::size_t row) const
    {
        return side.count > 0 && m_limit.Score(side, m_levels[row]) <= k_RobustLimit;
    }

    std::optional<Judgement> JudgeRow(std::size_t row, const LevelSpread &before,
                                      const LevelSpread &after)
    {
        if (std::size_t(before.count + after.count) < k_LeastRobustNeighbours)
            return std::nullopt;
        if (before.count == 0)
            return JudgeEnd(row, after, 1);
        if (after.count == 0)
            return JudgeEnd(row, before, -1);
        return JudgeBetween(m_levels[row], before, after, m_windows.Both(row));
    }

    Judgement JudgeBetween(double level, const LevelSpread &before, const LevelSpread &after,
                           const LevelSpread &both) const
    {
        const auto [low, high] = std::minmax({before.Median(), after.Median()});
        Judgement judged{0, low, both.Median(), high};
        if (level < low || level > high)
            judged.score = std::numeric_limits<double>::infinity();
        for (const LevelSpread &spread : {before, after, both})
        {
            judged.score = std::min(judged.score, m_limit.Score(spread, level));
            judged.lowest = std::min(judged.lowest, spread.Median() - m_limit.Reach(spread));
            judged.highest = std::max(judged.highest, spread.Median() + m_limit.Reach(spread));
        }
        return judged;
    }

    /// The first or the last row, all neighbours being in the direction `away`.
    Judgement JudgeEnd(std::size_t row, const LevelSpread &side, int away) const
    {
        const double reach = m_limit.Reach(side);
        const double level = m_levels[row];
        Judgement judged{m_limit.Score(side, level), side.Median() - reach, side.Median(),
                         side.Median() + reach};
        const std::size_t nearest = NextFrom(row, away);
        const double step = double(m_levels[nearest]) - double(m_levels[NextFrom(nearest, away)]);
        if (step < -m_limit.Floor())
            judged.lowest = -std::numeric_limits<double>::infinity();
        if (step > m_limit.Floor())
            judged.highest = std::numeric_limits<double>::infinity();
        if (judged.score > k_RobustLimit && level >= judged.lowest && level <= judged.highest)
            judged.score = 0;
        return judged;
    }

    /// There is one.
    std::size_t NextFrom(std::size_t row, int away) const
    {
        do
            row += std::size_t(away);
        while (m_levels[row] == k_AbsentLevel);
        return row;
    }

    const SizeLevels &m_levels;
    const SpreadLimit &m_limit;
    Windows m_windows;
};

/// Calls `visit(judge)` with the judge for windows of such a length, which is not 0.
template <typename Visit>
void WithJudge(const SizeLevels &levels, const ScanRules &rules, Visit &&visit)
{
    const SpreadLimit limit(rules);
    if (levels.Window() <= ShortWindows::k_longest)
    {
        Judge<ShortWindows> judge(levels, limit);
        visit(judge);
    }
    else
    {
        Judge<LongWindows> judge(levels, limit);
        visit(judge);
    }
}

} // namespace

std::vector<std::size_t> FindRobustOutliers(std::span<const FrameRecord> frames,
                                            const ScanRules &rules)
{
    std::vector<std::size_t> outliers;
    const SizeLevels levels(frames, rules);
    if (levels.Window() > 0)
        WithJudge(levels, rules,
                  [&](auto &judge)
                  {
                      for (std::size_t row = 0; row < levels.Rows(); ++row)
                          if (levels[row] != k_AbsentLevel && judge.IsOutlier(row))
                              outliers.push_back(row);
                  });
    return outliers;
}

void VisitRobustBands(std::span<const FrameRecord> frames, const ScanRules &rules,
                      const VisitRobustBand &visit)
{
    const SizeLevels levels(frames, rules);
    if (levels.Window() == 0)
    {
        for (std::size_t row = 0; row < levels.Rows(); ++row)
            visit(row, std::nullopt);
        return;
    }
    WithJudge(levels, rules,
              [&](auto &judge)
              {
                  for (std::size_t row = 0; row < levels.Rows(); ++row)
                  {
                      std::optional<RobustBand> band;
                      if (levels[row] != k_AbsentLevel)
                          if (const auto judged = judge.JudgeRow(row))
                              band = {judged->score, SizesBetween(judged->lowest, judged->median,
                                                                  judged->highest)};
                      visit(row, band);
                  }
              });
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
