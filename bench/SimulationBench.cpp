// Histories of the Master's loop, each with another seed, shared among the processors:
//   simulation_bench [SEEDS]
// SEEDS are "1-10000" where they are not given. Each seed that finds something wrong is printed,
// and the status is 1 then; tests/simulation tells how to look at one.
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "ostrel/Log.h"
#include "tests/master/TestJobs.h"
#include "tests/simulation/History.h"
#include "tests/simulation/Seeds.h"
#include "tests/support/TempFolder.h"

using simulation::Figures;
using simulation::History;
using simulation::Seeds;

namespace
{

struct Share
{
    Figures figures;
    long wrong = 0;
};

// Every so many-th of the seeds.
Share RunShare(const Seeds &seeds, unsigned long begin, unsigned long step)
{
    // All that fails is logged.
    ostrel::LogSettings settings;
    settings.consoleLevel = ostrel::k_LogFatal;
    ostrel::LogStart(settings);
    const TestJobTypes types;
    const TempFolder folder;
    const History::Setting setting = History::MakeSetting(folder / "data");
    Share share;
    for (unsigned long seed = seeds.first + begin; seed <= seeds.last; seed += step)
    {
        History history(seed, setting);
        if (const std::string wrong = history.Run(); !wrong.empty())
        {
            std::printf("seed %lu: %s\n", seed, wrong.c_str());
            std::fflush(stdout);
            ++share.wrong;
        }
        share.figures.Add(history.Done());
    }
    return share;
}

// A process of its own for each: the library keeps one lock for all of its memory. Gives the end
// of a pipe that the share comes from.
int BeginShare(const Seeds &seeds, unsigned long begin, unsigned long step)
{
    int ends[2];
    if (::pipe(ends) != 0)
        return -1;
    const pid_t child = ::fork();
    if (child == 0)
    {
        const Share share = RunShare(seeds, begin, step);
        const bool isTold = ::write(ends[1], &share, sizeof share) == ssize_t(sizeof share);
        ::_exit(isTold ? 0 : 1);
    }
    ::close(ends[1]);
    return child < 0 ? -1 : ends[0];
}

// What the shares have taken of the processors, once they have ended; a busy machine takes longer.
double ProcessorSeconds()
{
    rusage used{};
    ::getrusage(RUSAGE_CHILDREN, &used);
    const auto seconds = [](const timeval &time)
    { return double(time.tv_sec) + double(time.tv_usec) / 1e6; };
    return seconds(used.ru_utime) + seconds(used.ru_stime);
}

} // namespace

int main(int count, char **arguments)
{
    const auto seeds = Seeds::Parse(count > 1 ? arguments[1] : "1-10000");
    if (!seeds || count > 2)
    {
        std::fputs("Usage: simulation_bench [SEED | FIRST-LAST]\n", stderr);
        return 2;
    }

    // What the Master syncs beside its store is a true file, of which nothing is looked at.
    if (::access("/dev/shm", W_OK) == 0)
        ::setenv("TMPDIR", "/dev/shm", 0);
    const auto start = std::chrono::steady_clock::now();
    const unsigned processors = std::max(1u, std::thread::hardware_concurrency());
    std::vector<int> pipes;
    for (unsigned share = 0; share < processors; ++share)
        pipes.push_back(BeginShare(*seeds, share, processors));
    Share all;
    for (const int pipe : pipes)
    {
        Share share;
        if (pipe < 0 || ::read(pipe, &share, sizeof share) != ssize_t(sizeof share))
            share.wrong = 1;
        all.wrong += share.wrong;
        all.figures.Add(share.figures);
    }
    while (::wait(nullptr) > 0)
        continue;
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;

    const Figures &figures = all.figures;
    const double histories = double(seeds->last - seeds->first + 1);
    const double processor = ProcessorSeconds();
    std::printf(
        "\nHistories of the Master's loop\n\n"
        "| histories | s | processor s | ms each | requests | commands | operations of the disk |"
        " crashes | other harm | rights refused | power cuts in the audit log | jobs expired |"
        " hours by their clocks | wrong |\n"
        "| ---: | ---: | ---: | ---: | ---: | ---: | ---: | ---: | ---: | ---: | ---: |"
        " ---: | ---: | ---: |\n"
        "| %.0f | %.1f | %.1f | %.1f | %ld | %ld | %ld | %ld | %ld | %ld | %ld | %ld | %ld | %ld "
        "|\n",
        histories, took.count(), processor, 1000 * processor / histories, figures.requests,
        figures.commands, figures.operations, figures.crashes, figures.harms - figures.crashes,
        figures.rights, figures.cuts, figures.expired, figures.seconds / 3600, all.wrong);
    return all.wrong == 0 ? 0 : 1;
}
