#include "web/jobs/FrameSnapshot.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <fmt/format.h>

#include "analysis/RobustRule.h"
#include "analysis/SortFiles.h"
#include "check/CheckException.h"
#include "check/PlotPoints.h"
#include "corvan/ImageFormats.h"
#include "corvan/Parameters.h"
#include "web/door/HttpError.h"
#include "web/jobs/Counted.h"
#include "web/jobs/SheetText.h"
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

// The later the worse. A missing frame is worse than a bad one, and what only looks odd comes last;
// the page shows the worst of many by the same order.
std::size_t Badness(CheckState state)
{
    static constexpr std::array k_by_worse = {
        CheckState::Ok,       CheckState::Sparks,  CheckState::Duplicate, CheckState::Pop,
        CheckState::Blank,    CheckState::Black,   CheckState::OddImage,  CheckState::Nan,
        CheckState::Outlier,  CheckState::Patch,   CheckState::Changed,   CheckState::Undecodable,
        CheckState::TooSmall, CheckState::Missing,
    };
    return std::size_t(std::ranges::find(k_by_worse, state) - k_by_worse.begin());
}

/// The bad frames beside the columns: each, or where they are too many the worst of each column.
class BadFrames
{
public:
    explicit BadFrames(bool isReduced) : m_isReduced(isReduced) {}

    void Add(const PlotPoint &point)
    {
        if (point.state == CheckState::Ok)
            return;
        ++m_total;
        if (!m_isReduced)
            return Write(point, 1);
        if (m_inColumn++ == 0 || Badness(point.state) > Badness(m_worst.state))
            m_worst = point;
    }
    void EndColumn()
    {
        if (m_inColumn > 0)
            Write(m_worst, m_inColumn);
        m_inColumn = 0;
    }
    std::string Json() const
    {
        return R"({"frame":)" + m_frame.Json() + R"(,"size":)" + m_size.Json() + R"(,"state":)" +
               m_state.Json() + R"(,"count":)" + m_count.Json() + R"(,"total":)" +
               std::to_string(m_total) + "}";
    }

private:
    void Write(const PlotPoint &point, std::size_t count)
    {
        m_frame.Add(point.frame);
        m_size.AddSize(point.exists, point.size);
        m_state.Add(1 + int(point.state));
        m_count.Add(std::int64_t(count));
    }

    const bool m_isReduced;
    std::size_t m_total = 0;
    std::size_t m_inColumn = 0;
    PlotPoint m_worst;
    Column m_frame, m_size, m_state, m_count;
};

std::string ReducedJson(const std::vector<PlotPoint> &points, std::size_t columns)
{
    Column first, count, least, most, lowest, highest;
    const auto isBad = [](const PlotPoint &point) { return point.state != CheckState::Ok; };
    BadFrames bad(std::size_t(std::ranges::count_if(points, isBad)) > k_MostExactBad);
    for (std::size_t column = 0; column < columns; ++column)
    {
        SizeColumn sum;
        for (std::size_t i = points.size() * column / columns;
             i < points.size() * (column + 1) / columns; ++i)
        {
            sum.Add(points[i]);
            bad.Add(points[i]);
        }
        if (sum.count == 0)
            continue;
        bad.EndColumn();
        first.Add(sum.first);
        count.Add(std::int64_t(sum.count));
        least.AddSize(sum.sizes > 0, sum.least);
        most.AddSize(sum.sizes > 0, sum.most);
        lowest.AddSize(sum.bands > 0, sum.lowest);
        highest.AddSize(sum.bands > 0, sum.highest);
    }
    return R"({"exact":false,"columns":{"first":)" + first.Json() + R"(,"count":)" + count.Json() +
           R"(,"least":)" + least.Json() + R"(,"most":)" + most.Json() + R"(,"lowest":)" +
           lowest.Json() + R"(,"highest":)" + highest.Json() + R"(},"bad":)" + bad.Json() + "}\n";
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

void FrameSnapshot::Complete()
{
    counts = IsSeen() ? CountsJson(check::CountStates(table)) : "{}";
    sheet = std::make_shared<const std::string>(SheetHead(*this, counts) + SheetBytes(table));
}

String NoSuchFormat(const corvan::Job &job, std::size_t formats)
{
    return NameOf(job) + " has " + Counted(formats, "format") + ", the first is 0";
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
        throw new HttpError(k_NotFound, NoSuchFormat(job, formats.size()));
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
                                                Counted(subject.input.frames.size(), "frame") +
                                                "; the most that are shown are " +
                                                std::to_string(analysis::k_MaxFiles));
        check::ListFrames(subject.input, table);
        analysis::SortFrames(table.frames, {});
        auto snapshot = std::make_shared<FrameSnapshot>(std::move(table));
        snapshot->job = job.ID();
        snapshot->format = format;
        snapshot->pass = passes;
        snapshot->range = SequenceDistributor::CalculateRange(NumbersOf(snapshot->table));
        snapshot->Complete();
        return snapshot;
    }
    catch (check::CheckException *raw)
    {
        const std::unique_ptr<ostrel::Exception> error(raw);
        throw new HttpError(k_NotFound, error->Text());
    }
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
        return fmt::format("smaller than the smallest acceptable size: {} of {}", size,
                           Counted(rules.minSize, "byte"));
    case CheckState::Outlier:
        if (const auto band = BandAround(table, rules, row); band && band->lowest <= band->highest)
            return fmt::format("{} than its neighbours: {}, and they let pass {} to {}",
                               size < band->lowest ? "smaller" : "larger", Counted(size, "byte"),
                               band->lowest, band->highest);
        return "of another size than its neighbours";
    default:
        return {};
    }
}

} // namespace web
