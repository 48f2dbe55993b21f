// Hashing frames as `corvan seal` and `corvan check --sealed` do, all of them in the page cache,
// where a disk is quickest. Yardsticks, by turns: reading the same files by one thread without a
// look at what was read, and `xxhsum -H1` on them.
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <random>
#include <unistd.h>

#include "bench/Measure.h"
#include "check/FileHash.h"

using namespace bench;

namespace
{

constexpr int k_files = 48;
constexpr std::size_t k_bytes = 8u << 20;
constexpr std::size_t k_piece = 256u << 10;
constexpr int k_repetitions = 9;

void Require(bool holds, const std::string &what)
{
    if (holds)
        return;
    std::fprintf(stderr, "%s\n", what.c_str());
    std::exit(1);
}

std::vector<check::HashWish> MakeFrames(const Folder &folder)
{
    std::mt19937_64 random(1);
    std::vector<std::uint64_t> content(k_bytes / sizeof(std::uint64_t));
    std::vector<check::HashWish> frames;
    for (int frame = 1; frame <= k_files; ++frame)
    {
        for (std::size_t i = 0; i < content.size(); i += 512)
            content[i] = random();
        const std::string path = folder / ("f." + std::to_string(frame));
        const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        Require(file >= 0 && write(file, content.data(), k_bytes) == ssize_t(k_bytes),
                "cannot make " + path);
        close(file);
        frames.push_back({check::Path(path), check::HashKind::Xxh64});
    }
    return frames;
}

void ReadAll(const std::vector<check::HashWish> &frames)
{
    std::vector<char> piece(k_piece);
    for (const check::HashWish &frame : frames)
    {
        const int file = open(frame.path.Text().c_str(), O_RDONLY | O_CLOEXEC);
        Require(file >= 0, "cannot read " + frame.path.Text());
        while (read(file, piece.data(), piece.size()) > 0)
        {
        }
        close(file);
    }
}

void HashAll(const std::vector<check::HashWish> &frames)
{
    for (const check::FileHash &hash : check::HashFiles(frames, [](std::size_t) {}))
        Require(hash.trouble.empty(), hash.trouble);
}

} // namespace

int main()
{
    const Folder folder;
    const auto frames = MakeFrames(folder);
    const std::string theirs = "xxhsum -q -H1 " + (folder / "f.*") + " > /dev/null";
    std::vector<double> plain, xxhsum, ours;
    for (int i = 0; i < k_repetitions; ++i)
    {
        plain.push_back(Measure(1, [&] { ReadAll(frames); }).minMs);
        xxhsum.push_back(
            Measure(1, [&] { Require(std::system(theirs.c_str()) == 0, "no xxhsum"); }).minMs);
        ours.push_back(Measure(1, [&] { HashAll(frames); }).minMs);
    }
    PrintHead("Hashing frames of 8 MiB");
    PrintYardstick("read by one thread", k_files, FromTimes(plain));
    PrintRow("hashed here", k_files, FromTimes(ours), FromTimes(plain));
    PrintYardstick("xxhsum -H1", k_files, FromTimes(xxhsum));
    PrintRow("hashed here, of xxhsum", k_files, FromTimes(ours), FromTimes(xxhsum));
}
