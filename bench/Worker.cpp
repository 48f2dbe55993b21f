#include "bench/Worker.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace bench
{

namespace
{

double ThreadMs()
{
    timespec used{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used);
    return double(used.tv_sec) * 1e3 + double(used.tv_nsec) / 1e6;
}

RunTime Time(const std::function<void(int)> &run, int task)
{
    const auto start = std::chrono::steady_clock::now();
    const double startMs = ThreadMs();
    run(task);
    const std::chrono::duration<double, std::milli> passed =
        std::chrono::steady_clock::now() - start;
    return {ThreadMs() - startMs, passed.count()};
}

void Serve(int socket, const Worker::Work &work)
{
    int prepared = -1;
    int task = 0;
    while (read(socket, &task, sizeof task) == sizeof task)
    {
        if (task != prepared)
            work.prepare(task);
        prepared = task;
        const RunTime time = Time(work.run, task);
        if (write(socket, &time, sizeof time) != sizeof time)
            return;
    }
}

} // namespace

Worker::Worker(const std::function<Work()> &start)
{
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        std::abort();
    std::fflush(stdout);
    m_process = fork();
    if (m_process == 0)
    {
        close(ends[0]);
        Serve(ends[1], start());
        std::_Exit(0);
    }
    close(ends[1]);
    m_socket = ends[0];
}

Worker::~Worker()
{
    close(m_socket);
    waitpid(m_process, nullptr, 0);
}

RunTime Worker::Run(int task)
{
    RunTime time;
    if (write(m_socket, &task, sizeof task) != sizeof task ||
        read(m_socket, &time, sizeof time) != sizeof time)
    {
        std::fprintf(stderr, "a measured process has ended\n");
        std::exit(1);
    }
    return time;
}

} // namespace bench
