#include "analysis/Expansion.h"

#include <algorithm>
#include <boost/make_shared.hpp>
#include <climits>
#include <cstdlib>
#include <random>

#include <gtest/gtest.h>

#include "corvan/Job.h"
#include "corvan/JobType.h"
#include "corvan/Parameters.h"
#include "tests/support/LogCapture.h"

using namespace analysis;
using Items = SequenceDistributor::Items;

namespace
{

Items Frames(const String &range)
{
    Items frames;
    String reason;
    EXPECT_TRUE(SequenceDistributor::ParseRange(range, frames, &reason)) << range << ": " << reason;
    return frames;
}

struct Texts
{
    const char *sequenceBy = "";
    const char *renumberStart = "";
    const char *renumberBy = "";
    const char *packetSize = "";
    bool hasCustomRange = false;
};

ExpansionInput Input(const Items &frames, const Texts &texts)
{
    ExpansionInput input;
    input.frames = frames;
    input.hasCustomRange = texts.hasCustomRange;
    input.sequenceBy = texts.sequenceBy;
    input.renumberStart = texts.renumberStart;
    input.renumberBy = texts.renumberBy;
    input.packetSize = texts.packetSize;
    return input;
}

struct Expanded
{
    std::vector<int> numbers;
    std::vector<String> paths;
    String reason;
};

Expanded Expand(const ExpansionInput &input, const char *pattern = "%d")
{
    Expanded expanded;
    expanded.reason = ExpandFrames(*FramePattern::Parse(pattern, nullptr), input,
                                   [&expanded](const Path &path, int number)
                                   {
                                       expanded.paths.push_back(path.Text());
                                       expanded.numbers.push_back(number);
                                   });
    return expanded;
}

/// The numbers of all files by counting, in whole numbers: where SequenceBy is a number of eighths
/// of a frame, single precision has nothing to round.
std::vector<int> CountFiles(const std::vector<int> &frames, int eighths, int start, int renumberBy,
                            int packetSize)
{
    std::vector<int> numbers;
    for (auto begin = frames.begin(); begin != frames.end();)
    {
        const auto end = std::lower_bound(begin, frames.end(), *begin + packetSize);
        const int length = *std::prev(end) + 1 - *begin;
        const int number = ((*begin - frames.front()) * renumberBy * 8 + start * eighths) / eighths;
        for (int file = 0; file < (length * 8 + eighths - 1) / eighths; ++file)
            numbers.push_back(number + file * renumberBy);
        begin = end;
    }
    return numbers;
}

boost::shared_ptr<corvan::RenderJob> RenderJobOf(bool hasCustomRange)
{
    auto type = boost::make_shared<corvan::JobType>();
    type->name = "Render";
    type->hasCustomRange = hasCustomRange;
    return boost::make_shared<corvan::RenderJob>(type);
}

} // namespace

