#include "decode/Findings.h"

#include <fmt/format.h>

#include "decode/OddImages.h"

namespace decode
{

namespace
{

std::optional<ImageKind> KindOf(const ImageReport *report)
{
    if (!report || !report->trouble.empty() || !report->reason.empty())
        return std::nullopt;
    return ImageKind{report->width, report->height, report->channels, report->format};
}

void Add(ImageFinding &finding, ImageState state, const std::string &text)
{
    if (finding.state == ImageState::Ok)
        finding.state = state;
    finding.detail += (finding.detail.empty() ? "" : "; ") + text;
}

std::string SizeText(const ImageKind &kind)
{
    return fmt::format("{}x{}", kind.width, kind.height);
}

// Names only that in which the two differ.
std::string DifferenceText(const ImageKind &own, const ImageKind &others)
{
    std::string ours;
    std::string theirs;
    const auto compare = [&](const std::string &our, const std::string &their)
    {
        if (our == their)
            return;
        ours += (ours.empty() ? "" : " ") + our;
        theirs += (theirs.empty() ? "" : " ") + their;
    };
    compare(SizeText(own), SizeText(others));
    compare(own.channels, others.channels);
    compare(own.format, others.format);
    return fmt::format("{} among {}", ours, theirs);
}

void AddWildPixels(ImageFinding &finding, const ImageReport &report, const NumberRules &rules)
{
    std::string text;
    if (report.nanPixels > 0)
        text = fmt::format("{} NaN", report.nanPixels);
    if (report.infinitePixels > 0)
        text += fmt::format("{}{} infinite", text.empty() ? "" : " and ", report.infinitePixels);
    const bool areLetPass = report.nanPixels <= rules.nanLimit &&
                            report.infinitePixels <= rules.nanLimit - report.nanPixels;
    if (!text.empty())
        Add(finding, areLetPass ? finding.state : ImageState::Nan,
            fmt::format("{} of {} pixels, in {}", text, report.pixels, report.wildChannels));
    if (rules.isNegativeBad && report.negativePixels > 0)
        Add(finding, ImageState::Nan,
            fmt::format("{} of {} pixels have a negative colour", report.negativePixels,
                        report.pixels));
}

void AddPictureFaults(ImageFinding &finding, const ImageReport &report, const ImageKind *others,
                      const NumberRules &rules)
{
    if (others)
        Add(finding, ImageState::OddImage, DifferenceText(*KindOf(&report), *others));
    AddWildPixels(finding, report, rules);
    if (!report.colour.empty())
        Add(finding, ImageState::Blank, "all pixels are " + report.colour);
}

ImageFinding Judge(const ImageReport &report, const ImageKind *others, const NumberRules &rules)
{
    ImageFinding finding;
    finding.trouble = report.trouble;
    if (!report.trouble.empty())
        return finding;
    if (!report.reason.empty())
        Add(finding, ImageState::Undecodable, "cannot be decoded: " + report.reason);
    else
        AddPictureFaults(finding, report, others, rules);
    if (!report.format.empty() && !report.formatByName.empty() &&
        report.format != report.formatByName)
        Add(finding, finding.state,
            fmt::format("holds {}, named as {}", report.format, report.formatByName));
    return finding;
}

} // namespace

std::vector<ImageFinding> JudgeImages(const std::vector<const ImageReport *> &reports,
                                      int frameOffset, const NumberRules &rules)
{
    std::vector<std::optional<ImageKind>> kinds;
    kinds.reserve(reports.size());
    for (const ImageReport *report : reports)
        kinds.push_back(KindOf(report));
    const std::vector<const ImageKind *> odd = FindOddImages(kinds, frameOffset);

    std::vector<ImageFinding> findings;
    findings.reserve(reports.size());
    for (std::size_t row = 0; row < reports.size(); ++row)
        findings.push_back(reports[row] ? Judge(*reports[row], odd[row], rules) : ImageFinding());
    return findings;
}

} // namespace decode
