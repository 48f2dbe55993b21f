#include <CLI/CLI.hpp>

#include "cli/FindJob.h"
#include "cli/JobTexts.h"
#include "cli/Verb.h"

namespace cli
{

namespace
{

class Remove : public Verb
{
public:
    CLI::App *Declare(CLI::App &app) override
    {
        CLI::App *verb = app.add_subcommand("remove", "forget a job, with its tasks and logs");
        verb->add_option("JOB", m_job, k_JobHelp)->required();
        verb->add_flag("--cancel", m_cancels, "also one that is not over: its commands are ended");
        return verb;
    }

    ExitStatus Run(Client &client) override
    {
        const JobPointer job = FindJob(client, m_job);
        if (!m_cancels && !corvan::IsOver(StatusOf(*job)))
            throw new Failure(k_Refused, String("the job is ") +
                                             corvan::StatusName(StatusOf(*job)) +
                                             "; --cancel ends and removes it");
        const auto message = NewMessage<corvan::RemoveJobMsg>();
        message->job = job->ID();
        message->cancel = m_cancels;
        client.Ask<corvan::AcceptedMsg>(message);
        return k_Done;
    }

private:
    String m_job;
    bool m_cancels = false;
};

} // namespace

std::unique_ptr<Verb> MakeRemove()
{
    return std::make_unique<Remove>();
}

} // namespace cli
