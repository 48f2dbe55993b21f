#include "check/LookAtTable.h"

#include "analysis/FolderFinder.h"
#include "analysis/FrameLooks.h"
#include "analysis/RobustRule.h"
#include "check/CheckException.h"

namespace check
{

void JudgeFrames(std::span<const analysis::FrameRecord> frames, corvan::SizeRule sizeRule,
                 const analysis::ScanRules &rules, std::span<CheckState> states)
{
    if (sizeRule == corvan::SizeRule::Neighbours)
    {
        analysis::JudgeAll(frames, rules,
                           [&states](std::size_t row, analysis::FrameState state)
                           { states[row] = StateOf(state); });
        return;
    }
    for (std::size_t row = 0; row < frames.size(); ++row)
        states[row] = StateOf(analysis::JudgeAlone(frames[row], rules));
    for (const std::size_t row : analysis::FindRobustOutliers(frames, rules))
        states[row] = CheckState::Outlier;
}

void JudgeTable(CheckTable &table, const analysis::ScanRules &rules)
{
    table.details.clear();
    table.troubles.clear();
    table.places.clear();
    table.states.resize(table.frames.size());
    table.rules = rules;
    JudgeFrames(table.frames, table.sizeRule, rules, table.states);
}

void LookAtTable(CheckTable &table, const CheckRules &rules, LookClock &clock,
                 const Progress &progress)
{
    const analysis::FrameNames names(table.pattern);
    const auto makeFinder = analysis::FolderFinder::MakerFor(names.Folder());
    const LookAtSome look = [&](std::span<analysis::FrameRecord> frames)
    {
        const std::size_t others = table.frames.size() - frames.size();
        return analysis::LookAtFrames(names, makeFinder, frames,
                                      [&](std::size_t done)
                                      { progress(others + done, table.frames.size()); });
    };

    String reason = look(table.frames);
    if (reason.empty())
        reason = LookAgain(table.frames, rules.again, clock, look);
    if (!reason.empty())
        throw new CheckException(reason);

    analysis::SortFrames(table.frames, rules.order);
    table.sizeRule = rules.sizeRule.value_or(table.sizeRule);
    JudgeTable(table, rules.scan);
}

} // namespace check