TEST(Expansion, NumbersTheFilesOfARange)
{
    using Numbers = std::vector<int>;
    const struct
    {
        const char *what;
        const char *range;
        Texts texts;
        Numbers numbers;
    } cases[] = {
        {"plain", "1-5", {}, {1, 2, 3, 4, 5}},
        {"negative", "-2-1", {}, {-2, -1, 0, 1}},
        {"gaps", "1,5,9", {}, {1, 5, 9}},
        {"renumbered", "10-12", {.renumberStart = "1", .renumberBy = "2"}, {1, 3, 5}},
        {"start alone", "10-12", {.renumberStart = "-1"}, {-1, 0, 1}},
        {"by alone", "10-12", {.renumberBy = "10"}, {10, 20, 30}},
        {"gaps keep their distance", "10,12,20", {.renumberStart = "1"}, {1, 3, 11}},
        {"two outputs a frame", "1-2", {.sequenceBy = "0.5"}, {1, 2, 3, 4}},
        {"each second frame", "1-4", {.sequenceBy = "2", .packetSize = "4"}, {1, 2}},
        {"each second frame, packets of one", "1-4", {.sequenceBy = "2"}, {1, 1, 2, 2}},
        {"thirds", "1-2", {.sequenceBy = "0.3333334"}, {1, 2, 3, 3, 4, 5}},
        {"infinite step", "1-3", {.sequenceBy = "inf"}, {1, 1, 1}},
        {"one packet fills its gaps", "1,3,5", {.packetSize = "5"}, {1, 2, 3, 4, 5}},
        {"a packet ends at its last frame", "1,3,9", {.packetSize = "5"}, {1, 2, 3, 9}},
        {"a packet begins at a frame", "2,4,7,8", {.packetSize = "3"}, {2, 3, 4, 7, 8}},
        {"packet beyond all frames", "-2,1", {.packetSize = "2147483647"}, {-2, -1, 0, 1}},
        {"custom range", "10-12", {"0.5", "1", "2", "5", true}, {10, 11, 12}},
        {"custom range, packets do not count", "1,3", {"", "", "", "0", true}, {1, 3}},
        {"no frames", "", {}, {}},
        {"far apart", "-2147483457,2147483456", {"1e9"}, {-2147483520, -2147483520}},
    };

    for (const auto &[what, range, texts, numbers] : cases)
    {
        const Expanded expanded = Expand(Input(Frames(range), texts));
        EXPECT_EQ(expanded.reason, "") << what;
        EXPECT_EQ(expanded.numbers, numbers) << what;
    }
}

TEST(Expansion, PutsTheOutputNumberIntoThePath)
{
    const Expanded expanded =
        Expand(Input(Frames("9-10"), {.renumberStart = "-1"}), "/r/a.%04d.exr");

    EXPECT_EQ(expanded.paths, (std::vector<String>{"/r/a.-001.exr", "/r/a.0000.exr"}));
}

TEST(Expansion, ReadsTheRenumberingTextsAsTheCLibraryReadsNumbers)
{
    const struct
    {
        Texts texts;
        float sequenceBy;
        int renumberStart;
        int renumberBy;
        int packetSize;
    } cases[] = {
        {{}, 1.0f, 7, 1, 1},
        {{"0.5", "3", "2", "4"}, 0.5f, 3, 2, 4},
        {{" 0.1x", "\t12abc", " 3.9", "5 "}, 0.1f, 12, 3, 5},
        {{"text", "text", "text", "text"}, 1.0f, 0, 1, 0},
        {{"0", "0", "0", "0"}, 1.0f, 0, 1, 0},
        {{"-2", "-2", "-2", "-2"}, 1.0f, -2, 1, -2},
        {{"nan", "0x10", "0x10", "010"}, 1.0f, 0, 1, 10},
        {{"0x1p-1", "+4", "+4", "+4"}, 0.5f, 4, 4, 4},
        {{"1e-60", "99999999999", "99999999999", "99999999999"}, 1.0f, INT_MAX, INT_MAX, INT_MAX},
        {{"0,5", "-3000000000", "-3000000000", "-1e9"}, 1.0f, INT_MIN, 1, -1},
        {{"", "", "", "-99999999999999999999"}, 1.0f, 7, 1, INT_MIN},
        {{"0.5", "3", "2", "4", true}, 1.0f, 7, 1, 1},
    };

    for (const auto &[texts, sequenceBy, renumberStart, renumberBy, packetSize] : cases)
    {
        const Renumbering numbers = ReadRenumbering(Input({7}, texts), 7);
        EXPECT_EQ(numbers.sequenceBy, sequenceBy) << texts.sequenceBy;
        EXPECT_EQ(numbers.renumberStart, renumberStart) << texts.renumberStart;
        EXPECT_EQ(numbers.renumberBy, renumberBy) << texts.renumberBy;
        EXPECT_EQ(numbers.packetSize, packetSize) << texts.packetSize;
    }
}

