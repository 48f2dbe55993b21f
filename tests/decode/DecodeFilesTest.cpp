#include "decode/DecodeFiles.h"

#include <cerrno>
#include <csignal>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <stdexcept>
#include <sys/stat.h>
#include <sys/wait.h>

#include <gtest/gtest.h>

#include "decode/ServeDecoder.h"
#include "tests/decode/SampleImage.h"
#include "tests/support/Printing.h"
#include "tests/support/TempFolder.h"
#include "tests/support/Thrown.h"

using namespace decode;

namespace
{

constexpr DecodeLimits k_limits{2, std::chrono::seconds(60), 64};

std::vector<Path> Files(std::size_t count, const std::string &name)
{
    return std::vector<Path>(count, Path(name));
}

std::map<std::size_t, ImageReport> Decode(const std::vector<Path> &files,
                                          const DecodeLimits &limits = k_limits)
{
    std::map<std::size_t, ImageReport> reports;
    DecodeFiles(WILD_DECODER_PROGRAM, files, limits,
                [&](std::size_t file, const ImageReport &report)
                { EXPECT_TRUE(reports.emplace(file, report).second) << file << " twice"; });
    return reports;
}

bool HasChildren()
{
    siginfo_t child;
    return waitid(P_ALL, 0, &child, WEXITED | WNOHANG | WNOWAIT) == 0 || errno != ECHILD;
}

std::set<int> Children()
{
    std::ifstream file("/proc/thread-self/children");
    return {std::istream_iterator<int>(file), {}};
}

} // namespace

TEST(DecodeCrew, StartsBeforeThereAreFiles)
{
    DecodeCrew crew(WILD_DECODER_PROGRAM, k_limits);
    crew.StartAhead(50);
    const std::set<int> ahead = Children();
    EXPECT_EQ(ahead.size(), k_limits.jobs);

    std::size_t answers = 0;
    crew.Read(Files(50, "/r/a.exr"),
              [&](std::size_t, const ImageReport &report)
              {
                  ++answers;
                  EXPECT_TRUE(ahead.contains(report.width));
              });
    EXPECT_EQ(answers, 50u);
}

TEST(DecodeCrew, ReadsFurtherFilesWithTheDecodersThatThereAre)
{
    std::set<int> ahead;
    {
        DecodeCrew crew(WILD_DECODER_PROGRAM, k_limits);
        crew.StartAhead(1);
        crew.StartAhead(50);
        ahead = Children();
        EXPECT_EQ(ahead.size(), k_limits.jobs);
        for (const std::size_t files : {50, 1, 0, 20})
        {
            std::size_t answers = 0;
            crew.StartAhead(files);
            crew.Read(Files(files, "/r/a.exr"),
                      [&](std::size_t, const ImageReport &report)
                      {
                          ++answers;
                          EXPECT_TRUE(ahead.contains(report.width));
                      });
            EXPECT_EQ(answers, files);
            EXPECT_EQ(Children(), ahead);
        }
    }
    EXPECT_FALSE(HasChildren());
}

TEST(DecodeCrew, BlamesNoFileForADecoderThatEndedWhileThereWasNothingToRead)
{
    DecodeCrew crew(WILD_DECODER_PROGRAM, k_limits);
    const auto read = [&crew]
    {
        std::set<int> readers;
        crew.Read(Files(20, "/r/a.exr"),
                  [&](std::size_t, const ImageReport &report)
                  {
                      EXPECT_EQ(report.reason, "");
                      readers.insert(report.width);
                  });
        return readers;
    };
    crew.StartAhead(2);
    read();
    const std::set<int> before = Children();
    for (const int child : before)
    {
        kill(child, SIGKILL);
        siginfo_t ended;
        waitid(P_PID, id_t(child), &ended, WEXITED | WNOWAIT);
    }
    for (const int reader : read())
        EXPECT_FALSE(before.contains(reader));
}

