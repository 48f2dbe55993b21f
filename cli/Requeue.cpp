#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "analysis/RequeueRange.h"
#include "cli/FrameSelection.h"
#include "cli/FrameVerb.h"
#include "cli/SubmitJob.h"

namespace cli
{

using corvan::SequenceDistributor;

namespace
{

JobPointer MakeJobFor(const Job &job, const analysis::RequeueRange &range)
{
    String reason;
    JobPointer requeue = analysis::MakeRequeue(job, range, &reason);
    if (!requeue)
        throw new Failure(k_Refused, reason);
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
        verb->add_flag("--exact", m_isExact,
                       "in packets of one frame, so that no good frame between them is rendered "
                       "again");
        return verb;
    }

    ExitStatus Run(Client &client) override
    {
        CheckSubject subject = m_subject.Find(client);
        const SequenceDistributor::Items files = SelectedNumbers(subject);
        if (files.empty())
        {
            fmt::print(stderr, "there is no bad frame; nothing was done\n");
            return StatusUnlessUnseen(subject, k_Done);
        }

        String reason;
        const analysis::RequeueRange range =
            analysis::FindRequeueRange(subject.input, files, Packets(), &reason);
        if (range.frames.empty())
            throw new Failure(k_Refused, "no frame of the job renders the files " +
                                             SequenceDistributor::CalculateRange(files) +
                                             (reason.empty() ? "" : ": " + reason));
        if (!range.missed.empty())
            fmt::print(stderr, "the new job will not write the files {}\n",
                       SequenceDistributor::CalculateRange(range.missed));
        TellOfGoodFrames(subject, files, range);
        PrintNewJob(SubmitJob(client, MakeJobFor(*subject.job, range)));
        return StatusUnlessUnseen(subject, k_Done);
    }

private:
    analysis::RequeuePackets Packets() const
    {
        using analysis::RequeuePackets;
        return m_isExact ? RequeuePackets::OfOneFrame : RequeuePackets::AsTheJob;
    }

    void TellOfGoodFrames(const CheckSubject &subject, const SequenceDistributor::Items &files,
                          const analysis::RequeueRange &range) const
    {
        const std::size_t count = check::CountGoodFrames(subject.tables, range.besides);
        if (count == 0)
            return;
        fmt::print(stderr, "good frames that are rendered again: {}", count);
        if (!m_isExact)
        {
            const std::size_t exact = check::CountGoodFrames(
                subject.tables,
                analysis::FindRequeueRange(subject.input, files,
                                           analysis::RequeuePackets::OfOneFrame, nullptr)
                    .besides);
            if (exact < count)
                fmt::print(stderr, "; packets are rendered whole, with --exact it is {}", exact);
        }
        fmt::print(stderr, "\n");
    }

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
    bool m_isExact = false;
};

} // namespace

std::unique_ptr<Verb> MakeRequeue()
{
    return std::make_unique<Requeue>();
}

} // namespace cli
