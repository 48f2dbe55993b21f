#include "check/LookAnswer.h"

#include <gtest/gtest.h>

namespace check
{
namespace
{

LookAnswer Verdict()
{
    LookAnswer answer;
    answer.print = "00000000000000cc";
    answer.isJudged = true;
    answer.counts = "ok 94, missing 2";
    answer.bad = {{"00000000000000aa", {17, 18}}};
    return answer;
}

TEST(LookAnswer, IsTheSameOnceItWasText)
{
    LookAnswer many = Verdict();
    many.areTooMany = true;
    for (const LookAnswer &answer :
         {Verdict(), many, LookAnswer{.trouble = "the folder /r is not there", .print = {}},
          LookAnswer{.trouble = {}, .print = "00000000000000cc"}})
        EXPECT_EQ(ParseAnswer(PackAnswer(answer)), answer) << PackAnswer(answer);
}

TEST(LookAnswer, IsNoneWhereTheEndIsMissing)
{
    const std::string whole = PackAnswer(Verdict());
    for (std::size_t size = 0; size < whole.rfind("end\n") + 4; ++size)
        EXPECT_FALSE(ParseAnswer(whole.substr(0, size))) << size;
    EXPECT_EQ(ParseAnswer(whole + "corvan-task: something\n"), Verdict());
}

TEST(LookAnswer, TakesNothingElse)
{
    for (const char *text :
         {"corvan-check 2\nprint 1\nend\n", "corvan-check 1\nend\n",
          "corvan-check 1\nprint 1\nworse\nend\n", "corvan-check 1\nprint 1\nbad 17\nend\n",
          "warning\ncorvan-check 1\nprint 1\nend\n"})
        EXPECT_FALSE(ParseAnswer(text)) << text;
}

TEST(LookAnswer, TellsATroubleInOneLineOfText)
{
    const LookAnswer answer{.trouble = "cannot read /r\nend\n\xff", .print = {}};
    const auto told = ParseAnswer(PackAnswer(answer));
    ASSERT_TRUE(told);
    EXPECT_EQ(told->trouble.find('\n'), String::npos);
    EXPECT_EQ(told->trouble.find('\xff'), String::npos);
    EXPECT_TRUE(told->trouble.starts_with("cannot read /r"));
}

} // namespace
} // namespace check
