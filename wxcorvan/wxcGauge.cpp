#include "wxcorvan/wxcGauge.h"

#include <algorithm>
#include <cstdint>

namespace wxcorvan
{

void wxcGauge::SetRange(int range)
{
    m_value = std::min(m_value, range);
    wxGauge::SetRange(range);
}

void wxcGauge::SetValue(int value)
{
    m_value = value;
    if (IsSeen(value))
        wxGauge::SetValue(value);
}

bool wxcGauge::IsSeen(int value) const
{
    const int shown = wxGauge::GetValue();
    const int range = GetRange();
    // An empty gauge looks different from one with a bar of no width.
    if (range <= 0 || value > range || (value == 0) != (shown == 0))
        return true;

    const auto pixel = [range, width = std::max(1, GetClientSize().x)](int of)
    { return std::int64_t(of) * width / range; };
    return pixel(value) != pixel(shown);
}

} // namespace wxcorvan
