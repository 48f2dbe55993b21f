#include "cli/SubjectArguments.h"

#include <CLI/CLI.hpp>
#include <filesystem>
#include <fmt/format.h>
#include <limits>

#include "analysis/FramesWithoutFile.h"
#include "cli/NumberTexts.h"
#include "cli/Patterns.h"
#include "cli/RangeText.h"
#include "cli/Verb.h"
#include "corvan/Utf8.h"

namespace cli
{

using analysis::ExpansionInput;
using corvan::SequenceDistributor;

namespace
{

constexpr int k_most_int = std::numeric_limits<int>::max();

[[noreturn]] void WrongUsage(const String &text)
{
    throw new Failure(k_WrongUsage, text);
}

} // namespace

void SubjectArguments::Declare(CLI::App &verb, Takes takes)
{
    auto *job = verb.add_option("JOB", m_job, k_JobHelp);
    verb.add_option("--format-index", m_formatIndex,
                    "of the job's formats this one alone; 0 is "
                    "the first")
        ->check(WholeBetween(0, k_most_int))
        ->type_name("N");
    if (takes == Takes::JobAlone)
    {
        job->required();
        return;
    }

    verb.add_option("--format", m_patterns,
                    "where frames are: /renders/beauty.%04d.exr, also with ####, @@@@ or $F4; may "
                    "be given several times")
        ->allow_extra_args(false)
        ->type_name("PATTERN");
    verb.add_option("--range", m_range, "the frames to look for: 1-240, 1-100x5, 3,7,9, -5-3")
        ->type_name("RANGE");
    verb.add_option("--sequence-by", m_renumbering["--sequence-by"],
                    "frames from one file to the next, such as 0.5")
        ->check(NumberAbove(0))
        ->type_name("N");
    verb.add_option("--renumber-start", m_renumbering["--renumber-start"],
                    "the number in the name of the first file")
        ->check(WholeBetween(std::numeric_limits<int>::min(), k_most_int))
        ->type_name("N");
    verb.add_option("--renumber-by", m_renumbering["--renumber-by"],
                    "from the number of one file to the next")
        ->check(WholeBetween(1, k_most_int))
        ->type_name("N");
    verb.add_option("--packet-size", m_renumbering["--packet-size"],
                    "frames that are rendered in one go")
        ->check(WholeBetween(1, k_most_int))
        ->type_name("N");
}

CheckSubject SubjectArguments::Find(Client &client) const
{
    NeedSense();
    CheckSubject subject = IsJob() ? FindFramesOfJob(client) : FindFramesOfPatterns();
    subject.withoutFile = analysis::FindFramesWithoutFile(subject.input);
    if (!subject.withoutFile.empty())
        fmt::print(stderr,
                   "corvan: not looked for: {}; no file can be told for so large a number\n",
                   corvan::Excerpt(RangeText(subject.withoutFile)));
    return subject;
}

void SubjectArguments::NeedSense() const
{
    const bool hasRange = !m_range.empty();
    if (IsJob() && !m_patterns.empty())
        WrongUsage("either a JOB or --format, not both");
    if (!IsJob() && m_patterns.empty())
        WrongUsage("what is to be looked at? Give a JOB, or --format and --range");
    if (IsJob() && hasRange)
        WrongUsage("--range goes with --format; a JOB has its own range");
    if (!IsJob() && !hasRange)
        WrongUsage("--format needs a --range");
    if (!IsJob() && !m_formatIndex.empty())
        WrongUsage("--format-index goes with a JOB");
    for (const auto &[option, text] : m_renumbering)
        if (IsJob() && !text.empty())
            WrongUsage(option + " goes with --format; a JOB has its own numbers");
}

CheckSubject SubjectArguments::FindFramesOfJob(Client &client) const
{
    CheckSubject subject = check::FindJobFrames(FindJob(client, m_job));
    if (m_formatIndex.empty())
        return subject;

    const auto index = std::size_t(*ReadWhole(m_formatIndex));
    if (index >= subject.tables.size())
        WrongUsage("--format-index " + m_formatIndex + ": the job '" + subject.job->Name() +
                   "' has " + std::to_string(subject.tables.size()) + " formats, the first is 0");
    subject.tables = {std::move(subject.tables[index])};
    return subject;
}

CheckSubject SubjectArguments::FindFramesOfPatterns() const
{
    CheckSubject subject;
    ExpansionInput &input = subject.input;
    input.userRange = m_range;
    String reason;
    if (!SequenceDistributor::ParseRange(m_range, input.frames, &reason))
        WrongUsage("--range: " + reason);
    if (input.frames.empty())
        WrongUsage("--range '" + corvan::Excerpt(m_range) + "' names no frame");
    input.sequenceBy = m_renumbering.at("--sequence-by");
    input.renumberStart = m_renumbering.at("--renumber-start");
    input.renumberBy = m_renumbering.at("--renumber-by");
    input.packetSize = m_renumbering.at("--packet-size");

    const ostrel::Path folder(std::filesystem::current_path().string());
    for (const std::string &text : m_patterns)
    {
        const std::optional<String> pattern = ReadPattern(text, folder, &reason);
        if (!pattern)
            WrongUsage("--format '" + corvan::Excerpt(text) + "': " + reason);
        const String local =
            ostrel::Path(*pattern).TranslateToLocal(ostrel::PathKind::Pattern).Text();
        std::optional<check::CheckTable> table = check::MakeTable(local, &reason);
        if (!table)
            WrongUsage("cannot take the pattern '" + local + "': " + reason);
        subject.tables.push_back(std::move(*table));
    }
    return subject;
}

} // namespace cli
