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

} // namespace check
