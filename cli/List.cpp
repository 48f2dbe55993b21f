#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "cli/JobTexts.h"
#include "cli/Verb.h"

namespace cli
{

namespace
{

class List : public Verb
{
public:
    CLI::App *Declare(CLI::App &app) override
    {
        CLI::App *verb = app.add_subcommand("list", "show all jobs, newest first");
        verb->add_option("--limit", m_limit, "show so many at most; 0 for all");
        verb->add_flag("--json", m_asJson, "as JSON");
        return verb;
    }

    ExitStatus Run(Client &client) override
    {
        const auto question = NewMessage<corvan::ListJobsMsg>();
        question->limit = m_limit;
        const auto answer = client.Ask<corvan::JobListMsg>(question);

        if (m_asJson)
            PrintJson(answer->jobs);
        else
            PrintTable(answer->jobs);
        return k_Done;
    }

private:
    using Jobs = std::vector<boost::shared_ptr<Job>>;

    static void PrintTable(const Jobs &jobs)
    {
        fmt::print("{}\n", ListHeading());
        for (const auto &job : jobs)
            fmt::print("{}\n", ListLine(*job));
    }

    static void PrintJson(const Jobs &jobs)
    {
        nlohmann::ordered_json list = nlohmann::ordered_json::array();
        for (const auto &job : jobs)
            list.push_back(JobJson(*job));
        fmt::print("{}\n", JsonText(list));
    }

    unsigned m_limit = 0;
    bool m_asJson = false;
};

} // namespace

std::unique_ptr<Verb> MakeList()
{
    return std::make_unique<List>();
}

} // namespace cli
