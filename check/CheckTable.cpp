#include "check/CheckTable.h"

#include <cassert>

namespace check
{

using Items = corvan::SequenceDistributor::Items;

namespace
{

template <typename Fits> Items Select(const CheckTable &table, Fits fits)
{
    assert(table.states.size() == table.frames.size() && "the table was judged");
    Items selected;
    for (std::size_t row = 0; row < table.frames.size(); ++row)
        if (fits(table.states[row]))
            selected.insert(table.frames[row].frame);
    return selected;
}

} // namespace

StateCounts CountStates(const CheckTable &table)
{
    StateCounts counts{};
    for (const CheckState state : table.states)
        ++counts[std::size_t(state)];
    return counts;
}

Items FindBadFrames(const CheckTable &table)
{
    return Select(table, [](CheckState state) { return state != CheckState::Ok; });
}

Items FindFrames(const CheckTable &table, CheckState state)
{
    return Select(table, [state](CheckState other) { return other == state; });
}

std::size_t CountGoodFrames(std::span<const CheckTable> tables, const Items &numbers)
{
    Items good;
    Items bad;
    for (const CheckTable &table : tables)
        for (std::size_t row = 0; row < table.frames.size(); ++row)
            if (const int number = table.frames[row].frame; numbers.contains(number))
                (table.states[row] == CheckState::Ok ? good : bad).insert(number);
    good.eraseAll(bad);
    return good.size();
}

} // namespace check
