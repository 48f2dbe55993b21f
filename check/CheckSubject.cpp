#include "check/CheckSubject.h"

#include "analysis/ExpectedFrames.h"
#include "check/CheckException.h"
#include "corvan/ImageFormats.h"
#include "corvan/Parameters.h"

namespace check
{

using analysis::ExpansionInput;
using analysis::FramePattern;
using corvan::SequenceDistributor;

namespace
{

[[noreturn]] void CannotLook(const String &text)
{
    throw new CheckException(text);
}

} // namespace

std::optional<CheckTable> MakeTable(const String &format, String *reason)
{
    auto pattern = FramePattern::Parse(format, reason);
    if (!pattern)
        return std::nullopt;
    CheckTable table(std::move(*pattern));
    table.format = format;
    return table;
}

CheckSubject FindJobFrames(boost::shared_ptr<corvan::Job> job)
{
    const String name = "the job '" + job->Name() + "'";
    std::optional<ExpansionInput> input = analysis::ReadExpansionInput(*job);
    if (!input)
        CannotLook("could not get the range of " + name);
    std::vector<String> formats;
    for (const ostrel::Path &format :
         corvan::ListFormats(job->ParameterText(corvan::p_ImageFormat, true)))
        formats.push_back(format.Text());
    CheckSubject subject = FindFrames(std::move(*input), formats, name);
    for (CheckTable &table : subject.tables)
        table.sizeRule = corvan::SizeRuleOf(*job);
    subject.job = std::move(job);
    return subject;
}

CheckSubject FindFrames(ExpansionInput input, const std::vector<String> &formats,
                        const String &name)
{
    CheckSubject subject;
    subject.input = std::move(input);
    String reason;
    if (!SequenceDistributor::ParseRange(subject.input.userRange, subject.input.frames, &reason))
        CannotLook(name + " has a range that makes no sense: " + reason);
    if (subject.input.frames.empty())
        CannotLook(name + " has an empty range");

    if (formats.empty())
        CannotLook(name + " has no image format");
    for (const String &format : formats)
    {
        std::optional<CheckTable> table = MakeTable(format, &reason);
        if (!table)
            CannotLook("cannot take the pattern '" + format + "': " + reason);
        subject.tables.push_back(std::move(*table));
    }
    return subject;
}

void ListFrames(const ExpansionInput &input, CheckTable &table)
{
    const String reason = analysis::ListExpectedFrames(table.pattern, input, table.frames);
    if (!reason.empty())
        CannotLook("cannot list the files of '" + table.format + "': " + reason);
}

} // namespace check
