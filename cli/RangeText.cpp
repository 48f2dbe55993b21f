#include "cli/RangeText.h"

#include <cstdint>
#include <fmt/format.h>
#include <vector>

namespace cli
{

namespace
{

constexpr std::size_t k_fewest_stepped = 5;

// Frames without a gap. In 64 bits, so that the distance of two fits.
struct Run
{
    std::int64_t first;
    std::int64_t last;

    bool IsOne() const
    {
        return first == last;
    }
};

std::vector<Run> ListRuns(const corvan::SequenceDistributor::Items &frames)
{
    std::vector<Run> runs;
    for (const int frame : frames)
    {
        if (!runs.empty() && runs.back().last + 1 == frame)
            runs.back().last = frame;
        else
            runs.push_back({frame, frame});
    }
    return runs;
}

// How many runs from `begin` on are single frames at the same distance.
std::size_t CountStepped(const std::vector<Run> &runs, std::size_t begin)
{
    std::size_t end = begin;
    while (end < runs.size() && runs[end].IsOne() &&
           (end < begin + 2 ||
            runs[end].first - runs[end - 1].first == runs[begin + 1].first - runs[begin].first))
        ++end;
    return end - begin;
}

String TextOf(const Run &run)
{
    if (run.IsOne())
        return std::to_string(run.first);
    const char between = run.last - run.first == 1 ? ',' : '-';
    return fmt::format("{}{}{}", run.first, between, run.last);
}

} // namespace

String RangeText(const corvan::SequenceDistributor::Items &frames)
{
    const std::vector<Run> runs = ListRuns(frames);
    String text;
    for (std::size_t i = 0; i < runs.size();)
    {
        text += text.empty() ? "" : ",";
        if (const std::size_t count = CountStepped(runs, i); count >= k_fewest_stepped)
        {
            text += fmt::format("{}-{}x{}", runs[i].first, runs[i + count - 1].first,
                                runs[i + 1].first - runs[i].first);
            i += count;
        }
        else
            text += TextOf(runs[i++]);
    }
    return text;
}

} // namespace cli
