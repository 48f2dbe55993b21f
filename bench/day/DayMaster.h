#pragma once

#include <string>

#include "bench/day/DayPlan.h"

namespace bench
{

/// Where a day's Master has its things: all in one folder.
struct DayFiles
{
    explicit DayFiles(const std::string &folder)
        : data(folder + "/data"), socket(folder + "/m.sock"), book(folder + "/book"),
          port(folder + "/port"), log(folder + "/log")
    {
    }

    std::string data;
    std::string socket;
    std::string book;
    std::string port; ///< Holds the port of its figures, once it serves.
    std::string log;
};

/// Runs a Master, as it ships but for what it runs on and what time it is, until a signal comes.
void RunDayMaster(const DayFiles &files, const DaySize &size);

} // namespace bench
