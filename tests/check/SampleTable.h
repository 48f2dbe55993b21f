#pragma once

#include <vector>

#include "check/CheckTable.h"

namespace check
{

/// A table of a pattern with frames 1, 2, ... in these states. A file that is there has its frame
/// times 1000 bytes, and was modified so many seconds after 1970.
inline CheckTable SampleTable(const String &pattern, const std::vector<CheckState> &states)
{
    CheckTable table(*analysis::FramePattern::Parse(pattern, nullptr));
    table.format = pattern;
    for (const CheckState state : states)
    {
        table.states.push_back(state);
        analysis::FrameRecord &frame = table.frames.emplace_back();
        frame.frame = int(table.states.size());
        frame.exists = state != CheckState::Missing;
        frame.size = frame.exists ? std::uint64_t(frame.frame) * 1000 : 0;
        frame.modified = ostrel::Time(frame.exists ? frame.frame * 1'000'000'000LL : 0);
    }
    return table;
}

} // namespace check
