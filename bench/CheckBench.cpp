// `corvan check` as a whole process, over files of one folder in the page cache.
// Yardsticks: in one thread, a loop of snprintf and stat, and one of snprintf and fstatat, that sum
// the sizes. All take turns.
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "bench/ChildRun.h"
#include "bench/Measure.h"

using namespace bench;

namespace
{

constexpr const char *k_leaf = "beauty.%07d.exr";
constexpr const char *k_folder_part = "/";
constexpr off_t k_bytes = 1000;

void Require(bool holds, const std::string &what)
{
    if (holds)
        return;
    std::fprintf(stderr, "%s\n", what.c_str());
    std::exit(1);
}

void MakeFiles(const std::string &folder, std::size_t size)
{
    for (std::size_t frame = 1; frame <= size; ++frame)
    {
        char leaf[64];
        std::snprintf(leaf, sizeof leaf, k_leaf, int(frame));
        const std::string path = folder + k_folder_part + leaf;
        const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        Require(file >= 0 && ftruncate(file, k_bytes) == 0, "cannot make " + path);
        close(file);
    }
}

double MsOf(const std::string &folder, std::size_t size, bool isRelative)
{
    const int base = isRelative ? open(folder.c_str(), O_PATH | O_DIRECTORY) : AT_FDCWD;
    const std::string pattern = isRelative ? k_leaf : folder + k_folder_part + k_leaf;
    const Timing timing =
        Measure(1,
                [&]
                {
                    off_t sum = 0;
                    for (std::size_t frame = 1; frame <= size; ++frame)
                    {
                        char path[4096];
                        struct stat status;
                        std::snprintf(path, sizeof path, pattern.c_str(), int(frame));
                        const int got =
                            isRelative ? fstatat(base, path, &status, 0) : stat(path, &status);
                        if (got == 0)
                            sum += status.st_size;
                    }
                    Require(sum == k_bytes * off_t(size), "files went missing");
                });
    if (isRelative)
        close(base);
    return timing.minMs;
}

std::vector<std::string> Command(const std::string &folder, std::size_t size,
                                 std::vector<std::string> more = {})
{
    std::vector<std::string> command = {
        CORVAN, "check", "--format", folder + "/" + k_leaf, "--range", "1-" + std::to_string(size)};
    command.insert(command.end(), more.begin(), more.end());
    return command;
}

ChildRun Check(const std::vector<std::string> &command, const std::string &preload = {})
{
    const ChildRun run = RunChild(command, preload);
    Require(run.status == 0, "corvan check ended with " + std::to_string(run.status));
    return run;
}

/// One way, run many times.
struct Way
{
    std::string name;
    std::vector<std::string> arguments = {};
    std::vector<double> ms = {};
    std::vector<double> processorMs = {};
    std::vector<double> firstLineMs = {};
    long peakMegabytes = 0;

    void Run(const std::string &folder, std::size_t size)
    {
        const ChildRun run = Check(Command(folder, size, arguments));
        ms.push_back(run.ms);
        processorMs.push_back(run.processorMs);
        firstLineMs.push_back(run.firstLineMs);
        peakMegabytes = std::max(peakMegabytes, run.peakMegabytes);
    }

    void Print(std::size_t size, const Timing &yardstick) const
    {
        PrintRow(name + ", " + std::to_string(peakMegabytes) + " MB", size, FromTimes(ms),
                 yardstick);
        PrintRow(name + ", processor time", size, FromTimes(processorMs), yardstick);
        if (arguments.empty())
            PrintRow(name + ", until its first line", size, FromTimes(firstLineMs));
    }
};

void MeasureWarm(const std::string &folder, std::size_t size)
{
    std::vector<double> absolute, relative;
    Way ways[] = {
        {"check --json", {"--json"}}, {"check"}, {"check --offset 10000", {"--offset", "10000"}}};
    for (int i = 0; i < Repetitions(size); ++i)
    {
        absolute.push_back(MsOf(folder, size, false));
        for (Way &way : ways)
            way.Run(folder, size);
        relative.push_back(MsOf(folder, size, true));
    }
    const Timing yardstick = FromTimes(absolute);
    PrintYardstick("loop of snprintf and stat", size, yardstick);
    PrintRow("loop of snprintf and fstatat", size, FromTimes(relative), yardstick);
    for (const Way &way : ways)
        way.Print(size, yardstick);
}

/// The yardstick would take minutes, and is known: a look after the other, a millisecond each.
void MeasureSlow(const std::string &folder, std::size_t size)
{
    std::vector<double> times;
    long peak = 0;
    for (int i = 0; i < 3; ++i)
    {
        const ChildRun run = Check(Command(folder, size, {"--json"}), SLOW_LOOKUPS);
        times.push_back(run.ms);
        peak = std::max(peak, run.peakMegabytes);
    }
    PrintRow("check --json, " + std::to_string(peak) + " MB", size, FromTimes(times),
             {double(size), double(size), 1});
}

} // namespace

int main(int argc, char **argv)
{
    const std::vector<std::size_t> sizes = ChosenSizes(argc, argv);
    const Folder parent;
    const std::string folder = parent / "renders";
    mkdir(folder.c_str(), 0700);
    MakeFiles(folder, sizes.back());

    PrintHead("corvan check, the whole process");
    for (const std::size_t size : sizes)
        MeasureWarm(folder, size);

    PrintHead("corvan check where a look takes a millisecond; of one look after the other");
    for (const std::size_t size : {std::size_t(1'000), std::size_t(10'000), std::size_t(100'000)})
        if (size <= sizes.back())
            MeasureSlow(folder, size);
}
