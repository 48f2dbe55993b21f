#include "check/ReadAnswer.h"

#include <gtest/gtest.h>

namespace check
{
namespace
{

constexpr const char *k_print = "00000000000000cc";

LookRequest Request(LookRequest::Depth depth = LookRequest::Depth::Sizes)
{
    LookRequest request;
    request.formats = {"/r/a.%d", "/r/b.%d"};
    request.input.userRange = "1-5";
    request.input.renumberStart = "101";
    request.input.renumberBy = "10";
    request.depth = depth;
    return request;
}

// The lines of an answer between its first and its last.
std::optional<LookAnswer> Read(const LookRequest &request, const std::string &lines)
{
    return ReadAnswer(request, "corvan-check 1\n" + lines + "end\n");
}

const std::string k_good = std::string("print ") + k_print + "\ncounts ok 10\n";

TEST(ReadAnswer, TakesWhatAnswersTheRequest)
{
    EXPECT_EQ(Read(Request(LookRequest::Depth::Prints), "print 00000000000000cc\n")->print,
              k_print);
    EXPECT_TRUE(Read(Request(), k_good)->isJudged);
    const auto bad = Read(Request(), "print 00000000000000cc\ncounts ok 7, missing 2, blank 1\n"
                                     "bad 00000000000000aa 101,141\n");
    ASSERT_TRUE(bad);
    EXPECT_EQ(AllOf(bad->bad), (corvan::SequenceDistributor::Items{101, 141}));
    EXPECT_EQ(Read(Request(), "trouble the folder /r is not there\n")->trouble,
              "the folder /r is not there");
    // The files have changed.
    LookRequest again = Request();
    again.print = "00000000000000dd";
    EXPECT_FALSE(Read(again, "print 00000000000000cc\n")->isJudged);
}

TEST(ReadAnswer, TakesOfAJobWithoutRenumberingWhatItWrites)
{
    LookRequest request = Request();
    request.input.renumberStart = request.input.renumberBy = "";
    request.input.userRange = "1,5";
    const std::string two = "print 00000000000000cc\ncounts ok 2, missing 2\nbad 00000000000000aa ";
    EXPECT_TRUE(Read(request, two + "5\n"));
    EXPECT_FALSE(Read(request, two + "3\n"));
    // A packet is rendered whole.
    request.input.packetSize = "5";
    EXPECT_TRUE(Read(request, two + "3\n"));
    request.input.hasCustomRange = true;
    EXPECT_FALSE(Read(request, two + "3\n"));
}

TEST(ReadAnswer, TakesNothingElse)
{
    const std::string print = "print 00000000000000cc\n";
    const std::string counts = "counts ok 9, missing 1\n";
    const std::string bad = "bad 00000000000000aa 101\n";
    ASSERT_TRUE(Read(Request(), print + counts + bad));
    const struct
    {
        const char *what;
        std::string lines;
    } cases[] = {
        {"frames that the job does not write", print + counts + "bad 00000000000000aa 1\n"},
        {"more of them than are bad files",
         print + counts + "bad 00000000000000aa 101\nbad 00000000000000bb 111\n"},
        {"fewer of them", print + "counts ok 7, missing 3\n" + bad},
        {"one of which two things are found",
         print + "counts ok 8, missing 2\n" + bad + "bad 00000000000000bb 101\n"},
        {"none though files are bad", print + counts},
        {"some though no file is bad", print + "counts ok 10\n" + bad},
        {"some without a verdict", print + bad},
        {"too many without a verdict", print + "many\n"},
        {"counts of something else", print + "counts ok 9, worse 1\n" + bad},
        {"counts in another order", print + "counts missing 1, ok 9\n" + bad},
        {"counts of more files than there can be",
         print + "counts ok 18446744073709551615, missing 1\n" + bad},
        {"counts that are too large to be read",
         print + "counts ok 99999999999999999999, missing 1\n" + bad},
        {"a state that none has", print + "counts ok 9, missing 1, blank 0\n" + bad},
        {"counts with something behind", print + "counts ok 9, missing 1 and more\n" + bad},
        {"a print that is none", "print \x1b[31m\n" + counts + bad},
        {"more bad frames than can be told one by one",
         print + "counts ok 0, missing 200000\nbad 00000000000000aa 1-200000\n"},
    };
    for (const auto &[what, lines] : cases)
        EXPECT_FALSE(Read(Request(), lines)) << what;

    EXPECT_FALSE(Read(Request(LookRequest::Depth::Prints), k_good)) << "nobody wanted a verdict";
    LookRequest again = Request();
    again.print = "00000000000000dd";
    EXPECT_FALSE(Read(again, k_good)) << "the files are not those that stood still";
}

TEST(ReadAnswer, TakesNoAnswerWithoutEnd)
{
    EXPECT_FALSE(Read(Request(), std::string(k_MostAnswerBytes, '\n')));
    const std::string lines(k_MostAnswerBytes - 100, 'x');
    const auto told = Read(Request(), "trouble " + lines + "\n");
    ASSERT_TRUE(told);
    EXPECT_LT(told->trouble.size(), 1000u);
}

TEST(ReadAnswer, TakesMoreThanCanBeToldOneByOneTogether)
{
    LookRequest request = Request();
    request.formats = {"/r/a.%d"};
    request.input = {};
    request.input.userRange = "1-200000";
    const auto told = Read(request, "print 00000000000000cc\ncounts ok 0, missing 200000\nmany\n"
                                    "bad 00000000000000aa 1-200000\n");
    ASSERT_TRUE(told);
    EXPECT_TRUE(told->areTooMany);
    EXPECT_FALSE(Read(request, "print 00000000000000cc\ncounts ok 0, missing 200000\n"
                               "bad 00000000000000aa 1-200000\n"));
}

} // namespace
} // namespace check
