#include "ostrel/LogFileClaim.h"

#include <optional>

#include <gtest/gtest.h>

#include "tests/support/Printing.h"
#include "tests/support/TempFolder.h"

using namespace ostrel;

TEST(LogFileClaim, EachTakesTheFirstFileThatNobodyHas)
{
    const TempFolder folder;
    const Path wanted = folder / "state/Ordwick.log";
    std::optional<LogFileClaim> first(std::in_place, wanted);
    std::optional<LogFileClaim> second(std::in_place, wanted);
    const LogFileClaim third(wanted);
    EXPECT_EQ(first->File(), wanted);
    EXPECT_EQ(second->File(), folder / "state/Ordwick-2.log");
    EXPECT_EQ(third.File(), folder / "state/Ordwick-3.log");

    second.reset();
    EXPECT_EQ(LogFileClaim(wanted).File(), folder / "state/Ordwick-2.log");
    first.reset();
    EXPECT_EQ(LogFileClaim(wanted).File(), wanted);
}

TEST(LogFileClaim, SharesTheWantedFileWhereNoLockCanBeHad)
{
    const TempFolder folder;
    folder.MakeFile("file");
    EXPECT_EQ(LogFileClaim(folder / "file/Ordwick.log").File(), folder / "file/Ordwick.log");
}

TEST(LogFileClaim, SharesTheWantedFileWhereAllAreTaken)
{
    const TempFolder folder;
    const Path wanted = folder / "Ordwick.log";
    std::vector<std::unique_ptr<LogFileClaim>> claims;
    for (int count = 0; count < LogFileClaim::k_most; ++count)
        claims.push_back(std::make_unique<LogFileClaim>(wanted));
    EXPECT_EQ(claims.back()->File(), folder / "Ordwick-20.log");
    EXPECT_EQ(LogFileClaim(wanted).File(), wanted);
}
