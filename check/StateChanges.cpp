#include "check/StateChanges.h"

#include <algorithm>
#include <cassert>

namespace check
{

FrameStates StatesByFrame(const CheckTable &table)
{
    FrameStates states;
    states.reserve(table.frames.size());
    for (std::size_t row = 0; row < table.frames.size(); ++row)
        states.emplace_back(table.frames[row].frame, table.states[row]);
    std::sort(states.begin(), states.end());
    return states;
}

StateChanges FindChanges(const FrameStates &before, const CheckTable &table)
{
    StateChanges changes;
    for (std::size_t row = 0; row < table.frames.size(); ++row)
    {
        const int frame = table.frames[row].frame;
        const auto was =
            std::lower_bound(before.begin(), before.end(), std::pair(frame, CheckState::Ok));
        assert(was != before.end() && was->first == frame && "the frames are the same");
        if (was->second == table.states[row])
            continue;
        const auto [change, isNew] = changes.try_emplace({was->second, table.states[row]});
        if (isNew || frame < table.frames[change->second.firstRow].frame)
            change->second.firstRow = row;
        change->second.frames.insert(frame);
    }
    return changes;
}

} // namespace check
