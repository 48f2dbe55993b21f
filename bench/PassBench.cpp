// Passes over all files in the window: an idle event a file. Files in the page cache.
// Yardstick: the bare toolkit loop; beside them a plain loop of stat. They take turns.
// Then a window that stays open: passes that follow each other, of which none is to be slower than
// the second.
#include <memory>
#include <sys/stat.h>

#include <wx/init.h>

#include "bench/BareLoop.h"
#include "bench/Measure.h"
#include "bench/ShownProgram.h"
#include "bench/Worker.h"

using namespace bench;

namespace
{

enum class Frames
{
    There,
    HalfMissing,
    Missing,
};

struct Files
{
    std::string pattern;
    std::vector<std::string> paths;

    Files(std::string ofPattern, std::size_t size) : pattern(std::move(ofPattern))
    {
        for (std::size_t frame = 1; frame <= size; ++frame)
            paths.push_back(FramePath(pattern, frame));
    }
};

std::string PatternOf(const Folder &folder, Frames frames)
{
    switch (frames)
    {
    case Frames::There:
        return folder / "beauty.%07d.exr";
    case Frames::HalfMissing:
        return folder / "half.%07d.exr";
    case Frames::Missing:
        break;
    }
    return folder / "missing.%07d.exr";
}

const char *NameOf(Frames frames)
{
    switch (frames)
    {
    case Frames::There:
        return "all there";
    case Frames::HalfMissing:
        return "half missing";
    case Frames::Missing:
        break;
    }
    return "all missing";
}

/// What is to be done, and the number that says so to a worker.
struct Task
{
    std::size_t size;
    Frames frames;
    bool hasGauge = true;

    int Number() const
    {
        return int(size) * 6 + int(frames) * 2 + int(hasGauge);
    }
    static Task FromNumber(int number)
    {
        return {std::size_t(number / 6), Frames(number % 6 / 2), number % 2 == 1};
    }
    std::string Pattern(const Folder &folder) const
    {
        return PatternOf(folder, frames);
    }
};

Worker::Work WindowWork(const Folder &folder)
{
    const auto program = std::make_shared<ShownProgram>();
    return {[program, &folder](int number)
            {
                const Task task = Task::FromNumber(number);
                program->ShowProgress(task.hasGauge);
                program->ShowFrames(task.Pattern(folder), task.size);
            },
            [program](int /*number*/) { program->RunPass(); }};
}

Worker::Work BareWork(const Folder &folder)
{
    wxApp::SetInstance(new BareApp);
    int none = 0;
    Require(wxEntryStart(none, static_cast<char **>(nullptr)) && wxTheApp->CallOnInit(),
            "the toolkit does not start");
    auto *const window = new BareLoop;
    const auto files = std::make_shared<std::vector<std::string>>();
    return {[&folder, files](int number)
            {
                const Task task = Task::FromNumber(number);
                *files = Files(task.Pattern(folder), task.size).paths;
            },
            [window, files](int /*number*/) { window->RunPass(*files); }};
}

Worker::Work StatWork(const Folder &folder)
{
    const auto files = std::make_shared<std::vector<std::string>>();
    const auto expected = std::make_shared<std::size_t>();
    return {[&folder, files, expected](int number)
            {
                const Task task = Task::FromNumber(number);
                *files = Files(task.Pattern(folder), task.size).paths;
                *expected = task.frames == Frames::There         ? task.size
                            : task.frames == Frames::HalfMissing ? (task.size + 1) / 2
                                                                 : 0;
            },
            [files, expected](int /*number*/)
            {
                std::size_t found = 0;
                for (const std::string &path : *files)
                {
                    struct stat status;
                    found += stat(path.c_str(), &status) == 0;
                }
                Require(found == *expected, "files went missing, or came");
            }};
}

/// Three ways that take turns, so that what else the machine does falls on all of them.
class Ways
{
public:
    explicit Ways(const Folder &folder)
        : m_stat([&folder] { return StatWork(folder); }),
          m_bare([&folder] { return BareWork(folder); }),
          m_window([&folder] { return WindowWork(folder); })
    {
    }

