#pragma once

#include <functional>

#include "analysis/SortFiles.h"
#include "cli/CheckTable.h"
#include "cli/LookAgain.h"

namespace cli
{

/// How a table is looked at and judged.
struct CheckRules
{
    analysis::ScanRules scan;
    analysis::SortState order;
    LookAgainRules again;
};

/// Told how many of so many frames were looked at.
using Progress = std::function<void(std::size_t done, std::size_t all)>;

/// One pass over a table, as the window does it: looks at all files, puts the rows in order, judges
/// them. Throws `Failure *` (could not look).
void LookAtTable(CheckTable &table, const CheckRules &rules, LookClock &clock,
                 const Progress &progress);

} // namespace cli
