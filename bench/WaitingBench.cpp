// How long the Master's loop looks for work where very many jobs have some: jobs of which each has
// a task to start, jobs whose type is not there, and the same ones while they wait to be tried
// again. Beside a bare walk of SQLite through as many jobs. Processor time of the loop's thread.
//
//     waiting_bench [JOBS...]     1,000 and 10,000 where none are given
#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "bench/Measure.h"
#include "master/schedule/Scheduler.h"
#include "ostrel/Log.h"
#include "tests/master/TestJobs.h"
#include "tests/support/FakeClock.h"
#include "tests/support/FakeRunner.h"

namespace bench
{

namespace
{

using master::JobStore;
using master::Outbox;
using master::Scheduler;

constexpr int k_runs = 5;

void MeasurePlans(std::size_t jobs)
{
    const Folder folder;
    const TestJobTypes types;
    JobStore store{ostrel::Path(folder / "jobs.db")};
    {
        JobStore::Turn turn(store);
        for (std::size_t i = 0; i < jobs; ++i)
        {
            const auto job = MakeTestJob({{"Range", "1"}});
            master::JobState state;
            state.id = job->ID();
            state.tasksTotal = 1;
            store.Add(*job, state);
        }
        turn.Commit();
    }
    const master::TaskLogs logs{ostrel::Path(folder / "tasks")};
    FakeRunner runner;
    runner.slots = int(jobs) + 1;
    const FakeClock clock;
    // What a plan changes is undone.
    const auto plan = [&](Scheduler &scheduler)
    {
        JobStore::Turn turn(store);
        Outbox outbox;
        return scheduler.Plan(outbox).size();
    };
    const auto print = [&](const char *what, const Timing &timing, const Timing &yardstick)
    { PrintRow(what, jobs, timing, yardstick); };

    SQLite::Database database(folder / "jobs.db", SQLite::OPEN_READONLY);
    std::size_t bytes = 0;
    const Timing bare = bench::Measure<ThreadTime>(
        k_runs,
        [&]
        {
            SQLite::Statement rows(database, "SELECT id, type, created, status, priority FROM jobs"
                                             " ORDER BY priority DESC, number");
            while (rows.executeStep())
                bytes += rows.getColumn(0).getString().size();
        });
    PrintYardstick("SQLite reads the jobs", jobs, bare);

    master::JobCache cache(store);
    Scheduler ready(store, cache, logs, runner, clock);
    std::size_t planned = 0;
    print("a task of each is planned",
          bench::Measure<ThreadTime>(k_runs, [&] { planned += plan(ready); }), bare);
    if (planned != k_runs * jobs || bytes == 0)
    {
        std::fputs("waiting_bench: not all were planned\n", stderr);
        std::exit(1);
    }

    TestJobTypes::Forget(k_ShellType);
    cache.Clear();
    std::vector<double> firstMs;
    std::vector<double> laterMs;
    for (int run = 0; run < k_runs; ++run)
    {
        Scheduler waiting(store, cache, logs, runner, clock);
        firstMs.push_back(bench::Measure<ThreadTime>(1, [&] { plan(waiting); }).firstMs);
        laterMs.push_back(bench::Measure<ThreadTime>(1, [&] { plan(waiting); }).firstMs);
    }
    print("none can be planned", FromTimes(firstMs), bare);
    print("all of them pause", FromTimes(laterMs), bare);
}

} // namespace

} // namespace bench

int main(int argc, char **argv)
{
    // Why each of them waits is logged.
    ostrel::LogSettings settings;
    settings.consoleLevel = ostrel::k_LogFatal;
    ostrel::LogStart(settings);
    std::vector<std::size_t> sizes;
    for (int i = 1; i < argc; ++i)
        sizes.push_back(std::strtoull(argv[i], nullptr, 10));
    if (sizes.empty())
        sizes = {1'000, 10'000};
    bench::PrintHead("Jobs among which work is looked for");
    for (const std::size_t jobs : sizes)
        bench::MeasurePlans(jobs);
}
