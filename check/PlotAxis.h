#pragma once

#include <string>
#include <vector>

namespace check
{

/// One axis of a plot: numbers from `least` to `most` over `length` units of the picture.
struct PlotAxis
{
    double least = 0;
    double most = 1;
    double length = 1;

    /// How far along the axis a number stands; beyond its ends at them.
    double Place(double number) const;
};

/// Round numbers (1, 2 or 5 times a power of ten apart) along an axis, about `wanted` of them.
/// Whole ones alone where `isWhole`.
std::vector<double> RoundNumbers(const PlotAxis &axis, unsigned wanted, bool isWhole);

/// The unit in which sizes up to `most` bytes are told: its name and its bytes.
struct SizeUnit
{
    const char *name;
    double bytes;
};
SizeUnit UnitFor(double most);

/// A number without what it does not need: "0.5", "1200".
std::string NumberText(double number);

} // namespace check
