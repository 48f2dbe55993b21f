#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "cli/JobTexts.h"
#include "cli/NodeTexts.h"
#include "cli/Verb.h"

namespace cli
{

namespace
{

class Nodes : public Verb
{
public:
    CLI::App *Declare(CLI::App &app) override
    {
        CLI::App *verb = app.add_subcommand(
            "nodes", "show the machines, how they have done lately, and which are suspicious");
        CLI::Option *const drain =
            verb->add_option("--drain", m_drain, "have Slurm begin nothing more on this machine")
                ->type_name("NODE");
        verb->add_option("--resume", m_resume, "have Slurm use this machine again")
            ->type_name("NODE")
            ->excludes(drain);
        verb->add_option("--reason", m_reason, "why it is drained, for the others of the cluster")
            ->type_name("TEXT")
            ->needs(drain);
        verb->add_flag("--json", m_asJson, "as JSON")->excludes(drain);
        return verb;
    }

    ExitStatus Run(Client &client) override
    {
        if (m_drain.empty() && m_resume.empty())
            return Show(client);
        const auto order = NewMessage<corvan::SetNodeMsg>();
        order->drains = !m_drain.empty();
        order->node = order->drains ? m_drain : m_resume;
        order->reason = m_reason;
        client.Ask<corvan::AcceptedMsg>(order);
        return k_Done;
    }

private:
    ExitStatus Show(Client &client) const
    {
        const auto nodes =
            client.Ask<corvan::NodeListMsg>(NewMessage<corvan::ListNodesMsg>())->nodes;
        if (!m_asJson)
        {
            fmt::print("{}", NodesReport(nodes));
            return k_Done;
        }
        nlohmann::ordered_json list = nlohmann::ordered_json::array();
        for (const corvan::NodeInfo &node : nodes)
            list.push_back(NodeJson(node));
        fmt::print("{}\n", JsonText(list));
        return k_Done;
    }

    std::string m_drain;
    std::string m_resume;
    std::string m_reason;
    bool m_asJson = false;
};

} // namespace

std::unique_ptr<Verb> MakeNodes()
{
    return std::make_unique<Nodes>();
}

} // namespace cli
