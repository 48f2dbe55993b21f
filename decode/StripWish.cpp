#include "decode/StripWish.h"

namespace decode
{

bool IsSound(const StripWish &wish)
{
    const StripPlace &place = wish.place;
    const auto isWithin = [](int least, int value, int most)
    { return value >= least && value <= most; };
    return isWithin(0, place.x, k_MostStripPlace) && isWithin(0, place.y, k_MostStripPlace) &&
           isWithin(1, place.width, k_MostStripPlace) &&
           isWithin(1, place.height, k_MostStripPlace) &&
           isWithin(k_LeastStripSide, wish.side, k_MostStripSide);
}

} // namespace decode
