#include "master/run/LogLooks.h"

#include <fstream>
#include <poll.h>

#include <gtest/gtest.h>

#include "tests/support/TempFolder.h"

namespace master
{
namespace
{

std::vector<LogLooks::Seen> LookAt(LogLooks &looks, const std::vector<LogLooks::Asked> &files)
{
    looks.Begin(files);
    for (int tries = 0; looks.IsLooking() && tries < 30'000; ++tries)
        ::poll(nullptr, 0, 1);
    return looks.TakeResult().value_or(std::vector<LogLooks::Seen>());
}

TEST(LogLooks, TellWhetherAFileWasWrittenTo)
{
    TempFolder folder;
    const ostrel::Path file = folder.MakeFile("a.log", "one\n");
    LogThread looks;
    EXPECT_FALSE(looks.IsLooking());
    EXPECT_FALSE(looks.TakeResult());

    const auto first = LookAt(looks, {{7, file}, {8, folder / "none.log"}});
    ASSERT_EQ(first.size(), 2u);
    EXPECT_EQ(first[0].run, 7);
    EXPECT_EQ(first[0].bytes, 4);
    EXPECT_EQ(first[1].bytes, -1);
    EXPECT_FALSE(looks.TakeResult()) << "once";
    EXPECT_EQ(LookAt(looks, {{7, file}}).at(0), first[0]);

    std::ofstream(file.Text(), std::ios::app) << "two\n";
    EXPECT_NE(LookAt(looks, {{7, file}}).at(0), first[0]);
}

} // namespace
} // namespace master
