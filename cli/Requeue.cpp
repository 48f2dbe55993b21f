#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "analysis/RequeueRange.h"
#include "cli/FrameSelection.h"
#include "cli/FrameVerb.h"
#include "cli/SubmitJob.h"
#include "corvan/Parameters.h"
#include "corvan/RequeueJob.h"

namespace cli
{

using corvan::SequenceDistributor;

namespace
{

void SetOrFail(Job &job, const String &name, const String &value)
{
    if (!job.SetParameter(name, value))
        throw new Failure(k_Refused, "cannot set " + name + " to " + value);
}

JobPointer MakeJobFor(const Job &job, const analysis::RequeueRange &range)
{
    const String text = SequenceDistributor::CalculateRange(range.frames);
    const JobPointer requeue = corvan::MakeRequeueJob(job, text);
    if (!requeue)
        throw new Failure(k_Refused, "cannot make a job of '" + job.Name() + "' for " + text);
    if (!range.renumberStart.empty())
        SetOrFail(*requeue, corvan::p_RenumberStart, range.renumberStart);
    return requeue;
}

class Requeue : public FrameVerb
{
public:
    Requeue() : FrameVerb(k_Refused) {}

    CLI::App *Declare(CLI::App &app) override
    {
        CLI::App *verb =
            app.add_subcommand("requeue", "render frames of a job again, as a new job");
        m_subject.Declare(*verb, SubjectArguments::Takes::JobAlone);
        m_selection.Declare(*verb);
        return verb;
    }

    ExitStatus Run(Client &client) override
    {
        CheckSubject subject = m_subject.Find(client);
        const SequenceDistributor::Items files = SelectedNumbers(subject);
        if (files.empty())
        {
            fmt::print(stderr, "there is no such frame; nothing was done\n");
            return k_Done;
        }

        String reason;
        const analysis::RequeueRange range =
            analysis::FindRequeueRange(subject.input, files, &reason);
        if (range.frames.empty())
            throw new Failure(k_Refused, "no frame of the job renders the files " +
                                             SequenceDistributor::CalculateRange(files) +
                                             (reason.empty() ? "" : ": " + reason));
        if (!range.missed.empty())
            fmt::print(stderr, "the new job will not write the files {}\n",
                       SequenceDistributor::CalculateRange(range.missed));
        fmt::print("{}\n", SubmitJob(client, MakeJobFor(*subject.job, range)).ToString());
        return k_Done;
    }

private:
    SequenceDistributor::Items SelectedNumbers(CheckSubject &subject)
    {
        SequenceDistributor::Items numbers;
        const auto rows = m_selection.Find(subject);
        for (std::size_t table = 0; table < rows.size(); ++table)
            for (const std::size_t row : rows[table])
                numbers.insert(subject.tables[table].frames[row].frame);
        return numbers;
    }

    FrameSelection m_selection;
};

} // namespace

std::unique_ptr<Verb> MakeRequeue()
{
    return std::make_unique<Requeue>();
}

} // namespace cli
