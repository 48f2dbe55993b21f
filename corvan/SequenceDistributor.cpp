#include "corvan/SequenceDistributor.h"

#include <algorithm>
#include <limits>
#include <vector>

#include "corvan/RangeParser.h"
#include "corvan/Utf8.h"
#include "ostrel/Log.h"

namespace corvan
{

using Items = SequenceDistributor::Items;

namespace
{

// Frames that stepped parts may name in sum, repeated ones too: bounds the time of a text that
// names the same millions over and over.
constexpr std::uint64_t k_most_stepped = 2 * SequenceDistributor::k_MaxFrames;

// Below this many frames single inserts are quicker than joining two sets.
constexpr std::uint64_t k_few = 4096;

/// Joins the parts of a range text to a set, and stops as soon as there are too many frames.
class RangeBuilder
{
public:
    explicit RangeBuilder(Items &items) : m_items(items) {}

    /// False where there are too many frames, with the reason in `Error`.
    bool Add(const RangePart &part);
    /// Puts the plain runs in. They are kept for the last so that each is stored once however
    /// often the text names it.
    bool Finish();

    const String &Error() const
    {
        return m_error;
    }

private:
    bool AddStepped(const RangePart &part);
    bool AddFew(const RangePart &part);
    void MergeRuns();
    bool TooMany();

    Items &m_items;
    std::uint64_t m_count = 0;
    std::uint64_t m_steppedWork = 0;
    std::vector<RangePart> m_runs;
    String m_error;
};

bool RangeBuilder::TooMany()
{
    m_error = "it names more than 10000000 frames";
    return false;
}

bool RangeBuilder::Add(const RangePart &part)
{
    if (part.Count() > SequenceDistributor::k_MaxFrames)
        return TooMany();
    if (part.kind == RangePart::Kind::All)
    {
        m_runs.push_back(part);
        return true;
    }

    if (part.Count() == 0)
        return true;
    m_steppedWork += part.Count();
    if (m_steppedWork > k_most_stepped)
    {
        m_error = "it names the same frames over and over";
        return false;
    }
    return AddStepped(part);
}

bool RangeBuilder::AddStepped(const RangePart &part)
{
    if (part.Count() <= k_few)
        return AddFew(part);

    Items frames = Items::Steps(part.first, part.last, part.step);
    if (part.kind == RangePart::Kind::Between)
    {
        Items all;
        all.insertRange(part.first, part.last);
        all.eraseAll(frames);
        frames = std::move(all);
    }
    m_count += m_items.insertAll(frames);
    return m_count <= SequenceDistributor::k_MaxFrames || TooMany();
}

bool RangeBuilder::AddFew(const RangePart &part)
{
    const bool wantsHit = part.kind == RangePart::Kind::Every;
    const std::int64_t stride = wantsHit ? part.step : 1;
    for (std::int64_t frame = part.first; frame <= part.last; frame += stride)
    {
        const bool isHit = (frame - part.first) % part.step == 0;
        if (isHit == wantsHit && m_items.insert(int(frame)))
            ++m_count;
    }
    return m_count <= SequenceDistributor::k_MaxFrames || TooMany();
}

void RangeBuilder::MergeRuns()
{
    std::ranges::sort(m_runs, {}, &RangePart::first);
    std::size_t kept = 0;
    for (const RangePart &run : m_runs)
    {
        if (kept > 0 && std::int64_t(m_runs[kept - 1].last) + 1 >= run.first)
            m_runs[kept - 1].last = std::max(m_runs[kept - 1].last, run.last);
        else
            m_runs[kept++] = run;
    }
    m_runs.resize(kept);
}

bool RangeBuilder::Finish()
{
    MergeRuns();
    Items runs;
    std::uint64_t count = 0;
    for (const RangePart &run : m_runs)
    {
        count += run.Count();
        if (count > SequenceDistributor::k_MaxFrames)
            return TooMany();
        runs.insertRange(run.first, run.last);
    }
    m_count += m_items.insertAll(runs);
    return m_count <= SequenceDistributor::k_MaxFrames || TooMany();
}

/// A part of the written form: frames at equal distance, or a single one.
struct Run
{
    int first = 0;
    int last = 0;
    std::int64_t step = 1;
    std::size_t count = 1;
};

using Position = Items::const_iterator;

/// The longest run of equal steps that begins at `at`; `at` is then behind it.
Run TakeRun(Position &at, const Position &end)
{
    Run run{*at, *at, 1, 1};
    if (++at == end)
        return run;

    run.step = std::int64_t(*at) - run.last;
    while (at != end && std::int64_t(*at) - run.last == run.step)
    {
        run.last = *at++;
        ++run.count;
    }
    return run;
}

void Append(String &text, const Run &run)
{
    if (!text.empty())
        text += ',';
    text += std::to_string(run.first);
    if (run.count > 1)
        text += '-' + std::to_string(run.last);
    if (run.count > 1 && run.step > 1)
        text += 'x' + std::to_string(run.step);
}

/// True where three frames or more without a gap begin at `frame`.
bool BeginsPlainRun(const Items &items, int frame)
{
    return frame <= std::numeric_limits<int>::max() - 2 && items.contains(frame + 1) &&
           items.contains(frame + 2);
}

} // namespace

void SequenceDistributor::CalculateItems(const String &range, Items &items)
{
    String reason;
    if (!ParseRange(range, items, &reason))
        ostrel::LogError(reason);
}

bool SequenceDistributor::ParseRange(const String &range, Items &items, String *reason)
{
    items.clear();
    Items frames;
    RangeBuilder builder(frames);
    RangeParser parser(range);
    bool isFine = true;
    while (const auto part = parser.Next())
    {
        isFine = builder.Add(*part);
        if (!isFine)
            break;
    }
    if (isFine && parser.Error().empty() && builder.Finish())
    {
        items = std::move(frames);
        return true;
    }

    const String &why = parser.Error().empty() ? builder.Error() : parser.Error();
    if (reason)
        *reason = "cannot use the range \"" + Excerpt(range) + "\": " + why;
    return false;
}

String SequenceDistributor::CalculateRange(const Items &items)
{
    String text;
    Position at = items.begin();
    while (at != items.end())
    {
        const Position begin = at;
        Run run = TakeRun(at, items.end());

        // A stepped run leaves its last frame to the plain run that begins with it: {1,3,5,6,7} is
        // "1,3,5-7".
        if (run.step > 1 && run.count > 1 && BeginsPlainRun(items, run.last))
        {
            at = items.lower_bound(run.last);
            run.last = int(run.last - run.step);
            --run.count;
        }
        if (run.count == 2)
        {
            at = begin;
            ++at;
            run = {run.first, run.first, 1, 1};
        }
        Append(text, run);
    }
    return text;
}

} // namespace corvan