TEST(Expansion, RefusesWhatCannotBeWalkedAndCallsNothing)
{
    const struct
    {
        const char *what;
        Items frames;
        Texts texts;
        const char *reason;
    } cases[] = {
        {"packet size 0", {1, 2}, {.packetSize = "0"}, "a packet size of 0 is below 1"},
        {"negative packet size", {1}, {.packetSize = "-3"}, "a packet size of -3 is below 1"},
        {"packet size without digits", {1}, {.packetSize = "x"}, "a packet size of 0 is below 1"},
        {"frame too large for a step of 1",
         {1, 16777217},
         {},
         "a step of 1 does not move frame 16777216 in single precision"},
        {"frame too low for a step of 1",
         {-19999999},
         {},
         "a step of 1 does not move frame -2e+07 in single precision"},
        {"frame near the highest",
         {2147483456},
         {},
         "a step of 1 does not move frame 2147483392 in single precision"},
        {"step too small",
         {1},
         {.sequenceBy = "1e-8"},
         "a step of 1e-08 does not move frame 1 in single precision"},
        {"step too small, of a custom range",
         {16777217},
         {.hasCustomRange = true},
         "a step of 1 does not move frame 16777216 in single precision"},
        {"step small enough for too many files",
         {0},
         {.sequenceBy = "5e-8"},
         "more than 1000000 files"},
        {"packet of too many files",
         {0, 1000000},
         {.packetSize = "20000000"},
         "more than 1000000 files"},
        {"smallest step there is",
         {0},
         {.sequenceBy = "1e-45"},
         "the output number of frame 0 does not fit in 32 bits"},
        {"output number above 32 bits",
         {1, 2149},
         {.renumberBy = "1000001"},
         "the output number of frame 2149 does not fit in 32 bits"},
        {"output number above 32 bits within a packet",
         {1, 2},
         {.renumberStart = "2147483520", .renumberBy = "128", .packetSize = "2"},
         "the output number of frame 1 does not fit in 32 bits"},
        {"start that rounds to 2^31",
         {1},
         {.renumberStart = "2147483647"},
         "the output number of frame 1 does not fit in 32 bits"},
    };

    for (const auto &[what, frames, texts, reason] : cases)
    {
        LogCapture log;
        const Expanded expanded = Expand(Input(frames, texts));
        EXPECT_EQ(expanded.reason, reason) << what;
        EXPECT_TRUE(expanded.numbers.empty()) << what;
        EXPECT_TRUE(log.Lines().empty()) << what;
    }
}

TEST(Expansion, WalksUpToTheLargestFrameThatAStepOfOneMoves)
{
    const Expanded expanded = Expand(Input({16777214, 16777215}, {}));

    EXPECT_EQ(expanded.reason, "");
    EXPECT_EQ(expanded.numbers, (std::vector<int>{16777214, 16777215}));
}

TEST(Expansion, ListsNoFileWhereAFrameAndItsEndRoundToTheSameNumber)
{
    EXPECT_EQ(Expand(Input({1, 16777216}, {})).numbers, (std::vector<int>{1}));
    EXPECT_TRUE(Expand(Input({INT_MIN, INT_MAX}, {})).numbers.empty());
}

TEST(Expansion, RefusesAPathThatIsTooLongBeforeTheFirstFile)
{
    const std::string longest = std::string(4095, 'a') + "%d";

    EXPECT_EQ(Expand(Input(Frames("1-9"), {}), longest.c_str()).paths.size(), 9u);
    const Expanded expanded = Expand(Input(Frames("1-10"), {}), longest.c_str());
    EXPECT_EQ(expanded.reason, "a path is longer than 4096 bytes");
    EXPECT_TRUE(expanded.paths.empty());
}

