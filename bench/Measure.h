#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <stdlib.h>
#include <string>
#include <vector>

namespace bench
{

/// Nanoseconds of the steady clock.
inline std::int64_t NowNs()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

/// Milliseconds of a series of runs: of the first and the last one, which tell whether it grows
/// slower, of the fastest one and of the middle one.
struct Timing
{
    double firstMs = 0;
    double minMs = 0;
    double medianMs = 0;
    double lastMs = 0;
    int repetitions = 0;
};

/// Of at least one time, in the order of the runs.
inline Timing FromTimes(std::vector<double> timesMs)
{
    Timing timing;
    timing.firstMs = timesMs.front();
    timing.lastMs = timesMs.back();
    timing.repetitions = int(timesMs.size());
    std::sort(timesMs.begin(), timesMs.end());
    timing.minMs = timesMs.front();
    timing.medianMs = timesMs[timesMs.size() / 2];
    return timing;
}

/// What the calling thread has used of a processor, in the form of a clock of <chrono>: on a busy
/// machine it tells more than the time that passed.
struct ThreadTime
{
    using duration = std::chrono::nanoseconds;
    using rep = duration::rep;
    using period = duration::period;
    using time_point = std::chrono::time_point<ThreadTime>;
    static constexpr bool is_steady = true;

    static time_point now()
    {
        timespec used{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used);
        return time_point(std::chrono::seconds(used.tv_sec) +
                          std::chrono::nanoseconds(used.tv_nsec));
    }
};

/// Times `run` as often as asked; `prepare` goes before each run and is not timed.
template <typename Clock = std::chrono::steady_clock, typename Prepare, typename Run>
Timing Measure(int repetitions, Prepare &&prepare, Run &&run)
{
    std::vector<double> times;
    for (int i = 0; i < repetitions; ++i)
    {
        prepare();
        const auto start = Clock::now();
        run();
        const std::chrono::duration<double, std::milli> time = Clock::now() - start;
        times.push_back(time.count());
    }
    return FromTimes(std::move(times));
}

template <typename Clock = std::chrono::steady_clock, typename Run>
Timing Measure(int repetitions, Run &&run)
{
    return Measure<Clock>(
        repetitions, [] {}, run);
}

/// Repetitions that keep a measure of this size within seconds.
inline int Repetitions(std::size_t size)
{
    return size >= 1'000'000 ? 5 : size >= 100'000 ? 11 : 101;
}

inline void PrintHead(const char *title)
{
    std::printf("\n### %s\n\n", title);
    std::printf("| what | size | runs | first ms | min ms | median ms | last ms | of its yardstick "
                "|\n");
    std::printf("| --- | ---: | ---: | ---: | ---: | ---: | ---: | ---: |\n");
}

inline void PrintStart(const std::string &what, std::size_t size, const Timing &timing)
{
    std::printf("| %s | %zu | %d | %.3f | %.3f | %.3f | %.3f |", what.c_str(), size,
                timing.repetitions, timing.firstMs, timing.minMs, timing.medianMs, timing.lastMs);
}

/// A row of the table that has no yardstick.
inline void PrintRow(const std::string &what, std::size_t size, const Timing &timing)
{
    PrintStart(what, size, timing);
    std::printf(" |\n");
    std::fflush(stdout);
}

/// A row of the table for the yardstick itself.
inline void PrintYardstick(const std::string &what, std::size_t size, const Timing &timing)
{
    PrintRow("*" + what + "*", size, timing);
}

/// A row of the table, with the ratio of the medians.
inline void PrintRow(const std::string &what, std::size_t size, const Timing &timing,
                     const Timing &yardstick)
{
    PrintStart(what, size, timing);
    std::printf(" %.2f |\n", timing.medianMs / yardstick.medianMs);
    std::fflush(stdout);
}

/// A folder of its own that goes when it does.
class Folder
{
public:
    Folder()
    {
        std::string name = (std::filesystem::temp_directory_path() / "bench.XXXXXX").string();
        if (!mkdtemp(name.data()))
        {
            std::perror("cannot make a folder for the measures");
            std::exit(1);
        }
        m_path = name;
    }
    ~Folder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    Folder(const Folder &) = delete;
    Folder &operator=(const Folder &) = delete;

    std::string operator/(const std::string &leaf) const
    {
        return (m_path / leaf).string();
    }

private:
    std::filesystem::path m_path;
};

constexpr std::size_t k_sizes[] = {1'000, 100'000, 1'000'000};

/// The sizes that the command line leaves: [MOST [LEAST]].
inline std::vector<std::size_t> ChosenSizes(int argc, char **argv)
{
    const std::size_t most = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : std::size_t(-1);
    const std::size_t least = argc > 2 ? std::strtoull(argv[2], nullptr, 10) : 0;
    std::vector<std::size_t> sizes;
    for (const std::size_t size : k_sizes)
        if (size >= least && size <= most)
            sizes.push_back(size);
    if (sizes.empty())
    {
        std::fputs("give the largest size, and the smallest: 100000 1000\n", stderr);
        std::exit(2);
    }
    return sizes;
}

} // namespace bench
