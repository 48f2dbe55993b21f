#include "bench/day/DayFigures.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "tests/master/HttpClient.h"

namespace bench
{

DayFigures DayFigures::Ask(const std::string &portFile)
{
    DayFigures figures;
    unsigned port = 0;
    if (!(std::ifstream(portFile) >> port))
        return figures;
    std::istringstream text(HttpGet(std::uint16_t(port), "/metrics").body);
    for (std::string line; std::getline(text, line);)
        if (const std::size_t blank = line.rfind(' '); blank != line.npos && line[0] != '#')
            figures.m_values[line.substr(0, blank)] = std::strtod(line.c_str() + blank, nullptr);
    return figures;
}

double DayFigures::At(const std::string &name) const
{
    const auto found = m_values.find(name);
    return found == m_values.end() ? 0 : found->second;
}

double DayFigures::TurnsWithin(const DayFigures &earlier, double share) const
{
    const double wanted = share * Since(earlier, "corvan_turn_seconds_count");
    const std::string head = "corvan_turn_seconds_bucket{le=\"";
    double within = 0;
    // The bounds do not stand in the order of their size.
    for (auto line = m_values.lower_bound(head);
         line != m_values.end() && line->first.starts_with(head); ++line)
    {
        const double bound = std::strtod(line->first.c_str() + head.size(), nullptr);
        if (Since(earlier, line->first) >= wanted)
            within = within == 0 ? bound : std::min(within, bound);
    }
    return within;
}

} // namespace bench
