#include <CLI/CLI.hpp>

#include "cli/AfterJobs.h"
#include "cli/FindJob.h"
#include "cli/SetParameter.h"
#include "cli/Verb.h"
#include "corvan/Utf8.h"

namespace cli
{

namespace
{

class Set : public Verb
{
public:
    CLI::App *Declare(CLI::App &app) override
    {
        CLI::App *verb = app.add_subcommand("set", "change parameters of a job");
        verb->add_option("JOB", m_job, k_JobHelp)->required();
        verb->add_option("NAME=VALUE", m_settings,
                         "parameters and their new values; Status takes a name, such as paused")
            ->required();
        return verb;
    }

    ExitStatus Run(Client &client) override
    {
        std::vector<Setting> settings;
        for (const std::string &text : m_settings)
        {
            const std::optional<Setting> setting = ParseSetting(text);
            if (!setting)
                throw new Failure(k_WrongUsage,
                                  "set wants NAME=VALUE, not '" + corvan::Excerpt(text) + "'");
            settings.push_back(ResolveAfterJobs(client, *setting));
        }

        SetParameters(client, *FindJob(client, m_job), settings);
        return k_Done;
    }

private:
    String m_job;
    std::vector<std::string> m_settings;
};

} // namespace

std::unique_ptr<Verb> MakeSet()
{
    return std::make_unique<Set>();
}

} // namespace cli
