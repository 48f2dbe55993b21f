#include "analysis/NeighbourSums.h"

#include <cassert>

namespace analysis
{

namespace
{

std::size_t LowestBit(std::size_t number)
{
    return number & (~number + 1);
}

} // namespace

void NeighbourSums::LinkUp()
{
    for (std::size_t entry = 1; entry < m_tree.size(); ++entry)
    {
        const std::size_t above = entry + LowestBit(entry);
        if (above < m_tree.size())
            m_tree[above] += m_tree[entry];
    }
}

void NeighbourSums::Change(std::size_t row, const Neighbours &before, const Neighbours &now)
{
    assert(row < Rows());

    Neighbours change = now;
    change -= before; // Wraps where it is negative; the sums wrap back.
    for (std::size_t entry = row + 1; entry < m_tree.size(); entry += LowestBit(entry))
        m_tree[entry] += change;
}

Neighbours NeighbourSums::Sum(std::int64_t lo, std::int64_t hi) const
{
    assert(0 <= lo && lo <= hi && hi <= std::int64_t(Rows()));

    Neighbours sum = SumUpTo(std::size_t(hi));
    sum -= SumUpTo(std::size_t(lo));
    return sum;
}

Neighbours NeighbourSums::SumUpTo(std::size_t end) const
{
    Neighbours sum;
    for (std::size_t entry = end; entry > 0; entry -= LowestBit(entry))
        sum += m_tree[entry];
    return sum;
}

} // namespace analysis
