#include "web/jobs/PictureVerdict.h"

#include <algorithm>
#include <cassert>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "web/jobs/JobJson.h"

namespace web
{

using check::CheckTable;
using corvan::SequenceDistributor;
using nlohmann::ordered_json;
using Clock = std::chrono::steady_clock;

namespace
{

CheckTable RowsOf(const CheckTable &table, std::size_t first, std::size_t end)
{
    const auto rows = [&](const auto &all)
    { return std::vector(all.begin() + std::ptrdiff_t(first), all.begin() + std::ptrdiff_t(end)); };
    CheckTable some(table.pattern);
    some.format = table.format;
    some.sizeRule = table.sizeRule;
    some.rules = table.rules;
    some.frames = rows(table.frames);
    some.states = rows(table.states);
    return some;
}

std::string RangeOf(const CheckTable &table, const std::function<bool(std::size_t)> &isOne)
{
    SequenceDistributor::Items frames;
    for (std::size_t row = 0; row < table.frames.size(); ++row)
        if (table.frames[row].exists && isOne(row))
            frames.insert(table.frames[row].frame);
    return SequenceDistributor::CalculateRange(frames);
}

std::string TextAt(const std::map<std::size_t, String> &texts, std::size_t row)
{
    const auto found = texts.find(row);
    return found == texts.end() ? std::string() : std::string(found->second);
}

ordered_json PlaceAt(const CheckTable &table, std::size_t row)
{
    const auto found = table.places.find(row);
    if (found == table.places.end())
        return nullptr;
    const auto &[x, y, width, height] = found->second;
    return {{"x", x}, {"y", y}, {"width", width}, {"height", height}};
}

} // namespace

std::string PictureVerdictJson(check::TableDecoder &decoder, const FrameSnapshot &snapshot,
                               std::size_t row, int frameOffset, const PictureVerdictLimits &limits,
                               const std::function<void()> &getsOn)
{
    assert(snapshot.IsSeen() && snapshot.table.frames[row].exists && "there is a picture");
    const std::size_t first = row > limits.reach ? row - limits.reach : 0;
    const std::size_t end = std::min(row + limits.reach + 1, snapshot.table.frames.size());
    CheckTable table = RowsOf(snapshot.table, first, end);
    const auto over = Clock::now() + limits.all;
    decoder.Decode(
        table, frameOffset, limits.decode, check::CheckDepth::Pictures,
        [&](std::size_t done, std::size_t all)
        {
            getsOn();
            if (done < all && Clock::now() >= over)
                throw new MoreToRead(fmt::format(
                    "after {} s {} of {} frames around are read; asked again, it goes on",
                    limits.all.count() / 1000, done, all));
        });
    const std::size_t at = row - first;
    const auto isRead = [&](std::size_t one) { return !table.troubles.contains(one); };
    return JsonText({{"state", std::string(check::StateText(table.states[at]))},
                     {"detail", TextAt(table.details, at)},
                     {"place", PlaceAt(table, at)},
                     {"range", RangeOf(table, isRead)},
                     {"notLookedAt",
                      RangeOf(table, [&](std::size_t one) { return one != at && !isRead(one); })},
                     {"trouble", TextAt(table.troubles, at)}});
}

} // namespace web
