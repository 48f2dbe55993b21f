#pragma once

#include <optional>

#include "analysis/ScanRules.h"
#include "analysis/SortFiles.h"
#include "check/LookAgain.h"
#include "corvan/SizeRule.h"

namespace check
{

/// How a table is looked at and judged.
struct CheckRules
{
    analysis::ScanRules scan;
    analysis::SortState order;
    LookAgainRules again;
    /// In place of the table's own rule.
    std::optional<corvan::SizeRule> sizeRule{};
};

} // namespace check
