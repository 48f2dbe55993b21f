#include "corvan/QueueWishes.h"

#include <gtest/gtest.h>

#include "tests/support/Printing.h"

namespace corvan
{
namespace
{

TEST(QueueWishes, AValueIsAWordThatCannotBecomeAnything)
{
    const struct
    {
        const char *name;
        std::vector<const char *> good;
        std::vector<const char *> bad;
    } cases[] = {
        {"Partition", {"farm", "a,b-c", "x_1.2", ""}, {"--wrap=x", "a b", "a\nb", "a;b", "ä", "-"}},
        {"Account", {"show42", ""}, {"a,b", "-x", "a=b", "$HOME"}},
        {"Qos", {"low", ""}, {"low high", "`x`"}},
        {"Time",
         {"30", "12:30", "1:00:00", "2-12", "2-12:00", "2-12:00:00", ""},
         {"-30", "1:2:3:4", "a", "1:", ":1", "2-", "1-2-3", "1:2-3", "1234567", "1 2"}},
        {"Memory", {"4000", "16G", "1T", ""}, {"16GB", "G", "-1", "1.5G", "16 G", "16g"}},
        {"Processors", {"1", "65535", ""}, {"0", "-1", "65536", "2.0", "2 "}},
        {"Constraint", {"gpu", "gpu&avx2", "[rack1*2&rack2*4]", "!old", ""}, {"-gpu", "a b", "'"}},
    };
    for (const auto &[name, good, bad] : cases)
    {
        const QueueWishName *const wish = FindQueueWish(name);
        ASSERT_TRUE(wish) << name;
        for (const char *const value : good)
            EXPECT_EQ(CheckQueueWish(*wish, value), "") << name << " " << value;
        for (const char *const value : bad)
            EXPECT_EQ(CheckQueueWish(*wish, value).substr(0, String(name).size() + 1),
                      String(name) + ":")
                << value;
        EXPECT_NE(CheckQueueWish(*wish, String(300, 'a')), "") << name;
    }
    EXPECT_FALSE(FindQueueWish("partition"));
}

} // namespace
} // namespace corvan