TEST(DecodeCrew, LeavesNobodyBehindWhereThereIsLessToReadThanWasThought)
{
    for (const std::size_t files : {0, 1})
    {
        {
            DecodeCrew crew(WILD_DECODER_PROGRAM, k_limits);
            crew.StartAhead(2);
            std::size_t answers = 0;
            crew.Read(Files(files, "/r/a.exr"),
                      [&](std::size_t, const ImageReport &) { ++answers; });
            EXPECT_EQ(answers, files);
        }
        EXPECT_FALSE(HasChildren());
    }
    {
        DecodeCrew crew(WILD_DECODER_PROGRAM, k_limits);
        crew.StartAhead(0);
        EXPECT_FALSE(HasChildren());
        crew.StartAhead(1);
        EXPECT_EQ(Children().size(), 1u);
    }
    EXPECT_FALSE(HasChildren());
}

TEST(DecodeCrew, TellsWhatCouldNotBeStartedWhenFilesAreRead)
{
    DecodeCrew crew("/nowhere/decoder", k_limits);
    crew.StartAhead(2);
    EXPECT_EQ(
        Thrown([&] { crew.Read(Files(1, "/r/a.exr"), [](std::size_t, const ImageReport &) {}); }),
        "cannot start /nowhere/decoder: No such file or directory");
}

TEST(DecodeCrew, HasEachPictureMadeAndOutlivesAFileThatEndsItsDecoder)
{
    const struct
    {
        const char *name;
        const char *trouble;
        const char *reason;
    } cases[] = {
        {"/r/a.exr", "", ""},
        {"/r/3000000.exr", "", ""}, // In many pieces.
        {"/r/crash.exr", "", "its decoder ended by signal 11 (Segmentation fault)"},
        {"/r/hang.exr", "took longer than 1 s", ""},
        {"/r/nonsense.exr", "", "its decoder gave no proper answer"},
        {"/r/unlike.exr", "", "its decoder gave no proper answer"},
        {"/r/refused.exr", "", "nothing to see"},
        {"", "no file has such a name", ""},
        {"/r/z.exr", "", ""},
    };
    std::vector<DecodeRequest> requests;
    for (const auto &row : cases)
    {
        DecodeRequest &request = requests.emplace_back(DecodeRequest{row.name});
        if (requests.size() % 2 == 0)
            request.picture = PictureWish{100};
        else
            request.strip = StripWish{{0, 0, 1, 1}, "/r/before.exr", {}, 100};
    }
    DecodeLimits limits = k_limits;
    limits.time = std::chrono::seconds(1);
    std::set<std::size_t> answered;
    const auto look = [&](std::size_t index, const Picture &picture)
    {
        const auto &[name, trouble, reason] = cases[index];
        EXPECT_TRUE(answered.insert(index).second) << name << " twice";
        EXPECT_EQ(picture.trouble, trouble) << name;
        EXPECT_EQ(picture.reason, reason) << name;
        const bool isMade = picture.trouble.empty() && picture.reason.empty();
        EXPECT_EQ(picture.jpeg.find(std::string(name) + " 100") != std::string::npos, isMade);
        const bool hasNeighbour = picture.jpeg.find("/r/before.exr") != std::string::npos;
        EXPECT_EQ(hasNeighbour, isMade && requests[index].strip) << name;
    };
    DecodeCrew(WILD_DECODER_PROGRAM, limits).Make(requests, look);
    EXPECT_EQ(answered.size(), requests.size());
    EXPECT_FALSE(HasChildren());
    DecodeCrew("/nowhere/decoder", limits).Make({}, look);
    EXPECT_EQ(Thrown([&] { DecodeCrew("/nowhere/decoder", limits).Make(requests, look); }),
              "cannot start /nowhere/decoder: No such file or directory");
}

