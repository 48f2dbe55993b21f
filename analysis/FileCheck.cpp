#include "analysis/FileCheck.h"

namespace analysis
{

void CountLook(const FileLook &look, const ScanRules &rules, ScanCounts &counts)
{
    const FrameState state = JudgeAlone(look, rules);
    counts.missing += state == FrameState::Missing;
    counts.tooSmall += state == FrameState::TooSmall;
}

} // namespace analysis
