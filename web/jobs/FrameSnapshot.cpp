#include "web/jobs/FrameSnapshot.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "analysis/RobustRule.h"
#include "analysis/SortFiles.h"
#include "check/CheckException.h"
#include "check/LookAtTable.h"
#include "check/PlotPoints.h"
#include "corvan/ImageFormats.h"
#include "corvan/Parameters.h"
#include "web/door/HttpError.h"
#include "web/jobs/JobJson.h"
#include "web/jobs/Statuses.h"

namespace web
{

using check::CheckState;
using check::CheckTable;
using check::PlotPoint;
using corvan::SequenceDistributor;

namespace
{

String NameOf(const corvan::Job &job)
{
    return "the job '" + job.Name() + "'";
}

SequenceDistributor::Items NumbersOf(const CheckTable &table)
{
    SequenceDistributor::Items numbers;
    for (const analysis::FrameRecord &frame : table.frames)
        numbers.insert(frame.frame);
    return numbers;
}

// The states of the sheet: one more than those of a check, for frames that nobody has looked at.
char SheetByte(const CheckTable &table, std::size_t row)
{
    return table.states.empty() ? '\0' : char(1 + int(table.states[row]));
}

std::string CountsJson(const CheckTable &table)
{
    nlohmann::ordered_json counts = nlohmann::ordered_json::object();
    if (!table.states.empty())
    {
        const check::StateCounts all = check::CountStates(table);
        for (const CheckState state : check::k_CheckStates)
            if (all[std::size_t(state)] > 0)
                counts[std::string(check::StateText(state))] = all[std::size_t(state)];
    }
    return JsonText(counts);
}

std::string MakeSheet(const FrameSnapshot &snapshot)
{
    nlohmann::ordered_json states = {"unknown"};
    for (const CheckState state : check::k_CheckStates)
        states.push_back(std::string(check::StateText(state)));
    const nlohmann::ordered_json head = {
        {"format", snapshot.format},
        {"pattern", std::string(snapshot.table.format)},
        {"pass", snapshot.pass},
        {"range", snapshot.range},
        {"count", snapshot.table.frames.size()},
        {"states", states},
        {"counts", nlohmann::ordered_json::parse(snapshot.counts)}};
    std::string sheet = JsonText(head) + "\n";
    const std::size_t begin = sheet.size();
    sheet.resize(begin + snapshot.table.frames.size());
    for (std::size_t row = 0; row < snapshot.table.frames.size(); ++row)
        sheet[begin + row] = SheetByte(snapshot.table, row);
    return sheet;
}

void Complete(FrameSnapshot &snapshot)
{
    snapshot.counts = CountsJson(snapshot.table);
    snapshot.sheet = std::make_shared<const std::string>(MakeSheet(snapshot));
}

bool IsSame(const analysis::FrameRecord &one, const analysis::FrameRecord &other)
{
    return one.exists == other.exists && one.size == other.size && one.modified == other.modified;
}

/// Arrays of JSON, written as they are made: there may be a million entries in each.
class Column
{
public:
    void Add(std::int64_t number)
    {
        Separate();
        char digits[24];
        m_json.append(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
    }
    void AddSize(bool isThere, double size)
    {
        if (isThere)
            return Add(std::llround(size));
        Separate();
        m_json += "null";
    }
    std::string Json() const
    {
        return "[" + m_json + "]";
    }

private:
    void Separate()
    {
        if (!m_json.empty())
            m_json += ',';
    }

    std::string m_json;
};

std::string ExactJson(const std::vector<PlotPoint> &points)
{
    Column frame, size, lowest, highest, state;
    for (const PlotPoint &point : points)
    {
        frame.Add(point.frame);
        size.AddSize(point.exists, point.size);
        lowest.AddSize(point.hasBand, point.lowest);
        highest.AddSize(point.hasBand, point.highest);
        state.Add(1 + int(point.state));
    }
    return R"({"exact":true,"frame":)" + frame.Json() + R"(,"size":)" + size.Json() +
           R"(,"lowest":)" + lowest.Json() + R"(,"highest":)" + highest.Json() + R"(,"state":)" +
           state.Json() + "}\n";
}

/// What stands in one column of a plot with fewer columns than frames.
struct SizeColumn
{
    int first = 0;
    std::size_t count = 0;
    std::size_t sizes = 0;
    double least = 0;
    double most = 0;
    std::size_t bands = 0;
    double lowest = 0;
    double highest = 0;