TEST(DecodeFiles, AnswersEveryFileOnce)
{
    std::vector<Path> files;
    for (int i = 0; i < 200; ++i)
        files.emplace_back("/r/f" + std::to_string(i) + ".exr");
    const auto reports = Decode(files);
    ASSERT_EQ(reports.size(), 200u);
    std::set<int> decoders;
    for (const auto &[file, report] : reports)
    {
        EXPECT_EQ(report.reason, "");
        EXPECT_EQ(report.format, files[file].Leaf(false));
        decoders.insert(report.width);
    }
    EXPECT_LE(decoders.size(), 2u) << "a decoder serves more than one file";
    EXPECT_FALSE(HasChildren());
}

TEST(DecodeFiles, OutlivesAFileThatEndsItsDecoder)
{
    const struct
    {
        const char *name;
        const char *reason;
    } cases[] = {
        {"/r/crash.exr", "its decoder ended by signal 11 (Segmentation fault)"},
        {"/r/abort.exr", "its decoder ended by signal 6 (Aborted)"},
        {"/r/leave.exr", "its decoder ended with status 3"},
        {"/r/throw.exr", "thrown and caught"},
        {"/r/nonsense.exr", "its decoder gave no proper answer"},
    };
    for (const auto &[name, reason] : cases)
    {
        std::vector<Path> files = Files(20, "/r/good.exr");
        files[3] = files[4] = files[19] = name;
        const auto reports = Decode(files);
        ASSERT_EQ(reports.size(), files.size()) << name;
        for (const auto &[file, report] : reports)
            EXPECT_EQ(report.reason, files[file] == Path(name) ? reason : "")
                << name << " " << file;
    }
    EXPECT_FALSE(HasChildren());
}

TEST(DecodeFiles, DoesNotWaitForAFileBeyondItsTime)
{
    DecodeLimits limits = k_limits;
    limits.time = std::chrono::seconds(1);
    const auto reports = Decode({"/r/hang.exr", "/r/a.exr", "/r/hang.exr", "/r/b.exr"}, limits);
    for (const std::size_t file : {0, 2})
    {
        EXPECT_EQ(reports.at(file).trouble, "took longer than 1 s");
        EXPECT_EQ(reports.at(file).reason, "");
    }
    EXPECT_EQ(reports.at(1).format, "a");
    EXPECT_EQ(reports.at(3).format, "b");
    EXPECT_FALSE(HasChildren());
}

TEST(DecodeFiles, GivesAFileNoMoreMemoryThanItMayHave)
{
    if (!k_IsMemoryLimited)
        GTEST_SKIP() << "sanitizers reserve the whole address space";
    const auto reports = Decode({"/r/eat.exr", "/r/a.exr", "/r/eat.exr"});
    for (const std::size_t file : {0, 2})
    {
        EXPECT_EQ(reports.at(file).trouble, "takes more memory than 64 MiB");
        EXPECT_EQ(reports.at(file).reason, "");
    }
    EXPECT_EQ(reports.at(1).format, "a");
}

TEST(DecodeFiles, SaysWhichNamesNoFileCanHave)
{
    const auto reports = Decode({"", "/r/a.exr", std::string("/r/a\0b.exr", 10),
                                 "/r/" + std::string(5000, 'x'), "/r/b.exr"});
    ASSERT_EQ(reports.size(), 5u);
    for (const auto &[file, report] : reports)
    {
        const bool isGood = file == 1 || file == 4;
        EXPECT_EQ(report.trouble, isGood ? "" : "no file has such a name") << file;
        EXPECT_EQ(report.reason, "");
    }
    EXPECT_EQ(Decode({"", ""}).size(), 2u);
    EXPECT_FALSE(HasChildren());
}

TEST(DecodeFiles, BlamesNoFileForWhatTheSystemDoes)
{
    const struct
    {
        const char *name;
        const char *trouble;
    } cases[] = {
        {"/r/huge.exr", "its decoder ended by signal 9 (Killed)"},
        {"/r/kill.exr", "its decoder ended by signal 9 (Killed)"},
        {"/r/refuse.exr", "no thread: Resource temporarily unavailable"},
    };
    for (const auto &[name, trouble] : cases)
    {
        const auto reports = Decode({"/r/a.exr", name, "/r/b.exr"});
        EXPECT_EQ(reports.at(1).trouble, trouble);
        EXPECT_EQ(reports.at(1).reason, "");
        for (const std::size_t file : {0, 2})
            EXPECT_EQ(reports.at(file).trouble, "") << name;
    }
}

