#include "web/jobs/FrameLook.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <span>
#include <utility>
#include <vector>

#include "analysis/FolderFinder.h"
#include "analysis/FrameLooks.h"
#include "check/CheckException.h"
#include "check/LookAtTable.h"
#include "web/jobs/JobJson.h"
#include "web/jobs/SheetText.h"

namespace web
{

using check::CheckState;
using check::CheckTable;
using corvan::SequenceDistributor;
using Clock = std::chrono::steady_clock;

namespace
{

// Frames that are looked at before it is known how long they take, and the least at a time: as many
// as keep all who look busy.
constexpr std::size_t k_first_slice = 256;
constexpr std::chrono::microseconds k_slice_time{250'000};

bool IsSame(const analysis::FrameRecord &one, const analysis::FrameRecord &other)
{
    return one.exists == other.exists && one.size == other.size && one.modified == other.modified;
}

/// Frames by the state that they have come to.
class Changes
{
public:
    void Add(CheckState state, int frame)
    {
        m_frames[std::size_t(state)].insert(frame);
    }
    std::string Json() const
    {
        nlohmann::ordered_json json = nlohmann::ordered_json::object();
        for (const CheckState state : check::k_CheckStates)
            if (const auto &frames = m_frames[std::size_t(state)]; !frames.empty())
                json[std::string(check::StateText(state))] =
                    std::string(SequenceDistributor::CalculateRange(frames));
        return JsonText(json);
    }

private:
    std::array<SequenceDistributor::Items, check::k_CheckStates.size()> m_frames;
};

/// Tells what a pass has found so far: of frames whose neighbours were looked at, too, so that
/// nothing is told that the rest of the pass would take back.
class Parts
{
public:
    Parts(const FrameSnapshot &before, const FrameSnapshot &now, const analysis::ScanRules &rules,
          const LookCourse &course)
        : m_before(before), m_now(now), m_rules(rules), m_course(course),
          m_margin(std::size_t(std::max(rules.frameOffset, 0))), m_bytes(SheetBytes(before.table))
    {
        if (before.IsSeen())
            m_counts = check::CountStates(before.table);
    }

    /// So many frames were looked at, but not all.
    void Tell(std::size_t looked)
    {
        const std::size_t end = looked > m_margin ? looked - m_margin : 0;
        if (end <= m_told || Clock::now() - m_at < m_course.between)
            return;
        Changes changes;
        Judge(end, looked, changes);
        m_told = end;
        const std::string counts = CountsJson(m_counts);
        m_course.tell({changes.Json(), counts,
                       std::make_shared<const std::string>(SheetHead(m_before, counts) + m_bytes)});
        m_at = Clock::now();
    }

private:
    void Judge(std::size_t end, std::size_t looked, Changes &changes)
    {
        const std::size_t begin = m_told > m_margin ? m_told - m_margin : 0;
        std::vector<CheckState> states(looked - begin);
        check::JudgeFrames(std::span(m_now.table.frames).subspan(begin, looked - begin),
                           m_now.table.sizeRule, m_rules, states);
        for (std::size_t row = m_told; row < end; ++row)
            Take(row, states[row - begin], changes);
    }

    void Take(std::size_t row, CheckState state, Changes &changes)
    {
        const char byte = SheetByte(state);
        const analysis::FrameRecord &frame = m_now.table.frames[row];
        if (byte == m_bytes[row] && IsSame(frame, m_before.table.frames[row]))
            return;
        changes.Add(state, frame.frame);
        ++m_counts[std::size_t(state)];
        if (m_before.IsSeen())
            --m_counts[std::size_t(m_before.table.states[row])];
        m_bytes[row] = byte;
    }

    const FrameSnapshot &m_before;
    const FrameSnapshot &m_now;
    const analysis::ScanRules &m_rules;
    const LookCourse &m_course;
    const std::size_t m_margin;
    std::string m_bytes; // As they were told.
    check::StateCounts m_counts{};
    std::size_t m_told = 0;
    Clock::time_point m_at = Clock::now();
};

// As many as take a quarter of a second, by what the last ones took.
std::size_t NextSlice(std::size_t slice, Clock::duration took)
{
    const auto us = std::chrono::duration_cast<std::chrono::microseconds>(took).count();
    return std::max(k_first_slice, std::size_t(double(slice) * double(k_slice_time.count()) /
                                               double(std::max<std::int64_t>(us, 1000))));
}

} // namespace

SnapshotPointer LookAtFramesOf(const FrameSnapshot &before, const analysis::ScanRules &rules,
                               const LookCourse &course)
{
    auto now = std::make_shared<FrameSnapshot>(before.table);
    now->job = before.job;
    now->format = before.format;
    now->range = before.range;
    now->pass = before.pass + 1;

    const analysis::FrameNames names(now->table.pattern);
    const auto makeFinder = analysis::FolderFinder::MakerFor(names.Folder());
    const std::span<analysis::FrameRecord> frames = now->table.frames;
    Parts parts(before, *now, rules, course);
    std::size_t looked = 0;
    std::size_t slice = k_first_slice;
    while (looked < frames.size())
    {
        analysis::FolderFinder(names.Folder()); // Before many do the same.
        const auto rows = frames.subspan(looked, std::min(slice, frames.size() - looked));
        const auto begin = Clock::now();
        std::size_t last = 0;
        const String reason = analysis::LookAtFrames(names, makeFinder, rows,
                                                     [&](std::size_t done)
                                                     {
                                                         if (std::exchange(last, done) != done)
                                                             course.getsOn();
                                                     });
        if (!reason.empty())
            throw new check::CheckException(reason);
        looked += rows.size();
        slice = NextSlice(rows.size(), Clock::now() - begin);
        course.getsOn();
        if (looked < frames.size())
            parts.Tell(looked);
    }
    check::JudgeTable(now->table, rules);
    now->Complete();
    return now;
}

std::string ChangesJson(const FrameSnapshot &before, const FrameSnapshot &now)
{
    Changes changes;
    for (std::size_t row = 0; row < now.table.frames.size(); ++row)
        if (SheetByte(before.table, row) != SheetByte(now.table, row) ||
            !IsSame(before.table.frames[row], now.table.frames[row]))
            changes.Add(now.table.states[row], now.table.frames[row].frame);
    return changes.Json();
}

} // namespace web
