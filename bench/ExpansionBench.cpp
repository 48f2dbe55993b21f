// Expansion: from a pattern and a range to a filled table, with the log lines and without.
// Yardstick: the same paths by snprintf into the same container, the same lines by fprintf.
#include "analysis/Expansion.h"
#include "analysis/FileTable.h"
#include "bench/Measure.h"
#include "ostrel/Log.h"

using namespace analysis;
using namespace bench;

namespace
{

const char *const k_pattern = "/mnt/projects/show/shot_0420/render/beauty/v012/beauty.%07d.exr";

void FillPlainly(_FileInfoList &files, std::size_t size, FILE *log)
{
    char path[4096];
    for (std::size_t frame = 1; frame <= size; ++frame)
    {
        std::snprintf(path, sizeof path, k_pattern, int(frame));
        files.get<_FileInfoList::list>().push_back(_FileInfo(path, int(frame)));
        std::fprintf(log, "  Checked %s\n", path);
    }
    std::fflush(log);
}

class ExpansionBench
{
public:
    explicit ExpansionBench(std::size_t size) : m_size(size)
    {
        m_input.frames.insertRange(1, int(size));
    }

    Timing Run(bool flushes)
    {
        return Measure(
            Repetitions(m_size), [this] { Empty(); },
            [this, flushes]
            {
                ExpandFrames(m_pattern, m_input,
                             [this](const Path &path, int number)
                             { m_table.Append(path, number); });
                if (flushes)
                    ostrel::LogFlush();
            });
    }

    Timing RunPlainly(const std::string &logFile)
    {
        FILE *const log = std::fopen(logFile.c_str(), "w");
        const Timing timing = Measure(
            Repetitions(m_size), [this] { Empty(); },
            [this, log] { FillPlainly(m_files, m_size, log); });
        std::fclose(log);
        return timing;
    }

private:
    void Empty()
    {
        m_table.Clear();
        ostrel::LogFlush();
    }

    std::size_t m_size;
    ExpansionInput m_input;
    FramePattern m_pattern = *FramePattern::Parse(k_pattern, nullptr);
    _FileInfoList m_files;
    FileTable m_table{m_files};
};

} // namespace

int main()
{
    const Folder folder;
    PrintHead("Expansion");
    for (const std::size_t size : k_sizes)
    {
        ExpansionBench bench(size);
        const Timing plain = bench.RunPlainly(folder / "plain.log");
        PrintYardstick("snprintf, same container, fprintf", size, plain);

        ostrel::LogSettings settings;
        settings.file = ostrel::Path(folder / "bench.log");
        ostrel::LogStart(settings);
        PrintRow("expansion, log lines to a file", size, bench.Run(false), plain);
        PrintRow("the same until the lines are on disk", size, bench.Run(true), plain);
        ostrel::LogStop();

        settings.file = ostrel::Path();
        ostrel::LogStart(settings);
        PrintRow("expansion, no log", size, bench.Run(false), plain);
        ostrel::LogStop();
    }
}