    void Measure(const Task &task)
    {
        const int number = task.Number();
        Times stat, bare, window;
        for (int i = 0; i < (task.size >= 100'000 ? 5 : 51); ++i)
        {
            stat.Add(m_stat.Run(number));
            bare.Add(m_bare.Run(number));
            window.Add(m_window.Run(number));
        }
        const std::string which = std::string(", ") + NameOf(task.frames);
        PrintYardstick("bare toolkit loop" + which, task.size, FromTimes(bare.processor));
        PrintRow("pass in the window" + which, task.size, FromTimes(window.processor),
                 FromTimes(bare.processor));
        PrintRow("plain loop of stat" + which, task.size, FromTimes(stat.processor),
                 FromTimes(bare.processor));
        PrintRow("pass in the window" + which + ", time that passed", task.size,
                 FromTimes(window.passed), FromTimes(bare.passed));
    }

    /// The first of the passes fills the list, and is not timed. A loop of stat comes after each:
    /// as slow as that one was, as slow was the machine.
    void MeasureSeries(const Task &task, int passes)
    {
        std::vector<double> timesMs;
        std::vector<double> ofStat;
        for (int pass = 2; pass <= passes; ++pass)
        {
            timesMs.push_back(m_window.Run(task.Number()).processorMs);
            ofStat.push_back(timesMs.back() / m_stat.Run(task.Number()).processorMs);
        }
        const double secondMs = timesMs.front();
        const double slowestMs = *std::max_element(timesMs.begin() + 1, timesMs.end());
        const int few = std::min(5, passes / 2);
        const double atFirst = FromTimes({ofStat.begin(), ofStat.begin() + few}).medianMs;
        const double atLast = FromTimes({ofStat.end() - few, ofStat.end()}).medianMs;
        std::printf("| %s, %s gauge | %zu | %d | %.0f | %.0f | %.2f | %.1f | %.1f | %.2f |\n",
                    NameOf(task.frames), task.hasGauge ? "with" : "no", task.size, passes, secondMs,
                    timesMs.back(), slowestMs / secondMs, atFirst, atLast, atLast / atFirst);
        std::fflush(stdout);
    }

private:
    struct Times
    {
        std::vector<double> processor;
        std::vector<double> passed;

        void Add(const RunTime &time)
        {
            processor.push_back(time.processorMs);
            passed.push_back(time.passedMs);
        }
    };

    Worker m_stat;
    Worker m_bare;
    Worker m_window;
};

void MeasureSeries(Ways &ways, std::size_t size)
{
    const bool isLarge = size >= 1'000'000;
    for (const bool hasGauge : {true, false})
        for (const Frames frames : {Frames::There, Frames::HalfMissing, Frames::Missing})
            if (hasGauge || !isLarge)
                ways.MeasureSeries({size, frames, hasGauge}, isLarge ? 6 : 30);
}

} // namespace

int main(int argc, char **argv)
{
    const std::vector<std::size_t> sizes = ChosenSizes(argc, argv);
    const Folder folder;
    Ways ways(folder);
    MakeFrames(PatternOf(folder, Frames::There), sizes.back());
    MakeFrames(PatternOf(folder, Frames::HalfMissing), sizes.back(), 2);

    PrintHead("One pass in the window, processor time of its thread");
    for (const std::size_t size : sizes)
        ways.Measure({size, Frames::There});
    // With few files: the bare loop paints its status bar for each that is missing.
    ways.Measure({sizes.front(), Frames::Missing});

    std::printf("\n### Passes of a window that stays open, processor time of its thread\n\n"
                "| frames | size | passes | second ms | last ms | slowest of second "
                "| first five, of a loop of stat | last five | last of first |\n"
                "| --- | ---: | ---: | ---: | ---: | ---: | ---: | ---: | ---: |\n");
    for (const std::size_t size : sizes)
        MeasureSeries(ways, size);
}
