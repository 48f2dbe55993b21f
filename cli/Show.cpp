#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "cli/FindJob.h"
#include "cli/JobTexts.h"
#include "cli/Verb.h"

namespace cli
{

namespace
{

class Show : public Verb
{
public:
    CLI::App *Declare(CLI::App &app) override
    {
        CLI::App *verb = app.add_subcommand("show", "show a job with its parameters");
        verb->add_option("JOB", m_job, k_JobHelp)->required();
        verb->add_flag("--json", m_asJson, "as JSON, with all tasks");
        return verb;
    }

    ExitStatus Run(Client &client) override
    {
        const JobPointer job = FindJob(client, m_job);
        const auto question = NewMessage<corvan::GetTasksMsg>();
        question->job = job->ID();
        const auto tasks = client.Ask<corvan::TaskListMsg>(question)->tasks;

        if (!m_asJson)
        {
            fmt::print("{}", JobReport(*job, tasks));
            return k_Done;
        }
        nlohmann::ordered_json json = JobJson(*job);
        json["tasks"] = nlohmann::ordered_json::array();
        for (const TaskInfo &task : tasks)
            json["tasks"].push_back(TaskJson(task));
        fmt::print("{}\n", JsonText(json));
        return k_Done;
    }

private:
    String m_job;
    bool m_asJson = false;
};

} // namespace

std::unique_ptr<Verb> MakeShow()
{
    return std::make_unique<Show>();
}

} // namespace cli
