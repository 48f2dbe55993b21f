#include "master/slurm/SlurmCommands.h"

#include <pwd.h>
#include <string_view>
#include <unistd.h>

#include "master/run/CommandEnvironment.h"
#include "master/slurm/SlurmText.h"
#include "ostrel/CallEntry.h"
#include "ostrel/Exception.h"

namespace master
{

using ostrel::_CallEntry;

namespace
{

constexpr std::size_t k_most_elements = 2000; // Of one command line.

std::vector<std::string> EnvironmentFor(const Path &conf)
{
    std::vector<std::string> environment = CommandEnvironment({});
    // Its words are read here.
    std::erase_if(environment, [](const std::string &one)
                  { return one.starts_with("LC_") || one.starts_with("LANG"); });
    // An expression of elements is printed as a whole.
    environment.emplace_back("SLURM_BITSTR_LEN=0");
    environment.emplace_back("LC_ALL=C");
    if (!conf.Text().empty())
        environment.push_back("SLURM_CONF=" + conf.Text());
    return environment;
}

// Whether all lines say so.
bool IsNamed(std::string_view lines, std::string_view name)
{
    bool isAny = false;
    while (!lines.empty())
    {
        const std::size_t end = lines.find('\n');
        if (lines.substr(0, end) != name)
            return false;
        isAny = true;
        lines.remove_prefix(end == std::string_view::npos ? lines.size() : end + 1);
    }
    return isAny;
}

std::string UserName()
{
    const passwd *const user = ::getpwuid(::getuid());
    return user ? user->pw_name : std::to_string(::getuid());
}

} // namespace

SlurmCommands::SlurmCommands(Settings settings, std::stop_token stop)
    : m_settings(std::move(settings)), m_limit(m_settings.limit), m_stop(std::move(stop)),
      m_environment(EnvironmentFor(m_settings.conf))
{
    _CallEntry call("SlurmCommands::SlurmCommands", __FILE__, __LINE__);
}

SlurmCommands::Printed SlurmCommands::Run(std::vector<std::string> arguments)
{
    _CallEntry call("SlurmCommands::Run", __FILE__, __LINE__);

    Tool tool;
    tool.arguments = std::move(arguments);
    return RunPrepared(std::move(tool));
}

SlurmCommands::Printed SlurmCommands::RunPrepared(Tool tool)
{
    _CallEntry call("SlurmCommands::RunPrepared", __FILE__, __LINE__);

    tool.environment = m_environment;
    const std::string &program = tool.arguments.front();
    ToolEnd end = RunTool(tool, m_limit, m_stop);
    Printed printed{.words = {}, .output = std::move(end.output), .isStarted = end.isStarted};
    printed.isCutOff = end.isCutOff;
    printed.hasGivenUp = !tool.givesUp.empty() && end.error.find(tool.givesUp) != std::string::npos;
    if (!end.isStarted)
        printed.words = end.error;
    else if (end.isCutOff && !printed.hasGivenUp)
    {
        printed.words = program + " timed out";
        if (const String last = WordsOf(end.error); !last.empty())
            printed.words += ": " + last;
    }
    else if (end.status != 0)
        printed.words = WordsOf(end.error);
    if (end.status != 0 && printed.words.empty())
        printed.words = program + " ended with status " + std::to_string(end.status);
    return printed;
}

ClusterLimits SlurmCommands::ReadLimits()
{
    _CallEntry call("SlurmCommands::ReadLimits", __FILE__, __LINE__);

    m_limit = m_settings.firstLimit;
    const Printed config = Run({"scontrol", "show", "config"});
    // It tries for longer than anybody would wait, before it says so.
    if (config.isCutOff)
        throw new ostrel::Exception(config.words + "; is munged running here, and slurmctld?");
    if (!config.words.empty())
        throw new ostrel::Exception(config.words);
    ClusterLimits limits = ReadConfig(config.output);
    // Where there is no accounting it tells nothing.
    const Printed own =
        Run({"scontrol", "-o", "show", "assoc_mgr", "flags=assoc", "users=" + UserName()});
    if (own.words.empty())
        limits.submit = ReadSubmitLimit(own.output);
    // A configuration may be read without munge; a queue may not.
    if (const QueueAnswer queue = ReadQueue(); !queue.isGood)
        throw new ostrel::Exception(queue.error);
    // Each of the others is needed before long.
    for (const char *const program : {"sbatch", "scancel"})
        if (const Printed version = Run({program, "--version"}); !version.words.empty())
            throw new ostrel::Exception(version.words);
    m_limit = m_settings.limit;
    return limits;
}

QueueAnswer SlurmCommands::ReadQueue()
{
    _CallEntry call("SlurmCommands::ReadQueue", __FILE__, __LINE__);

    const Printed queue =
        Run({"squeue", "--noheader", "--states=all", "--user=" + std::to_string(::getuid()),
             std::string("--Format=") + k_QueueFields});
    if (!queue.words.empty())
        return {.isGood = false, .error = queue.words};
    return {.isGood = true, .lines = ReadQueueLines(queue.output)};
}

ArrayAnswer SlurmCommands::Submit(const ArrayOrder &order)
{
    _CallEntry call("SlurmCommands::Submit", __FILE__, __LINE__);

    Tool tool;
    tool.input = order.script;
    // It would go on for minutes, and nothing else is asked meanwhile.
    tool.givesUp = "sleeping and retrying";
    tool.arguments = {
        "sbatch",
        "--parsable",
        "--no-requeue",
        "--export=ALL",
        // A folder that is not there would be another one, without a word.
        "--chdir=/",
        "--output=/dev/null",
        "--error=/dev/null",
        "--input=/dev/null",
        "--nodes=1",
        "--ntasks=1",
        "--job-name=" + order.name,
        "--array=" + WriteElements(order.elements),
        "--nice=" + std::to_string(order.nice),
    };
    for (const auto &[option, value] : order.options)
        tool.arguments.push_back("--" + option + "=" + value);
    const Printed printed = RunPrepared(std::move(tool));
    ArrayAnswer answer;
    answer.array = ReadArrayNumber(printed.output);
    answer.words = printed.words;
    if (printed.words.empty() && answer.array > 0)
        answer.kind = ArrayAnswer::Kind::Taken;
    else if (printed.hasGivenUp)
        answer.kind = ArrayAnswer::Kind::Busy;
    else if (!printed.isStarted || (!printed.words.empty() && !MayHaveTaken(printed.words)))
        answer.kind = ArrayAnswer::Kind::Refused;
    else if (answer.words.empty())
        answer.words = "sbatch told no number";
    return answer;
}

// All of an array is cancelled by its name. So may be one element, but that takes along what waits
// beside it; elements go by the number, which is looked at right before: it may be another's by
// now.
String SlurmCommands::Cancel(const ArrayName &array, const std::vector<unsigned> &elements)
{
    _CallEntry call("SlurmCommands::Cancel", __FILE__, __LINE__);

    const std::string name = "--name=" + array.name;
    if (elements.empty())
        return Run({"scancel", "--quiet", name}).words;
    const Printed whose = Run({"squeue", "--noheader", "--array-unique", "--states=all",
                               "--jobs=" + std::to_string(array.array), "--format=%j"});
    if (!whose.words.empty())
        return whose.words;
    if (!IsNamed(whose.output, array.name))
        return {};
    String words;
    for (std::size_t begin = 0; begin < elements.size(); begin += k_most_elements)
    {
        const std::size_t end = std::min(elements.size(), begin + k_most_elements);
        const std::vector<unsigned> part(elements.begin() + std::ptrdiff_t(begin),
                                         elements.begin() + std::ptrdiff_t(end));
        const Printed printed = Run(
            {"scancel", "--quiet", std::to_string(array.array) + "_[" + WriteElements(part) + "]"});
        if (!printed.words.empty())
            words = printed.words;
    }
    return words;
}

String SlurmCommands::Hold(const ArrayName &array)
{
    _CallEntry call("SlurmCommands::Hold", __FILE__, __LINE__);

    return Run({"scontrol", "uhold", "jobname=" + array.name}).words;
}

String SlurmCommands::Release(const ArrayName &array)
{
    _CallEntry call("SlurmCommands::Release", __FILE__, __LINE__);

    return Run({"scontrol", "release", "jobname=" + array.name}).words;
}

String SlurmCommands::SetNode(const std::string &node, bool drains, const std::string &reason)
{
    _CallEntry call("SlurmCommands::SetNode", __FILE__, __LINE__);

    std::vector<std::string> arguments = {"scontrol", "update", "NodeName=" + node,
                                          drains ? "State=DRAIN" : "State=RESUME"};
    if (drains)
        arguments.push_back("Reason=" + reason);
    return Run(std::move(arguments)).words;
}

std::map<String, String> SlurmCommands::ReadNodes()
{
    _CallEntry call("SlurmCommands::ReadNodes", __FILE__, __LINE__);

    const Printed nodes = Run({"sinfo", "--noheader", "--Node", "--format=%N|%T|%E"});
    return nodes.words.empty() ? ReadNodeLines(nodes.output) : std::map<String, String>();
}

String SlurmCommands::SetNice(const ArrayName &array, int nice)
{
    _CallEntry call("SlurmCommands::SetNice", __FILE__, __LINE__);

    return Run({"scontrol", "update", "JobId=" + std::to_string(array.array),
                "Nice=" + std::to_string(nice)})
        .words;
}

} // namespace master
