// One pass over all files in the window: an idle event a file. Files in the page cache.
// Yardstick: the bare toolkit loop; beside them a plain loop of stat. They take turns.
#include <memory>
#include <sys/stat.h>

#include <wx/app.h>
#include <wx/init.h>

#include "bench/BareLoop.h"
#include "bench/Measure.h"
#include "bench/ShownProgram.h"
#include "bench/Worker.h"

using namespace bench;

namespace
{

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

/// What a task's number means.
struct Task
{
    std::size_t size;
    bool isMissing;

    static int Number(std::size_t size, bool isMissing)
    {
        return int(size * 2 + isMissing);
    }
    explicit Task(int number) : size(std::size_t(number) / 2), isMissing(number % 2) {}

    Files List(const Folder &folder) const
    {
        return {folder / (isMissing ? "missing.%07d.exr" : "beauty.%07d.exr"), size};
    }
};

Worker::Work WindowWork(const Folder &folder)
{
    const auto program = std::make_shared<ShownProgram>();
    return {[program, &folder](int number)
            {
                const Task task(number);
                program->ShowFrames(task.List(folder).pattern, task.size);
            },
            [program](int /*number*/) { program->RunPass(); }};
}

Worker::Work BareWork(const Folder &folder)
{
    wxApp::SetInstance(new wxApp);
    int none = 0;
    Require(wxEntryStart(none, static_cast<char **>(nullptr)) && wxTheApp->CallOnInit(),
            "the toolkit does not start");
    auto *const window = new BareLoop;
    const auto files = std::make_shared<std::vector<std::string>>();
    return {[&folder, files](int number) { *files = Task(number).List(folder).paths; },
            [window, files](int /*number*/) { window->RunPass(*files); }};
}

Worker::Work StatWork(const Folder &folder)
{
    const auto files = std::make_shared<std::vector<std::string>>();
    return {[&folder, files](int number) { *files = Task(number).List(folder).paths; },
            [files](int /*number*/)
            {
                std::size_t found = 0;
                for (const std::string &path : *files)
                {
                    struct stat status;
                    found += stat(path.c_str(), &status) == 0;
                }
                Require(found == 0 || found == files->size(), "files went missing");
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

    void Measure(std::size_t size, bool isMissing)
    {
        const int task = Task::Number(size, isMissing);
        Times stat, bare, window;
        for (int i = 0; i < (size >= 1'000'000 ? 1 : size >= 100'000 ? 5 : 51); ++i)
        {
            stat.Add(m_stat.Run(task));
            bare.Add(m_bare.Run(task));
            window.Add(m_window.Run(task));
        }
        const std::string which = isMissing ? ", all missing" : "";
        PrintYardstick("bare toolkit loop" + which, size, FromTimes(bare.processor));
        PrintRow("pass in the window" + which, size, FromTimes(window.processor),
                 FromTimes(bare.processor));
        PrintRow("plain loop of stat" + which, size, FromTimes(stat.processor),
                 FromTimes(bare.processor));
        PrintRow("pass in the window" + which + ", time that passed", size,
                 FromTimes(window.passed), FromTimes(bare.passed));
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

} // namespace

int main(int argc, char **argv)
{
    const std::vector<std::size_t> sizes = ChosenSizes(argc, argv);
    const Folder folder;
    Ways ways(folder);
    MakeFrames(Task(Task::Number(0, false)).List(folder).pattern, sizes.back());
    PrintHead("One pass in the window, processor time of its thread");
    for (const std::size_t size : sizes)
        ways.Measure(size, false);
    ways.Measure(sizes.front(), true);
}