TEST(Expansion, GivesTheFilesThatCountingGives)
{
    std::mt19937 random(9);
    const struct
    {
        const char *text;
        int eighths;
    } steps[] = {{"1", 8}, {"0.5", 4}, {"0.125", 1}, {"0.25", 2}, {"2", 16}, {"4", 32}, {"8", 64}};
    for (int round = 0; round < 3000; ++round)
    {
        const int base = random() % 3 ? int(random() % 2000) - 1000 : int(random() % 2'000'000);
        Items frames;
        for (unsigned count = 1 + random() % 30; count > 0; --count)
            frames.insert(base + int(random() % 60));
        const int start = int(random() % 9000) - 99;
        const int renumberBy = 1 + int(random() % 7);
        const int packetSize = 1 + int(random() % 12);
        const auto &[sequenceBy, eighths] = steps[random() % std::size(steps)];

        const Expanded expanded = Expand(Input(frames, {sequenceBy, std::to_string(start).c_str(),
                                                        std::to_string(renumberBy).c_str(),
                                                        std::to_string(packetSize).c_str()}));
        ASSERT_EQ(expanded.reason, "");
        ASSERT_EQ(expanded.numbers, CountFiles({frames.begin(), frames.end()}, eighths, start,
                                               renumberBy, packetSize))
            << SequenceDistributor::CalculateRange(frames) << " by " << sequenceBy << " from "
            << start << " by " << renumberBy << " in " << packetSize;
    }
}

TEST(Expansion, RoundsEachStepToSinglePrecision)
{
    // Worked out with each sum and product rounded to 24 bits; rounded to 53, half of the lines
    // would have another number of files, and the last three other numbers.
    const struct
    {
        const char *range;
        Texts texts;
        std::vector<std::pair<int, int>> packets; ///< First number, and how many files.
    } cases[] = {
        {"1-10", {"0.1", "1", "1", "10"}, {{1, 100}}},
        {"1-3", {"0.1", "1", "1", "1"}, {{1, 10}, {11, 11}, {21, 11}}},
        {"1-100", {"0.1", "1", "1", "100"}, {{1, 1001}}},
        {"0-9", {"0.3", "0", "1", "4"}, {{0, 14}, {13, 14}, {26, 7}}},
        {"-20-20",
         {"0.7", "-20", "3", "7"},
         {{-20, 10}, {10, 11}, {40, 11}, {70, 11}, {100, 11}, {130, 9}}},
        {"1-50", {"1.1", "1", "1", "50"}, {{1, 46}}},
        {"1-10", {"0.333333", "1", "1", "10"}, {{1, 31}}},
        {"1-10", {"0.01", "1", "1", "10"}, {{1, 1000}}},
        {"1-40", {"3.7", "1", "2", "12"}, {{1, 4}, {7, 4}, {13, 4}, {20, 2}}},
        {"1001-1010", {"0.1", "1001", "1", "10"}, {{1001, 101}}},
        {"1-60x7", {"0.7", "-4", "1", "15"}, {{-4, 22}, {26, 22}, {56, 22}}},
        {"100000-100003", {"0.1", "1", "1", "4"}, {{1, 40}}},
        {"1000000-1000001", {"0.1", "1", "1", "2"}, {{1, 16}}},
        {"8000000-8000001", {"0.3", "5", "2", "2"}, {{5, 4}}},
        {"16777000-16777003", {"0.7", "1", "1", "4"}, {{1, 4}}},
        {"1,10", {"0.3", "1", "1", "1"}, {{1, 4}, {31, 4}}},
        {"1,34", {"1.1", "1", "1", "1"}, {{1, 1}, {30, 1}}},
        {"1,120", {"0.7", "1", "3", "1"}, {{1, 2}, {510, 2}}},
    };
    for (const auto &[range, texts, packets] : cases)
    {
        std::vector<int> numbers;
        for (const auto &[first, files] : packets)
            for (int file = 0; file < files; ++file)
                numbers.push_back(first + file * std::atoi(texts.renumberBy));
        EXPECT_EQ(Expand(Input(Frames(range), texts)).numbers, numbers)
            << range << " by " << texts.sequenceBy;
    }
}

TEST(Expansion, LogsEachFileAfterItWasTaken)
{
    LogCapture log;
    ExpandFrames(*FramePattern::Parse("/r/%02d", nullptr), Input({1, 2}, {}),
                 [](const Path &path, int) { ostrel::LogInfo("took " + path.Text()); });

    EXPECT_EQ(log.Texts(ostrel::k_LogInfo),
              (std::vector<std::string>{"took /r/01", "  Checked /r/01", "took /r/02",
                                        "  Checked /r/02"}));
}

