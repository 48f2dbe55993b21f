#pragma once

#include <functional>

#include "check/CheckRules.h"
#include "check/CheckTable.h"

namespace check
{

/// Told how many of so many frames were looked at.
using Progress = std::function<void(std::size_t done, std::size_t all)>;

/// One pass over a table, as the window does it: looks at all files, puts the rows in order, judges
/// them. Throws `CheckException *`.
void LookAtTable(CheckTable &table, const CheckRules &rules, LookClock &clock,
                 const Progress &progress);

/// The last step of it: judges all rows by what was found of them and the table's rule.
void JudgeTable(CheckTable &table, const analysis::ScanRules &rules);
/// Judges some frames that follow each other, a state each. Those less than
/// `ScanRules::frameOffset` from an end are judged as if nothing were beyond it.
void JudgeFrames(std::span<const analysis::FrameRecord> frames, corvan::SizeRule sizeRule,
                 const analysis::ScanRules &rules, std::span<CheckState> states);

} // namespace check
