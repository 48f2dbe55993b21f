#include "decode/StripWish.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

namespace decode
{

namespace
{

// In the order of the enumeration.
constexpr std::string_view k_cells_names[] = {"mean", "brightest"};

} // namespace

bool IsSound(const StripWish &wish)
{
    const StripPlace &place = wish.place;
    const auto isWithin = [](int least, int value, int most)
    { return value >= least && value <= most; };
    return isWithin(0, place.x, k_MostStripPlace) && isWithin(0, place.y, k_MostStripPlace) &&
           isWithin(1, place.width, k_MostStripPlace) &&
           isWithin(1, place.height, k_MostStripPlace) &&
           isWithin(k_LeastStripSide, wish.side, k_MostStripSide) &&
           std::size_t(wish.cells) < std::size(k_cells_names);
}

std::optional<StripCells> ParseCells(std::string_view name)
{
    const auto found = std::find(std::begin(k_cells_names), std::end(k_cells_names), name);
    if (found == std::end(k_cells_names))
        return std::nullopt;
    return StripCells(found - std::begin(k_cells_names));
}

std::string_view CellsName(StripCells cells)
{
    return k_cells_names[std::size_t(cells)];
}

} // namespace decode
