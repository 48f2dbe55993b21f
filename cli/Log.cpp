#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "cli/FindJob.h"
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
        m_hasTask = verb->add_option(
            "TASK", m_task, "the task's number; all that were started where it is left out");
        return verb;
    }

    ExitStatus Run(Client &client) override
    {
        const UID job = FindJob(client, m_job)->ID();
        if (*m_hasTask)
            fmt::print("{}", TaskLog(client, job, m_task));
        else
            PrintAll(client, job);
        return k_Done;
    }

private:
    static String TaskLog(Client &client, const UID &job, unsigned task)
    {
        const auto question = NewMessage<corvan::GetTaskLogMsg>();
        question->job = job;
        question->task = task;
        return client.Ask<corvan::TaskLogMsg>(question)->text;
    }

    static void PrintAll(Client &client, const UID &job)
    {
        const auto question = NewMessage<corvan::GetTasksMsg>();
        question->job = job;
        const auto answer = client.Ask<corvan::TaskListMsg>(question);
        for (const corvan::TaskInfo &task : answer->tasks)
        {
            if (task.tries == 0)
                continue;
            fmt::print("== task {}, frames {} to {}, {} ==\n{}", task.index, task.firstFrame,
                       task.lastFrame, corvan::StatusName(task.status),
                       TaskLog(client, job, task.index));
        }
    }

    String m_job;
    unsigned m_task = 0;
    CLI::Option *m_hasTask = nullptr;
};

} // namespace

std::unique_ptr<Verb> MakeLog()
{
    return std::make_unique<Log>();
}

} // namespace cli
