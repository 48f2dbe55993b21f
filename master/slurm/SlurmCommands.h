#pragma once

#include <chrono>
#include <stop_token>

#include "master/run/RunTool.h"
#include "master/slurm/Cluster.h"
#include "ostrel/Path.h"

namespace master
{

using ostrel::Path;

/// A Slurm cluster, by its commands: `sbatch`, `squeue`, `scancel`, `scontrol`, found in PATH.
/// What a command says of elements that are over already is no trouble, and cannot be told from
/// what is: so the answers to `Cancel`, `Hold`, `Release` and `SetNice` are for the log alone.
/// Nothing of a surrounding Slurm job, or of the user's settings for the commands, gets to them.
class SlurmCommands : public Cluster
{
public:
    struct Settings
    {
        Path conf; ///< slurm.conf; empty where Slurm finds its own.
        /// A command that takes longer has failed. Slurm's own wait for 10 s and more where nobody
        /// answers.
        std::chrono::milliseconds limit{60'000};
        /// The same while `ReadLimits` looks whether there is a cluster: somebody waits.
        std::chrono::milliseconds firstLimit{20'000};
    };

    /// Once `stop` is wanted, the command that runs is killed and all others fail.
    SlurmCommands(Settings settings, std::stop_token stop);

    ClusterLimits ReadLimits() override;
    QueueAnswer ReadQueue() override;
    ArrayAnswer Submit(const ArrayOrder &order) override;
    String Cancel(const ArrayName &array, const std::vector<unsigned> &elements) override;
    String Hold(const ArrayName &array) override;
    String Release(const ArrayName &array) override;
    String SetNode(const std::string &node, bool drains, const std::string &reason) override;
    std::map<String, String> ReadNodes() override;
    String SetNice(const ArrayName &array, int nice) override;

private:
    struct Printed
    {
        String words; ///< Empty where it has succeeded.
        std::string output;
        bool isStarted = true;
        bool isCutOff = false;
        bool hasGivenUp = false; ///< It has said what `Tool::givesUp` says.
    };
    Printed RunPrepared(Tool tool);
    Printed Run(std::vector<std::string> arguments);

    Settings m_settings;
    std::chrono::milliseconds m_limit;
    std::stop_token m_stop;
    std::vector<std::string> m_environment;
};

} // namespace master
