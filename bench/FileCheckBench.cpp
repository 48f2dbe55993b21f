// File check: a pass over files of one folder, without a window. All in the page cache.
// Yardstick: a loop of snprintf and stat that sums the sizes.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "analysis/FileTable.h"
#include "bench/Measure.h"

using namespace analysis;
using namespace bench;

namespace
{

void MakeFiles(const std::string &pattern, std::size_t size)
{
    for (std::size_t frame = 1; frame <= size; ++frame)
    {
        char path[4096];
        std::snprintf(path, sizeof path, pattern.c_str(), int(frame));
        const int file = open(path, O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        if (file < 0 || ftruncate(file, 1000) != 0)
        {
            std::perror(path);
            std::exit(1);
        }
        close(file);
    }
}

std::uint64_t SumSizes(const std::string &pattern, std::size_t size)
{
    std::uint64_t sum = 0;
    for (std::size_t frame = 1; frame <= size; ++frame)
    {
        char path[4096];
        struct stat status;
        std::snprintf(path, sizeof path, pattern.c_str(), int(frame));
        if (stat(path, &status) == 0)
            sum += std::uint64_t(status.st_size);
    }
    return sum;
}

std::uint64_t Pass(FileTable &table)
{
    ScanCounts counts;
    for (std::size_t row = 0; row < table.RowCount(); ++row)
        table.CheckRow(row, counts);
    return counts.missing + counts.tooSmall;
}

void Fill(FileTable &table, const std::string &pattern, std::size_t size)
{
    table.Clear();
    for (std::size_t frame = 1; frame <= size; ++frame)
    {
        char path[4096];
        std::snprintf(path, sizeof path, pattern.c_str(), int(frame));
        table.Append(Path(path), int(frame));
    }
}

void Require(bool holds, const char *what)
{
    if (holds)
        return;
    std::fprintf(stderr, "%s\n", what);
    std::exit(1);
}

} // namespace

int main()
{
    const Folder folder;
    const std::string pattern = folder / "beauty.%07d.exr";
    PrintHead("File check");
    for (const std::size_t size : k_sizes)
    {
        MakeFiles(pattern, size);
        _FileInfoList files;
        FileTable table(files);

        const Timing plain =
            Measure(Repetitions(size),
                    [&] { Require(SumSizes(pattern, size) == 1000 * size, "files went missing"); });
        PrintYardstick("loop of snprintf and stat", size, plain);

        const auto pass = [&table] { Require(Pass(table) == 0, "a file was not found"); };
        PrintRow("first pass, every record changes", size,
                 Measure(
                     Repetitions(size), [&] { Fill(table, pattern, size); }, pass),
                 plain);
        PrintRow("later pass, nothing changed", size, Measure(Repetitions(size), pass), plain);
    }
}
