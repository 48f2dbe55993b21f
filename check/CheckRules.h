#pragma once

#include "analysis/ScanRules.h"
#include "analysis/SortFiles.h"
#include "check/LookAgain.h"

namespace check
{

/// How a table is looked at and judged.
struct CheckRules
{
    analysis::ScanRules scan;
    analysis::SortState order;
    LookAgainRules again;
};

} // namespace check
