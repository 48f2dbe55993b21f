#include "ostrel/CallEntry.h"

#include <algorithm>
#include <stdexcept>
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
    {
        Recurse(times - 1);
        return;
    }
    const std::string stack = _CallEntry::Stack();
    EXPECT_TRUE(stack.starts_with("(44 deeper calls not shown)\nRecurse (deep.cpp:45)\n")) << stack;
    EXPECT_TRUE(stack.ends_with("\nRecurse (deep.cpp:300)\n")) << stack;
    EXPECT_EQ(std::ranges::count(stack, '\n'), 257);
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

TEST(CallEntry, AnEntryEndsWithItsScopeByAnExceptionToo)
{
    const _CallEntry outer("Outer", "a.cpp", 1);
    try
    {
        const _CallEntry inner("Inner", "a.cpp", 2);
        const _CallEntry innermost("Innermost", "a.cpp", 3);
        throw std::runtime_error("away");
    }
    catch (const std::runtime_error &)
    {
        EXPECT_EQ(_CallEntry::Stack(), "Outer (a.cpp:1)\n");
    }
}

TEST(CallEntry, EachThreadHasAStackOfItsOwn)
{
    const _CallEntry call("Main", "main.cpp", 1);
    std::string seen = "unset";
    std::thread([&] { seen = _CallEntry::Stack(); }).join();
    EXPECT_EQ(seen, "");
}

TEST(CallEntry, RunawayRecursionIsCountedAndNotShown)
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
