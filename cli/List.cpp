#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <utility>

#include "cli/JobTexts.h"
#include "cli/Verb.h"
#include "cli/VisitJobs.h"

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
        if (m_asJson)
            PrintJson(client);
        else
            PrintTable(client);
        return k_Done;
    }

private:
    void PrintTable(Client &client) const
    {
        // Nothing is printed where the first part is refused.
        bool hasHeading = false;
        const auto printHeading = [&]
        {
            if (!std::exchange(hasHeading, true))
                fmt::print("{}\n", ListHeading());
        };
        VisitJobs(client, m_limit,
                  [&](const JobPointer &job)
                  {
                      printHeading();
                      fmt::print("{}\n", ListLine(*job));
                      return true;
                  });
        printHeading();
    }

    void PrintJson(Client &client) const
    {
        nlohmann::ordered_json list = nlohmann::ordered_json::array();
        VisitJobs(client, m_limit,
                  [&](const JobPointer &job)
                  {
                      list.push_back(JobJson(*job));
                      return true;
                  });
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
