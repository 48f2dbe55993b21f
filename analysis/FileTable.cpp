#include "analysis/FileTable.h"

#include "ostrel/CallEntry.h"

namespace analysis
{

using corvan::SequenceDistributor;
using ostrel::_CallEntry;

namespace
{

// Up to here, adding up the rows costs no more than asking the sums.
constexpr std::int64_t k_few_rows = 64;

} // namespace

FileTable::FileTable(_FileInfoList &files) : m_files(files)
{
    _CallEntry call("FileTable::FileTable", __FILE__, __LINE__);
}

void FileTable::SetRules(const ScanRules &rules)
{
    _CallEntry call("FileTable::SetRules", __FILE__, __LINE__);

    // Whatever changes may decide who counts as a neighbour.
    if (rules != m_rules)
        m_sums.Clear();
    m_rules = rules;
}

bool FileTable::Append(const Path &name, int frame)
{
    _CallEntry call("FileTable::Append", __FILE__, __LINE__);

    m_sums.Clear();
    return m_files.Append(name, frame);
}

void FileTable::Clear()
{
    _CallEntry call("FileTable::Clear", __FILE__, __LINE__);

    _FileInfoList().swap(m_files);
    m_sums = NeighbourSums();
}

bool FileTable::Take(std::size_t row, const FileLook &look, ScanCounts &counts)
{
    _CallEntry call("FileTable::Take", __FILE__, __LINE__);

    CountLook(look, m_rules, counts);
    auto &rows = m_files.get<_FileInfoList::list>();
    const auto file = rows.begin() + std::ptrdiff_t(row);
    if (!IsNews(*file, look))
        return false;

    const Neighbours before = AsNeighbour(*file, m_rules);
    rows.modify(file, [&look](_FileInfo &record) { StoreLook(record, look); });
    if (m_sums.Rows() == m_files.size())
        m_sums.Change(row, before, AsNeighbour(*file, m_rules));
    return true;
}

void FileTable::Sort(const SortState &state)
{
    _CallEntry call("FileTable::Sort", __FILE__, __LINE__);

    SortList(m_files, state);
    m_sums.Clear();
}

FrameState FileTable::Classify(std::int64_t row) const
{
    _CallEntry call("FileTable::Classify", __FILE__, __LINE__);

    if (row < 0 || row >= std::int64_t(RowCount()))
        return FrameState::Ok;

    const _FileInfo &file = m_files.get<_FileInfoList::list>()[std::size_t(row)];
    const FrameState state = Judge(file, NeighboursOf(row), m_rules);
    LogVerdict(file, state);
    return state;
}

Neighbours FileTable::NeighboursOf(std::int64_t row) const
{
    _CallEntry call("FileTable::NeighboursOf", __FILE__, __LINE__);

    const auto &rows = m_files.get<_FileInfoList::list>();
    const RowSpan span = NeighbourRows(row, std::int64_t(rows.size()), m_rules.frameOffset);
    if (span.lo >= span.hi)
        return {};

    Neighbours sum;
    if (span.hi - span.lo <= k_few_rows)
    {
        for (std::int64_t other = span.lo; other < span.hi; ++other)
            sum += AsNeighbour(rows[std::size_t(other)], m_rules);
    }
    else
    {
        if (m_sums.Rows() != rows.size())
            m_sums.Build(rows, m_rules);
        sum = m_sums.Sum(span.lo, span.hi);
    }
    sum -= AsNeighbour(rows[std::size_t(row)], m_rules);
    return sum;
}

std::set<Path> FileTable::FindBadPaths() const
{
    _CallEntry call("FileTable::FindBadPaths", __FILE__, __LINE__);

    std::set<Path> bad;
    auto hint = bad.end();
    ClassifyAll(m_files.get<_FileInfoList::list>(), m_rules,
                [&](const _FileInfo &file, FrameState state)
                {
                    // The next bad path mostly follows the last one.
                    if (state != FrameState::Ok)
                        hint = std::next(bad.insert(hint, file.name));
                });
    return bad;
}

SequenceDistributor::Items FileTable::FindBadFrames() const
{
    _CallEntry call("FileTable::FindBadFrames", __FILE__, __LINE__);

    SequenceDistributor::Items bad;
    ClassifyAll(m_files.get<_FileInfoList::list>(), m_rules,
                [&bad](const _FileInfo &file, FrameState state)
                {
                    if (state != FrameState::Ok)
                        bad.insert(file.frame);
                });
    return bad;
}

std::size_t FileTable::CountGood(const SequenceDistributor::Items &frames) const
{
    _CallEntry call("FileTable::CountGood", __FILE__, __LINE__);

    const auto &rows = m_files.get<_FileInfoList::list>();
    std::size_t count = 0;
    for (std::size_t row = 0; row < rows.size(); ++row)
        if (frames.contains(rows[row].frame) && Classify(std::int64_t(row)) == FrameState::Ok)
            ++count;
    return count;
}

} // namespace analysis
