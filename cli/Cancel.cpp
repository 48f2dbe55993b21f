#include <CLI/CLI.hpp>

#include "cli/FindJob.h"
#include "cli/SetParameter.h"
#include "cli/Verb.h"
#include "corvan/JobStatus.h"
#include "corvan/Parameters.h"

namespace cli
{

namespace
{

class Cancel : public Verb
{
public:
    CLI::App *Declare(CLI::App &app) override
    {
        CLI::App *verb = app.add_subcommand("cancel", "end a job's commands and start no more");
        verb->add_option("JOB", m_job, k_JobHelp)->required();
        return verb;
    }

    ExitStatus Run(Client &client) override
    {
        const int cancelled = int(corvan::JobStatus::Cancelled);
        SetParameters(client, *FindJob(client, m_job),
                      {{corvan::p_Status, std::to_string(cancelled)}});
        return k_Done;
    }

private:
    String m_job;
};

} // namespace

std::unique_ptr<Verb> MakeCancel()
{
    return std::make_unique<Cancel>();
}

} // namespace cli
