#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <limits>
#include <nlohmann/json.hpp>
#include <utility>

#include "cli/JobTexts.h"
#include "cli/NumberTexts.h"
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
        verb->add_option("--limit", m_limit, "show so many at most; 0 for all")
            ->check(WholeBetween(0, std::numeric_limits<unsigned>::max()));
        verb->add_flag("--json", m_asJson, "as JSON");
        return verb;
    }

    ExitStatus Run(Client &client) override
    {
        const unsigned limit = m_limit.empty() ? 0 : unsigned(*ReadWhole(m_limit));
        if (m_asJson)
            PrintJson(client, limit);
        else
            PrintTable(client, limit);
        return k_Done;
    }

private:
    static void PrintTable(Client &client, unsigned limit)
    {
        // Nothing is printed where the first part is refused.
        bool hasHeading = false;
        const auto printHeading = [&]
        {
            if (!std::exchange(hasHeading, true))
                fmt::print("{}\n", ListHeading());
        };
        VisitJobs(client, limit,
                  [&](const JobPointer &job)
                  {
                      printHeading();
                      fmt::print("{}\n", ListLine(*job));
                      return true;
                  });
        printHeading();
    }

    static void PrintJson(Client &client, unsigned limit)
    {
        nlohmann::ordered_json list = nlohmann::ordered_json::array();
        VisitJobs(client, limit,
                  [&](const JobPointer &job)
                  {
                      list.push_back(JobJson(*job));
                      return true;
                  });
        fmt::print("{}\n", JsonText(list));
    }

    std::string m_limit;
    bool m_asJson = false;
};

} // namespace

std::unique_ptr<Verb> MakeList()
{
    return std::make_unique<List>();
}

} // namespace cli
