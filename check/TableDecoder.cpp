#include "check/TableDecoder.h"

#include <algorithm>
#include <cassert>
#include <memory>
#include <numeric>

#include "check/CheckException.h"

namespace check
{

using decode::ImageReport;
using decode::ImageState;

namespace
{

CheckState StateOfImage(ImageState state)
{
    switch (state)
    {
    case ImageState::Ok:
        return CheckState::Ok;
    case ImageState::Undecodable:
        return CheckState::Undecodable;
    case ImageState::OddImage:
        return CheckState::OddImage;
    case ImageState::Nan:
        return CheckState::Nan;
    case ImageState::Blank:
        return CheckState::Blank;
    }
    return CheckState::Ok;
}

} // namespace

void TableDecoder::Announce(std::size_t frames, const decode::DecodeLimits &limits)
{
    if (!m_crew && !m_seen.IsEmpty())
        return;
    if (!m_crew)
        m_crew = std::make_unique<decode::DecodeCrew>(decode::DecoderProgram(), limits);
    m_crew->StartAhead(frames);
}

void TableDecoder::ReadNews(const CheckTable &table, const decode::DecodeLimits &limits,
                            CheckDepth depth, const Progress &progress)
{
    std::vector<std::size_t> rows;
    std::vector<ostrel::Path> paths;
    for (std::size_t row = 0; row < table.frames.size(); ++row)
        if (ostrel::Path path = table.PathOf(row);
            table.frames[row].exists && !m_seen.IsKnown(path, table.frames[row], depth))
        {
            rows.push_back(row);
            paths.push_back(std::move(path));
        }

    std::size_t done = 0;
    const auto keep = [&](std::size_t file, const ImageReport &report)
    {
        m_seen.Keep(paths[file], table.frames[rows[file]], depth, report);
        progress(++done, rows.size());
    };
    const auto asked =
        depth == CheckDepth::Pictures ? decode::ReportDepth::Measured : decode::ReportDepth::Whole;
    try
    {
        if (m_crew)
            m_crew->Read(paths, keep, asked);
        else
            decode::DecodeFiles(decode::DecoderProgram(), paths, limits, keep, asked);
    }
    catch (ostrel::ProcessException *raw)
    {
        const std::unique_ptr<ostrel::ProcessException> error(raw);
        throw new CheckException(error->Text());
    }
}

void TableDecoder::Decode(CheckTable &table, int frameOffset, const decode::DecodeLimits &limits,
                          CheckDepth depth, const Progress &progress)
{
    m_seen.BeginPass();
    ReadNews(table, limits, depth, progress);
    std::vector<const ImageReport *> reports(table.frames.size());
    for (std::size_t row = 0; row < reports.size(); ++row)
        if (table.frames[row].exists)
            reports[row] = &m_seen.At(table.PathOf(row));
    AddFindings(table, decode::JudgeImages(reports, frameOffset, m_rules));
    if (depth == CheckDepth::Pictures)
        HoldAgainstEachOther(table, reports);
}

void TableDecoder::HoldAgainstEachOther(CheckTable &table,
                                        std::span<const ImageReport *const> reports)
{
    // In time the frames follow each other by their numbers, however the rows are sorted.
    std::vector<std::size_t> rows(table.frames.size());
    std::iota(rows.begin(), rows.end(), std::size_t(0));
    std::ranges::stable_sort(rows, {},
                             [&table](std::size_t row) { return table.frames[row].frame; });
    std::vector<const decode::PictureMeasures *> pictures;
    for (const std::size_t row : rows)
    {
        const ImageReport *const report = reports[row];
        const bool isKnown = report && report->trouble.empty() && report->reason.empty() &&
                             !report->measures.tiles.empty();
        pictures.push_back(isKnown ? &report->measures : nullptr);
    }
    PictureJudge once;
    PictureJudge &judge = m_remembersTables ? m_judges[table.format] : once;
    for (const auto &[at, finding] : judge.Judge(pictures))
        AddFinding(table, rows[at], finding);
}

void AddFinding(CheckTable &table, std::size_t row, const PictureFinding &finding)
{
    if (table.states[row] == CheckState::Ok)
        table.states[row] = finding.state;
    String &detail = table.details[row];
    detail += (detail.empty() ? "" : "; ") + finding.detail;
    table.places[row] = finding.place;
}

void AddFindings(CheckTable &table, std::span<const decode::ImageFinding> findings)
{
    assert(findings.size() == table.states.size() && "a finding a row");
    for (std::size_t row = 0; row < findings.size(); ++row)
    {
        const decode::ImageFinding &finding = findings[row];
        if (table.states[row] == CheckState::Ok)
            table.states[row] = StateOfImage(finding.state);
        if (!finding.detail.empty())
            table.details[row] = finding.detail;
        if (!finding.trouble.empty())
            table.troubles[row] = finding.trouble;
    }
}

} // namespace check
