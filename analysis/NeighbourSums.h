#pragma once

#include <cstddef>
#include <vector>

#include "analysis/ScanRules.h"

namespace analysis
{

/// Sums over any run of rows in logarithmic time, kept up while single rows change: so that
/// judging one row costs the same whatever the frame offset is. 16 bytes a row.
class NeighbourSums
{
public:
    /// Takes over all rows. `rows` has `size()` and gives a `_FileInfo` by `[row]`. Linear.
    template <typename Rows> void Build(const Rows &rows, const ScanRules &rules)
    {
        m_tree.assign(rows.size() + 1, Neighbours());
        for (std::size_t row = 0; row < rows.size(); ++row)
            m_tree[row + 1] = AsNeighbour(rows[row], rules);
        LinkUp();
    }

    /// Forgets all rows.
    void Clear()
    {
        m_tree.clear();
    }

    /// Rows that were taken over; 0 before the first `Build`.
    std::size_t Rows() const
    {
        return m_tree.empty() ? 0 : m_tree.size() - 1;
    }

    /// One row changed from what it added before to what it adds now.
    void Change(std::size_t row, const Neighbours &before, const Neighbours &now);

    /// The sum over the rows [lo, hi), which must lie within the rows taken over.
    Neighbours Sum(std::int64_t lo, std::int64_t hi) const;

private:
    void LinkUp();
    Neighbours SumUpTo(std::size_t end) const;

    // A Fenwick tree: entry i holds the sum of the rows [i - lowest bit of i, i). Entry 0 is idle.
    std::vector<Neighbours> m_tree;
};

} // namespace analysis
