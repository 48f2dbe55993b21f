#include "check/JsonControls.h"

#include <algorithm>

namespace check
{

namespace
{

constexpr char k_del = '\x7f';
// Leads the two bytes of U+0080 to U+00BF.
constexpr char k_lead = '\xc2';

std::string AsEscape(unsigned char control)
{
    const char *const digits = "0123456789abcdef";
    return {'\\', 'u', '0', '0', digits[control >> 4], digits[control & 0xf]};
}

} // namespace

std::string WithoutControls(std::string json)
{
    if (std::ranges::none_of(json, [](char c) { return c == k_del || c == k_lead; }))
        return json;

    std::string text;
    text.reserve(json.size());
    for (std::size_t at = 0; at < json.size(); ++at)
    {
        const auto next = static_cast<unsigned char>(at + 1 < json.size() ? json[at + 1] : 0);
        if (json[at] == k_del)
            text += AsEscape(0x7f);
        else if (json[at] == k_lead && next >= 0x80 && next < 0xa0)
            text += AsEscape(static_cast<unsigned char>(json[++at]));
        else
            text += json[at];
    }
    return text;
}

} // namespace check
