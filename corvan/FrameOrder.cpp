#include "corvan/FrameOrder.h"

#include <charconv>
#include <string_view>

#include "corvan/Utf8.h"

namespace corvan
{

namespace
{

constexpr std::string_view k_ends = "ends";

std::optional<unsigned> ReadStep(std::string_view text)
{
    unsigned step = 0;
    const char *const end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, step);
    if (error != std::errc() || stopped != end || step < k_LeastOrderStep || step > k_MostOrderStep)
        return std::nullopt;
    return step;
}

} // namespace

std::optional<FrameOrder> ReadFrameOrder(const String &text)
{
    if (text.empty() || text == "given")
        return FrameOrder{};
    if (text == "middle")
        return FrameOrder{FrameOrder::Kind::Middle};
    if (text == k_ends)
        return FrameOrder{FrameOrder::Kind::Ends, k_UsualOrderStep};
    if (!text.starts_with("ends:"))
        return std::nullopt;
    const std::optional<unsigned> step = ReadStep(std::string_view(text).substr(k_ends.size() + 1));
    if (!step)
        return std::nullopt;
    return FrameOrder{FrameOrder::Kind::Ends, *step};
}

String CheckFrameOrder(const String &text)
{
    if (ReadFrameOrder(text))
        return {};
    return "FrameOrder: \"" + Excerpt(text) +
           "\" is no order; there are given, middle, ends, and " + "ends:N with an N from " +
           std::to_string(k_LeastOrderStep) + " to " + std::to_string(k_MostOrderStep);
}

} // namespace corvan
