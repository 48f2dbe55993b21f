#include "ostrel/CallEntry.h"

#include <thread>

#include <gtest/gtest.h>

#include "tests/support/LogCapture.h"

using ostrel::_CallEntry;

namespace
{

void Recurse(int times)
{
    const _CallEntry call("Recurse", "deep.cpp", times);
    if (times > 1)
        Recurse(times - 1);
    else
        EXPECT_TRUE(_CallEntry::Stack().starts_with("(44 deeper calls not kept)\nRecurse "));
}

} // namespace

TEST(CallEntry, StackListsTheInnermostCallFirst)
{
    EXPECT_EQ(_CallEntry::Stack(), "");

    const _CallEntry outer("MainWindow::SetFormat", "/home/me/ui/MainWindow.cpp", 12);
    {
        const _CallEntry inner("FileList::Clear", "FileList.cpp", 34);
        EXPECT_EQ(_CallEntry::Stack(), "FileList::Clear (FileList.cpp:34)\n"
                                       "MainWindow::SetFormat (MainWindow.cpp:12)\n");
    }
    EXPECT_EQ(_CallEntry::Stack(), "MainWindow::SetFormat (MainWindow.cpp:12)\n");
}

TEST(CallEntry, EachThreadHasAStackOfItsOwn)
{
    const _CallEntry call("Main", "main.cpp", 1);
    std::string seen = "unset";
    std::thread([&] { seen = _CallEntry::Stack(); }).join();
    EXPECT_EQ(seen, "");
}

TEST(CallEntry, RunawayRecursionIsCountedAndNotKept)
{
    Recurse(300);
    EXPECT_EQ(_CallEntry::Stack(), "");
}

TEST(CallEntry, EntersTheLogAtTraceLevelOnly)
{
    {
        const LogCapture log(ostrel::k_LogInfo);
        const _CallEntry call("Quiet", "a.cpp", 1);
        EXPECT_TRUE(log.Lines().empty());
    }
    const LogCapture log(ostrel::k_LogTrace);
    const _CallEntry call("Traced", "a.cpp", 2);
    EXPECT_EQ(log.Texts(ostrel::k_LogTrace), std::vector<std::string>{"Traced (a.cpp:2)"});
}
