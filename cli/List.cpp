#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <limits>
#include <nlohmann/json.hpp>
#include <unistd.h>
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
        verb->add_option("--limit", m_limit,
                         "show so many at most, 0 for all; a table on a terminal has 100 where "
                         "nothing is said")
            ->check(WholeBetween(0, std::numeric_limits<unsigned>::max()));
        verb->add_flag("--json", m_asJson, "as JSON");
        return verb;
    }

    ExitStatus Run(Client &client) override
    {
        const unsigned limit = m_limit.empty() ? 0 : unsigned(*ReadWhole(m_limit));
        if (m_asJson)
            PrintJson(client, limit);
        else if (m_limit.empty() && isatty(STDOUT_FILENO) == 1)
            PrintScreen(client);
        else
            PrintTable(client, limit, limit);
        return k_Done;
    }

private:
    // Nobody reads 100,000 lines.
    static constexpr unsigned k_on_terminal = 100;

    static void PrintScreen(Client &client)
    {
        // One more shows that there are more.
        if (PrintTable(client, k_on_terminal + 1, k_on_terminal) > k_on_terminal)
            fmt::print("(the newest {}; --limit 0 shows all)\n", k_on_terminal);
    }

    // Asks for so many jobs, and prints the first of them; 0 for all. Gives how many it has got.
    static unsigned PrintTable(Client &client, unsigned asked, unsigned printed)
    {
        unsigned count = 0;
        // Nothing is printed where the first part is refused.
        bool hasHeading = false;
        const auto printHeading = [&]
        {
            if (!std::exchange(hasHeading, true))
                fmt::print("{}\n", ListHeading());
        };
        VisitJobs(client, asked,
                  [&](const JobPointer &job)
                  {
                      printHeading();
                      if (printed == 0 || count < printed)
                          fmt::print("{}\n", ListLine(*job));
                      ++count;
                      return true;
                  });
        printHeading();
        return count;
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
