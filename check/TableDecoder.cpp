#include "check/TableDecoder.h"

#include <algorithm>
#include <cassert>
#include <memory>
#include <numeric>

#include "check/CheckException.h"
#include "check/pictures/PictureStream.h"

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

// In time the frames follow each other by their numbers, however the rows are sorted.
std::vector<std::size_t> RowsInTime(const CheckTable &table)
{
    std::vector<std::size_t> rows(table.frames.size());
    std::iota(rows.begin(), rows.end(), std::size_t(0));
    std::ranges::stable_sort(rows, {},
                             [&table](std::size_t row) { return table.frames[row].frame; });
    return rows;
}

// Whether it says what the picture looks like.
bool IsMeasured(const ImageReport &report)
{
    return report.trouble.empty() && report.reason.empty() && !report.measures.tiles.empty();
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
    Read(paths, limits, depth,
         [&](std::size_t file, const ImageReport &report)
         {
             m_seen.Keep(paths[file], table.frames[rows[file]], depth, report);
             progress(++done, rows.size());
         });
}

PictureFindings TableDecoder::ReadAndForget(const CheckTable &table,
                                            const decode::DecodeLimits &limits,
                                            const Progress &progress)
{
    const std::vector<std::size_t> rows = RowsInTime(table);
    PictureStream pictures(rows.size());
    std::vector<std::size_t> files; // By their places in time.
    std::vector<ostrel::Path> paths;
    for (std::size_t at = 0; at < rows.size(); ++at)
        if (table.frames[rows[at]].exists)
        {
            files.push_back(at);
            paths.push_back(table.PathOf(rows[at]));
        }
        else
            pictures.Take(at, {});

    std::size_t done = 0;
    Read(paths, limits, CheckDepth::Pictures,
         [&](std::size_t file, const ImageReport &report)
         {
             ImageReport rest = report;
             rest.measures = {};
             m_seen.Keep(paths[file], table.frames[rows[files[file]]], CheckDepth::Images, rest);
             pictures.Take(files[file],
                           IsMeasured(report) ? report.measures : decode::PictureMeasures());
             progress(++done, files.size());
         });
    PictureFindings findings;
    for (const auto &[at, finding] : pictures.Findings())
        findings.emplace(rows[at], finding);
    return findings;
}

void TableDecoder::Read(std::span<const ostrel::Path> paths, const decode::DecodeLimits &limits,
                        CheckDepth depth, const Keep &keep)
{
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
    PictureFindings findings;
    const bool areForgotten = m_forgetsPictures && depth == CheckDepth::Pictures;
    if (areForgotten)
        findings = ReadAndForget(table, limits, progress);
    else
        ReadNews(table, limits, depth, progress);
    std::vector<const ImageReport *> reports(table.frames.size());
    for (std::size_t row = 0; row < reports.size(); ++row)
        if (table.frames[row].exists)
            reports[row] = &m_seen.At(table.PathOf(row));
    if (depth == CheckDepth::Pictures && !areForgotten)
        findings = HoldAgainstEachOther(table, reports);
    AddFindings(table, decode::JudgeImages(reports, frameOffset, m_rules));
    for (const auto &[row, finding] : findings)
        AddFinding(table, row, finding);
}

PictureFindings TableDecoder::HoldAgainstEachOther(const CheckTable &table,
                                                   std::span<const ImageReport *const> reports)
{
    const std::vector<std::size_t> rows = RowsInTime(table);
    std::vector<const decode::PictureMeasures *> pictures;
    for (const std::size_t row : rows)
        pictures.push_back(reports[row] && IsMeasured(*reports[row]) ? &reports[row]->measures
                                                                     : nullptr);
    PictureJudge once;
    PictureJudge &judge = m_remembersTables ? m_judges[table.format] : once;
    PictureFindings findings;
    for (const auto &[at, finding] : judge.Judge(pictures))
        findings.emplace(rows[at], finding);
    return findings;
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
