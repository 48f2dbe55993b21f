#include "decode/ImageReport.h"

#include <gtest/gtest.h>

#include "tests/support/Printing.h"

using namespace decode;

namespace
{

ImageReport FullReport()
{
    ImageReport report;
    report.trouble = "no memory";
    report.reason = "the file is empty";
    report.format = "openexr";
    report.formatByName = "png";
    report.width = 1920;
    report.height = 1080;
    report.channels = "R,G,B,A + Z";
    report.pixels = 2'073'600;
    report.nanPixels = 3;
    report.infinitePixels = UINT64_MAX;
    report.wildChannels = "Z";
    report.colour = "0, 0, 0, 1";
    return report;
}

std::string Replaced(std::string text, const std::string &what, const std::string &by)
{
    return text.replace(text.find(what), what.size(), by);
}

} // namespace

TEST(ImageReport, ComesBackAsItWasSent)
{
    EXPECT_EQ(ParseReport(PackReport(FullReport())), FullReport());
    EXPECT_EQ(ParseReport(PackReport({})), ImageReport());
}

TEST(ImageReport, IsRefusedWhereItIsNone)
{
    const std::string good = PackReport(FullReport());
    const std::string cases[] = {
        "",
        "no report",
        good + '\0',
        good.substr(0, good.rfind('\0')),
        Replaced(good, "1920", ""),
        Replaced(good, "1920", "-1"),
        Replaced(good, "1920", "1920 "),
        Replaced(good, "1920", "99999999999"),
        Replaced(good, "2073600", "many"),
    };
    for (const std::string &message : cases)
        EXPECT_EQ(ParseReport(message), std::nullopt) << message;
}

TEST(ImageReport, HoldsOneLineWhateverWasSent)
{
    const std::string message =
        Replaced(PackReport(FullReport()), "the file", "\x1b[31mthe\r\nfile");
    EXPECT_EQ(ParseReport(message)->reason, "[31mthe file is empty");
}

TEST(ImageReport, MakesOneLineOfAnyText)
{
    const struct
    {
        std::string text;
        std::string line;
    } cases[] = {
        {"", ""},
        {"plain", "plain"},
        {"\n\na\n\tb\n", "a b"},
        {std::string("a\0b", 3), "a b"},
        {"ü", "ü"},
        {std::string(600, 'a'), std::string(600, 'a')},
        {std::string(601, 'a'), std::string(600, 'a') + "..."},
        {std::string(599, 'a') + "üb", std::string(599, 'a') + "ü..."},
    };
    for (const auto &[text, line] : cases)
        EXPECT_EQ(OneLine(text), line);
}
