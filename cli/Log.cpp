#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <fmt/format.h>
#include <limits>
#include <vector>

#include "cli/FindJob.h"
#include "cli/JobTexts.h"
#include "cli/NumberTexts.h"
#include "cli/ShownText.h"
#include "cli/Verb.h"

namespace cli
{

namespace
{

class Log : public Verb
{
public:
    CLI::App *Declare(CLI::App &app) override
    {
        CLI::App *verb = app.add_subcommand("log", "show what a job's commands printed");
        verb->add_option("JOB", m_job, k_JobHelp)->required();
        verb->add_option("TASK", m_task,
                         "the task's number, the first is 0; all that were started where it is "
                         "left out")
            ->check(WholeBetween(0, std::numeric_limits<unsigned>::max()));
        verb->add_option("--try", m_attempt,
                         "of the task's tries this one, the first is 1; the last where it is left "
                         "out")
            ->check(WholeBetween(1, std::numeric_limits<unsigned>::max()));
        return verb;
    }

    ExitStatus Run(Client &client) override
    {
        if (m_task.empty() && !m_attempt.empty())
            throw new Failure(k_WrongUsage, "--try: of which TASK?");
        const UID job = FindJob(client, m_job)->ID();
        const std::vector<TaskInfo> tasks = AskForTasks(client, job);
        if (m_task.empty())
            PrintAll(client, job, tasks);
        else
            PrintOne(client, job, tasks, unsigned(*ReadWhole(m_task)),
                     m_attempt.empty() ? 0 : unsigned(*ReadWhole(m_attempt)));
        return k_Done;
    }

private:
    static void PrintLog(Client &client, const UID &job, unsigned task, unsigned attempt)
    {
        const auto question = NewMessage<corvan::GetTaskLogMsg>();
        question->job = job;
        question->task = task;
        question->attempt = attempt;
        const String text = client.Ask<corvan::TaskLogMsg>(question)->text;
        fmt::print("{}", ShownOn(stdout, text, Lines::Many));
    }

    static std::vector<TaskInfo> AskForTasks(Client &client, const UID &job)
    {
        const auto question = NewMessage<corvan::GetTasksMsg>();
        question->job = job;
        return client.Ask<corvan::TaskListMsg>(question)->tasks;
    }

    static void PrintHeading(std::FILE *stream, const TaskInfo &task)
    {
        fmt::print(stream, "== task {}, {} ==\n", task.index, TaskText(task));
    }

    // What the command printed is all that goes to standard output.
    static void PrintOne(Client &client, const UID &job, const std::vector<TaskInfo> &tasks,
                         unsigned index, unsigned attempt)
    {
        const auto task =
            std::ranges::find_if(tasks, [=](const TaskInfo &one) { return one.index == index; });
        if (task == tasks.end())
            throw new Failure(k_WrongUsage,
                              tasks.empty()
                                  ? String("the job has no task")
                                  : fmt::format("the job has no task {}; it has {} to {}", index,
                                                tasks.front().index, tasks.back().index));
        if (task->tries == 0)
            fmt::print(stderr, "task {} was not started yet\n", index);
        else
            PrintHeading(stderr, *task);
        PrintLog(client, job, index, attempt);
    }

    static void PrintAll(Client &client, const UID &job, const std::vector<TaskInfo> &tasks)
    {
        bool isStarted = false;
        for (const TaskInfo &task : tasks)
        {
            if (task.tries == 0)
                continue;
            isStarted = true;
            PrintHeading(stdout, task);
            PrintLog(client, job, task.index, 0);
        }
        if (!isStarted)
            fmt::print(stderr, "no task was started yet\n");
    }

    String m_job;
    std::string m_task;
    std::string m_attempt;
};

} // namespace

std::unique_ptr<Verb> MakeLog()
{
    return std::make_unique<Log>();
}

} // namespace cli