TEST(Expansion, ReadsAJobsParameters)
{
    const auto job = RenderJobOf(true);
    ASSERT_TRUE(job->SetParameter(corvan::p_Range, "1-10"));
    ASSERT_TRUE(job->SetParameter(corvan::p_CustomRange, ""));
    ASSERT_TRUE(job->SetParameter(corvan::p_SequenceBy, "0.5"));
    ASSERT_TRUE(job->SetParameter(corvan::p_RenumberStart, "3"));
    ASSERT_TRUE(job->SetParameter(corvan::p_RenumberBy, "2"));
    ASSERT_TRUE(job->SetParameter(corvan::p_PacketSize, "4"));

    const auto input = ReadExpansionInput(*job);
    ASSERT_TRUE(input);
    EXPECT_EQ(input->userRange, "1-10");
    EXPECT_FALSE(input->hasCustomRange);
    EXPECT_EQ(input->sequenceBy, "0.5");
    EXPECT_EQ(input->renumberStart, "3");
    EXPECT_EQ(input->renumberBy, "2");
    EXPECT_EQ(input->packetSize, "4");
}

TEST(Expansion, ReadsAJobsCustomRangeAsWhatToLookFor)
{
    const auto job = RenderJobOf(true);
    ASSERT_TRUE(job->SetParameter(corvan::p_Range, "1-10"));
    ASSERT_TRUE(job->SetParameter(corvan::p_CustomRange, "5-6"));

    const auto input = ReadExpansionInput(*job);
    ASSERT_TRUE(input);
    EXPECT_EQ(input->userRange, "5-6");
    EXPECT_TRUE(input->hasCustomRange);
    EXPECT_EQ(input->packetSize, "");
}

TEST(Expansion, ReadsNothingFromAJobWithoutCustomRange)
{
    EXPECT_FALSE(ReadExpansionInput(*RenderJobOf(false)));
}

TEST(ListPacketFiles, ListsWhatTheWalkFindsInOnePacket)
{
    const struct
    {
        Renumbering numbers;
        int first;
        int last;
        std::vector<ExpansionStep> files;
    } cases[] = {
        {{1.0f, 1, 1, 1}, 3, 3, {{3.0f, 3}}},
        {{1.0f, 10, 2, 1}, 3, 4, {{3.0f, 14}, {4.0f, 16}}},
        {{0.5f, 1, 1, 1}, 2, 3, {{2.0f, 3}, {2.5f, 4}, {3.0f, 5}, {3.5f, 6}}},
        {{2.0f, 1, 1, 5}, 1, 5, {{1.0f, 1}, {3.0f, 2}, {5.0f, 3}}},
        {{1.0f, -1, 1, 1}, 1, 2, {{1.0f, -1}, {2.0f, 0}}},
    };
    for (const auto &[numbers, first, last, files] : cases)
    {
        String reason;
        EXPECT_EQ(ListPacketFiles(numbers, 1, first, last, 4, &reason), files) << reason;
    }
}