TEST(DecodeFiles, ReadsASmallImageOfAnyFormatInTheLeastMemory)
{
    const TempFolder folder;
    std::vector<Path> files;
    for (const char *extension : {"exr", "png", "jpg", "tif", "dpx"})
    {
        files.push_back(folder / ("a." + std::string(extension)));
        WriteImage(files.back(), {64, 48, 3, OIIO::TypeUInt8});
    }
    std::size_t answers = 0;
    const DecodeLimits limits{1, std::chrono::seconds(60), k_LeastMemoryMib};
    DecodeFiles(CORVAN_DECODE_PROGRAM, files, limits,
                [&](std::size_t file, const ImageReport &report)
                {
                    ++answers;
                    EXPECT_EQ(report.trouble + report.reason, "") << files[file].Text();
                });
    EXPECT_EQ(answers, files.size());
}

TEST(DecodeFiles, NeverCallsASoundImageDamagedForLackOfMemory)
{
    if (!k_IsMemoryLimited)
        GTEST_SKIP() << "sanitizers reserve the whole address space";
    const TempFolder folder;
    std::vector<Path> files;
    for (const char *extension : {"exr", "png", "jpg", "tif", "dpx"})
    {
        files.push_back(folder / ("a." + std::string(extension)));
        WriteImage(files.back(), {2048, 1024, 3, OIIO::TypeUInt8});
    }
    // From far too little, in which no library even starts, to just too little.
    for (unsigned memory = 1; memory <= k_LeastMemoryMib; memory *= 2)
        DecodeFiles(CORVAN_DECODE_PROGRAM, files, {1, std::chrono::seconds(60), memory},
                    [&](std::size_t file, const ImageReport &report)
                    { EXPECT_EQ(report.reason, "") << files[file].Text() << " in " << memory; });
}

TEST(DecodeFiles, StartsNoMoreDecodersThanThereAreFilesOrPlaces)
{
    DecodeLimits limits = k_limits;
    limits.jobs = 3;
    std::set<int> decoders;
    for (const auto &[file, report] : Decode(Files(60, "/r/a.exr"), limits))
        decoders.insert(report.width);
    EXPECT_LE(decoders.size(), 3u);
    EXPECT_TRUE(Decode({}, limits).empty());
}

TEST(DecodeFiles, ReadsAsManyFilesAtATimeAsThereArePlaces)
{
    const TempFolder folder;
    ASSERT_EQ(mkfifo((folder / "pipe").Text().c_str(), 0600), 0);
    // Each waits for the other.
    for (const auto &[file, report] : Decode({folder / "give", folder / "take"}))
        EXPECT_EQ(report.reason, "");
}

TEST(DecodeFiles, SaysWhichProgramIsNoDecoder)
{
    const auto start = [](const char *program)
    { return ThrownByProcess([&] { DecodeFiles(program, Files(3, "/r/a.exr"), k_limits, {}); }); };
    EXPECT_EQ(start("/no/such/program"),
              "cannot start /no/such/program: No such file or directory");
    EXPECT_EQ(start("/bin/false"), "/bin/false is no decoder: it ended with status 1");
    EXPECT_FALSE(HasChildren());
}

TEST(DecodeFiles, LeavesNoDecoderBehindWhenItIsGivenUp)
{
    const auto giveUp = [](std::size_t, const ImageReport &)
    { throw std::runtime_error("enough"); };
    EXPECT_THROW(DecodeFiles(WILD_DECODER_PROGRAM, Files(20, "/r/a.exr"), k_limits, giveUp),
                 std::runtime_error);
    EXPECT_FALSE(HasChildren());
}