    void Add(const PlotPoint &point)
    {
        first = count == 0 ? point.frame : first;
        ++count;
        if (point.state == CheckState::Ok)
        {
            least = sizes == 0 ? point.size : std::min(least, point.size);
            most = std::max(most, point.size);
            ++sizes;
        }
        if (point.hasBand)
        {
            lowest = bands == 0 ? point.lowest : std::min(lowest, point.lowest);
            highest = std::max(highest, point.highest);
            ++bands;
        }
    }
};

std::string ReducedJson(const std::vector<PlotPoint> &points, std::size_t columns)
{
    Column first, count, least, most, lowest, highest, badFrame, badSize, badState;
    for (std::size_t column = 0; column < columns; ++column)
    {
        SizeColumn sum;
        for (std::size_t i = points.size() * column / columns;
             i < points.size() * (column + 1) / columns; ++i)
            sum.Add(points[i]);
        if (sum.count == 0)
            continue;
        first.Add(sum.first);
        count.Add(std::int64_t(sum.count));
        least.AddSize(sum.sizes > 0, sum.least);
        most.AddSize(sum.sizes > 0, sum.most);
        lowest.AddSize(sum.bands > 0, sum.lowest);
        highest.AddSize(sum.bands > 0, sum.highest);
    }
    for (const PlotPoint &point : points)
        if (point.state != CheckState::Ok)
        {
            badFrame.Add(point.frame);
            badSize.AddSize(point.exists, point.size);
            badState.Add(1 + int(point.state));
        }
    return R"({"exact":false,"columns":{"first":)" + first.Json() + R"(,"count":)" + count.Json() +
           R"(,"least":)" + least.Json() + R"(,"most":)" + most.Json() + R"(,"lowest":)" +
           lowest.Json() + R"(,"highest":)" + highest.Json() + R"(},"bad":{"frame":)" +
           badFrame.Json() + R"(,"size":)" + badSize.Json() + R"(,"state":)" + badState.Json() +
           "}}\n";
}

std::optional<analysis::SizeBand> BandAround(const CheckTable &table,
                                             const analysis::ScanRules &rules, std::size_t row)
{
    if (table.sizeRule == corvan::SizeRule::Robust)
    {
        const auto band = analysis::RobustBandAround(table.frames, rules, row);
        return band ? std::optional(band->sizes) : std::nullopt;
    }
    const analysis::RowSpan span = analysis::NeighbourRows(
        std::int64_t(row), std::int64_t(table.frames.size()), rules.frameOffset);
    analysis::Neighbours others;
    for (std::int64_t other = span.lo; other < span.hi; ++other)
        if (std::size_t(other) != row)
            others += analysis::AsNeighbour(table.frames[std::size_t(other)], rules);
    return analysis::BandOf(others, rules);
}

} // namespace

std::optional<std::size_t> FrameSnapshot::FindRow(int frame) const
{
    const auto found =
        std::ranges::lower_bound(table.frames, frame, {}, &analysis::FrameRecord::frame);
    if (found == table.frames.end() || found->frame != frame)
        return std::nullopt;
    return std::size_t(found - table.frames.begin());
}

String FramesToLookFor(const corvan::Job &job)
{
    String text;
    for (const String &name :
         {corvan::p_ImageFormat, corvan::p_UserRange, corvan::p_CustomRange, corvan::p_SequenceBy,
          corvan::p_RenumberStart, corvan::p_RenumberBy, corvan::p_PacketSize, corvan::p_SizeRule})
        text += job.ParameterText(name, true) + '\n';
    return text;
}

SnapshotPointer ListFramesOf(const corvan::Job &job, std::size_t format, std::uint64_t passes)
{
    const auto formats = corvan::ListFormats(job.ParameterText(corvan::p_ImageFormat, true));
    if (format >= formats.size())
        throw new HttpError(k_NotFound, NameOf(job) + " has " + std::to_string(formats.size()) +
                                            " formats, the first is 0");
    auto input = analysis::ReadExpansionInput(job);
    if (!input)
        throw new HttpError(k_NotFound, NameOf(job) + " has no range to look for");
    try
    {
        check::CheckSubject subject =
            check::FindFrames(std::move(*input), {formats[format].Text()}, NameOf(job));
        CheckTable &table = subject.tables.front();
        table.sizeRule = corvan::SizeRuleOf(job);
        if (subject.input.frames.size() > analysis::k_MaxFiles)
            throw new HttpError(k_TooLarge, NameOf(job) + " has " +
                                                std::to_string(subject.input.frames.size()) +
                                                " frames; the most that are shown are " +
                                                std::to_string(analysis::k_MaxFiles));
        check::ListFrames(subject.input, table);
        analysis::SortFrames(table.frames, {});
        auto snapshot = std::make_shared<FrameSnapshot>(std::move(table));
        snapshot->job = job.ID();
        snapshot->format = format;
        snapshot->pass = passes;
        snapshot->range = SequenceDistributor::CalculateRange(NumbersOf(snapshot->table));
        Complete(*snapshot);
        return snapshot;
    }
    catch (check::CheckException *raw)
    {
        const std::unique_ptr<ostrel::Exception> error(raw);
        throw new HttpError(k_NotFound, error->Text());
    }
}

SnapshotPointer LookAtFramesOf(const FrameSnapshot &before, const analysis::ScanRules &rules)
{
    auto now = std::make_shared<FrameSnapshot>(before.table);
    now->job = before.job;
    now->format = before.format;
    now->range = before.range;
    now->pass = before.pass + 1;
    check::SystemClock clock;
    check::LookAtTable(now->table, {rules, {}, {}}, clock, [](std::size_t, std::size_t) {});
    Complete(*now);
    return now;
}

std::string ChangesJson(const FrameSnapshot &before, const FrameSnapshot &now)
{
    std::array<SequenceDistributor::Items, check::k_CheckStates.size()> changed;
    for (std::size_t row = 0; row < now.table.frames.size(); ++row)
        if (SheetByte(before.table, row) != SheetByte(now.table, row) ||
            !IsSame(before.table.frames[row], now.table.frames[row]))
            changed[std::size_t(now.table.states[row])].insert(now.table.frames[row].frame);
    nlohmann::ordered_json json = nlohmann::ordered_json::object();
    for (const CheckState state : check::k_CheckStates)
        if (const auto &frames = changed[std::size_t(state)]; !frames.empty())
            json[std::string(check::StateText(state))] =
                std::string(SequenceDistributor::CalculateRange(frames));
    return JsonText(json);
}

std::string SizesJson(const FrameSnapshot &snapshot, const analysis::ScanRules &rules, int first,
                      int last, std::size_t columns)
{
    std::vector<PlotPoint> points;
    // Nothing was judged yet: no sizes are known.
    if (snapshot.IsSeen())
        points = check::PlotPointsOf(snapshot.table, rules);
    std::erase_if(points, [&](const PlotPoint &point)
                  { return point.frame < first || point.frame > last; });
    if (points.size() <= std::min(columns, k_MostExactSizes))
        return ExactJson(points);
    return ReducedJson(points, columns);
}

String WhyBad(const FrameSnapshot &snapshot, const analysis::ScanRules &rules, std::size_t row)
{
    const CheckTable &table = snapshot.table;
    if (const auto detail = table.details.find(row); detail != table.details.end())
        return detail->second;
    if (!snapshot.IsSeen())
        return {};
    const std::uint64_t size = table.frames[row].size;
    switch (table.states[row])
    {
    case CheckState::Missing:
        return "there is no such file";
    case CheckState::TooSmall:
        return fmt::format("smaller than the smallest acceptable size: {} of {} bytes", size,
                           rules.minSize);
    case CheckState::Outlier:
        if (const auto band = BandAround(table, rules, row); band && band->lowest <= band->highest)
            return fmt::format("{} than its neighbours: {} bytes, and they let pass {} to {}",
                               size < band->lowest ? "smaller" : "larger", size, band->lowest,
                               band->highest);
        return "of another size than its neighbours";
    default:
        return {};
    }
}

} // namespace web
