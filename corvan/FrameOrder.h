#pragma once

#include <optional>

#include "ostrel/String.h"

namespace corvan
{

using ostrel::String;

/// In which order the packets of a job are begun: what its "FrameOrder" says.
struct FrameOrder
{
    enum class Kind
    {
        Given,  ///< "given", or an empty text: ascending.
        Ends,   ///< "ends:N": the first, the last, every N-th; then the others, ascending.
        Middle, ///< "middle": the one in the middle, then outwards to both sides.
    };
    Kind kind = Kind::Given;
    unsigned step = 0; ///< The N of `Ends`; 0 of the others.

    friend bool operator==(const FrameOrder &, const FrameOrder &) = default;
};

/// The N of "ends" alone, and what it may be.
constexpr unsigned k_UsualOrderStep = 10;
constexpr unsigned k_LeastOrderStep = 2;
constexpr unsigned k_MostOrderStep = 1'000'000;

/// Nothing for a text that is no order.
std::optional<FrameOrder> ReadFrameOrder(const String &text);

/// Why a text is no order, as a sentence that begins with "FrameOrder"; empty where it is one.
String CheckFrameOrder(const String &text);

} // namespace corvan
