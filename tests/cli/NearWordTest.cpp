#include "cli/NearWord.h"

#include <vector>

#include <gtest/gtest.h>

namespace cli
{
namespace
{

TEST(NearWord, IsWhatWasProbablyMeant)
{
    const std::vector<std::string> words = {"submit", "list",    "show",   "set",
                                            "check",  "requeue", "delete", "watch"};
    const struct
    {
        const char *typed;
        const char *meant;
    } cases[] = {
        {"chekc", "check"},  {"chck", "check"},     {"checks", "check"},
        {"CHECK", "check"},  {"requeu", "requeue"}, {"reque", "requeue"},
        {"rq", ""},          {"sub", "submit"},     {"s", ""},
        {"lst", "list"},     {"frobnicate", ""},    {"", ""},
        {"dlete", "delete"}, {"remove", ""},
    };
    for (const auto &[typed, meant] : cases)
        EXPECT_EQ(NearWord(typed, words), meant) << typed;
    EXPECT_EQ(NearWord(std::string(100'000, 'x'), words), "");
    EXPECT_EQ(NearWord("check", {}), "");
}

} // namespace
} // namespace cli
