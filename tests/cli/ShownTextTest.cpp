#include "cli/ShownText.h"

#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace cli
{
namespace
{

TEST(ShownText, LeavesNothingToATerminalToActOn)
{
    const struct
    {
        std::string text;
        const char *one;
        const char *many;
    } cases[] = {
        {"", "", ""},
        {"/renders/a b'ö€😀.%04d.exr", "/renders/a b'ö€😀.%04d.exr", "/renders/a b'ö€😀.%04d.exr"},
        {"a\x1b[31mb", "a\\x1b[31mb", "a\\x1b[31mb"},
        {"a\tb\nc", "a\\x09b\\x0ac", "a\tb\nc"},
        {"a\rb\x7f", "a\\x0db\\x7f", "a\\x0db\\x7f"},
        {std::string("\0", 1), "\\x00", "\\x00"},
        {"a\xc2\x9b"
         "31m",
         "a\\xc2\\x9b31m", "a\\xc2\\x9b31m"},
        {"\xff\xc3", "\\xff\\xc3", "\\xff\\xc3"},
        {"\xed\xa0\x80"
         "b",
         "\\xed\\xa0\\x80b", "\\xed\\xa0\\x80b"},
        {"\xe2\x82", "\\xe2\\x82", "\\xe2\\x82"},
        {"C:\\x", "C:\\x", "C:\\x"},
    };
    for (const auto &[text, one, many] : cases)
    {
        EXPECT_EQ(ShownText(text), one);
        EXPECT_EQ(ShownText(text, Lines::Many), many);
    }
}

TEST(ShownText, IsForTerminalsAlone)
{
    const std::string text = "a\x1b[31m\nb";
    std::FILE *const file = std::tmpfile();
    ASSERT_TRUE(file);
    EXPECT_EQ(ShownOn(file, text), text);
    EXPECT_EQ(ShownOn(file, text, Lines::Many), text);
    std::fclose(file);

    const int keyboard = posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_TRUE(keyboard >= 0 && grantpt(keyboard) == 0 && unlockpt(keyboard) == 0);
    std::FILE *const terminal = std::fopen(ptsname(keyboard), "w");
    ASSERT_TRUE(terminal);
    EXPECT_EQ(ShownOn(terminal, text), "a\\x1b[31m\\x0ab");
    EXPECT_EQ(ShownOn(terminal, text, Lines::Many), "a\\x1b[31m\nb");
    std::fclose(terminal);
    close(keyboard);
}

} // namespace
} // namespace cli
