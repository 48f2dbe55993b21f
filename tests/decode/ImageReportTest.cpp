#include "decode/ImageReport.h"

#include <gtest/gtest.h>

#include "tests/support/Printing.h"

using namespace decode;

namespace
{

PictureMeasures Measures(int columns, int rows, std::size_t peaks)
{
    PictureMeasures measures;
    measures.width = 1920;
    measures.height = 1080;
    measures.columns = columns;
    measures.rows = rows;
    measures.hash = 12345;
    measures.tiles.resize(std::size_t(columns * rows), {40960, 100, 170, 0, -1, 1, 99});
    measures.peaks.resize(peaks, {1919, 1079, 200});
    return measures;
}

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
    report.infinitePixels = 2'073'597;
    report.wildChannels = "Z";
    report.negativePixels = 77'777;
    report.colour = "0, 0, 0, 1";
    report.measures = Measures(3, 2, 2);
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
        Replaced(good, "77777", "-1"),
        // More wrong pixels than there are.
        Replaced(good, "77777", "2073601"),
        Replaced(good, "2073597", "2073598"),
        Replaced(good, "2073597", "18446744073709551615"),
        Replaced(good, std::string("\0003\0", 3), std::string("\0002073601\0", 9)),
        good + "0",
        good.substr(0, good.size() - 1),
        Replaced(good, PackMeasures(FullReport().measures), "measures"),
    };
    for (const std::string &message : cases)
        EXPECT_EQ(ParseReport(message), std::nullopt) << message;
}

TEST(ImageReport, IsNeverLongerThanAMessageMayBe)
{
    ImageReport report = FullReport();
    report.measures = Measures(k_MostTiles, k_MostTiles, k_MostPeaks);
    report.pixels = report.nanPixels = report.negativePixels = UINT64_MAX;
    report.infinitePixels = 0;
    for (String *text : {&report.trouble, &report.reason, &report.format, &report.formatByName,
                         &report.channels, &report.wildChannels, &report.colour})
        *text = std::string(100'000, 'x');
    const std::string message = PackReport(report);
    EXPECT_LT(message.size(), std::size_t(1) << 16);
    EXPECT_EQ(ParseReport(message).value().measures, report.measures);
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
