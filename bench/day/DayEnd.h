#pragma once

#include <string>
#include <vector>

#include "bench/day/DayBook.h"
#include "bench/day/DayPlan.h"

namespace bench
{

/// Holds what a Master has on disk when the day is over against what was drawn, packet by packet.
/// Gives what is wrong, a line each, the first few of each kind; none where all ended as drawn.
std::vector<std::string> CompareDay(const std::string &data, const DayPlan &plan, DayBook &book);

} // namespace bench