TEST(FirstOutputNumber, IsThatOfTheFirstFileOfAPacket)
{
    const struct
    {
        Renumbering numbers;
        int firstFrame;
        int first;
    } cases[] = {
        {{1.0f, 1, 1, 1}, 1, 3},
        {{1.0f, 10, 2, 1}, 1, 3},
        {{0.3f, 1, 1, 1}, 1, 2},
        {{3.0f, -1, 1, 1}, -20, 2'000'000'011},
        {{1.0f, 1, 1, 1}, 1, 2'000'000'011}, // Beyond what a float tells apart.
    };
    for (const auto &[numbers, firstFrame, first] : cases)
    {
        String reason;
        const auto files = ListPacketFiles(numbers, firstFrame, first, first, 10'000, &reason);
        const auto number = FirstOutputNumber(numbers, firstFrame, first, &reason);
        ASSERT_TRUE(number) << reason;
        if (first < 1 << 24)
            EXPECT_EQ(files.front().outputNumber, *number) << first;
        else
            EXPECT_NEAR(*number,
                        numbers.renumberStart +
                            (double(first) - firstFrame) / double(numbers.sequenceBy),
                        128)
                << first;
    }
    String reason;
    EXPECT_FALSE(FirstOutputNumber({1.0f, 1, 2'000'000'000, 1}, 1, 9, &reason));
    EXPECT_EQ(reason, "the output number of frame 9 does not fit in 32 bits");
}

TEST(ListPacketFiles, RefusesWhatIsTooMuchOrNeverEnds)
{
    String reason;
    EXPECT_TRUE(ListPacketFiles({}, 1, 1, 5, 4, &reason).empty());
    EXPECT_EQ(reason, "more than 4 files in one packet");
    EXPECT_TRUE(ListPacketFiles({1e-9f, 1, 1, 1}, 1, 1, 5, 4, &reason).empty());
    EXPECT_NE(reason.find("does not move frame"), String::npos) << reason;
}

TEST(FrameText, WritesFractionsOnlyWhereThereAreSome)
{
    EXPECT_EQ(FrameText(7.0f), "7");
    EXPECT_EQ(FrameText(-7.5f), "-7.5");
    EXPECT_EQ(FrameText(100000.0f), "100000");
}

TEST(FindRenderingFrames, TurnsOutputNumbersBackIntoFrames)
{
    const struct
    {
        const char *what;
        const char *range;
        Texts texts;
        const char *outputs;
        const char *frames;
    } cases[] = {
        {"plain", "1-10", {}, "2,5", "2,5"},
        {"renumbered", "10-12", {.renumberStart = "1", .renumberBy = "2"}, "3-5", "11,12"},
        {"numbers that no frame writes", "10-12", {.renumberStart = "1"}, "3-20", "12"},
        {"two outputs a frame", "1-3", {.sequenceBy = "0.5"}, "2,3", "1,2"},
        {"a gap that a packet fills", "1,5", {.packetSize = "5"}, "3", "3"},
        {"one number written twice", "1-4", {.sequenceBy = "2"}, "2", "3,4"},
        {"negative frames", "-3-0", {.sequenceBy = "0.5"}, "-2", "-3"},
    };

    for (const auto &[what, range, texts, outputs, frames] : cases)
    {
        String reason = "untouched";
        const Items found =
            FindRenderingFrames(Input(Frames(range), texts), Frames(outputs), &reason);
        EXPECT_EQ(SequenceDistributor::CalculateRange(found),
                  SequenceDistributor::CalculateRange(Frames(frames)))
            << what;
        EXPECT_EQ(reason, "") << what;
    }
}

TEST(WritesOtherNumbers, IsSoWhereTheNumbersAreNotTheFrames)
{
    const struct
    {
        Texts texts;
        bool isSo;
    } cases[] = {
        {{}, false},
        {{.sequenceBy = "1", .renumberStart = "2", .renumberBy = "1", .packetSize = "3"}, false},
        {{.renumberStart = "1"}, true},
        {{.renumberBy = "2"}, true},
        {{.sequenceBy = "0.5"}, true},
    };

    for (const auto &[texts, isSo] : cases)
    {
        ExpansionInput input = Input(Frames("1-10"), texts);
        input.hasCustomRange = true;
        EXPECT_EQ(WritesOtherNumbers(input, Frames("2,5")), isSo) << texts.renumberStart;
        EXPECT_FALSE(WritesOtherNumbers(input, {}));
    }
}

TEST(FindRenderingFrames, FindsNothingWhereTheWalkIsRefused)
{
    String reason;
    EXPECT_TRUE(FindRenderingFrames(Input({1}, {.packetSize = "0"}), {1}, &reason).empty());
    EXPECT_EQ(reason, "a packet size of 0 is below 1");
}
