#include "check/PlotAxis.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>

namespace check
{

double PlotAxis::Place(double number) const
{
    return std::clamp((number - least) / (most - least), 0.0, 1.0) * length;
}

std::vector<double> RoundNumbers(const PlotAxis &axis, unsigned wanted, bool isWhole)
{
    const double rough = (axis.most - axis.least) / wanted;
    const double power = std::pow(10.0, std::floor(std::log10(rough)));
    const double part = rough / power;
    double step = (part > 5 ? 10 : part > 2 ? 5 : part > 1 ? 2 : 1) * power;
    if (isWhole)
        step = std::max(step, 1.0);

    std::vector<double> numbers;
    const auto first = std::int64_t(std::ceil(axis.least / step - 1e-9));
    const auto last = std::int64_t(std::floor(axis.most / step + 1e-9));
    for (std::int64_t i = first; i <= last; ++i)
        numbers.push_back(double(i) * step);
    return numbers;
}

SizeUnit UnitFor(double most)
{
    constexpr SizeUnit k_units[] = {
        {"TiB", 1099511627776.0}, {"GiB", 1073741824.0}, {"MiB", 1048576.0}, {"KiB", 1024.0}};
    for (const SizeUnit &unit : k_units)
        if (most >= unit.bytes)
            return unit;
    return {"bytes", 1.0};
}

std::string NumberText(double number)
{
    return fmt::format("{:.12g}", number);
}

} // namespace check
