#pragma once

#include <functional>
#include <sys/types.h>

namespace bench
{

/// What one run took, in milliseconds.
struct RunTime
{
    double processorMs = 0; ///< Of the thread that ran it.
    double passedMs = 0;
};

/// A process of its own that runs something when it is told to, and sleeps otherwise: so that two
/// programs, each with its own toolkit, can take turns in one measure.
class Worker
{
public:
    /// `prepare` is done in the process for each new `task`, `run` is what is timed.
    struct Work
    {
        std::function<void(int task)> prepare;
        std::function<void(int task)> run;
    };

    /// Starts the process, which gets its work from `start`. Before the toolkit starts here.
    explicit Worker(const std::function<Work()> &start);
    ~Worker();
    Worker(const Worker &) = delete;
    Worker &operator=(const Worker &) = delete;

    /// Runs a task and waits for it. The bench ends when the process has ended.
    RunTime Run(int task);

private:
    int m_socket = -1;
    pid_t m_process = -1;
};

} // namespace bench
