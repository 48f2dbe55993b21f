// Whatever a decoder and the program that started it say to each other: what is taken is what could
// have been meant, is the same when it is told again, and is bounded.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <fuzzer/FuzzedDataProvider.h>

#include "decode/DecodeRequest.h"
#include "decode/ImageReport.h"
#include "decode/Picture.h"
#include "fuzz/Require.h"

using namespace decode;

namespace
{

constexpr std::size_t k_most_bytes = 300;

template <typename Number> Number Any(FuzzedDataProvider &input)
{
    return input.ConsumeIntegral<Number>();
}

// Mostly such as a decoder could send; with a number or a digit that is wrong now and then.
std::string Measures(FuzzedDataProvider &input)
{
    PictureMeasures measures;
    measures.width = input.ConsumeIntegralInRange(-1, 65536);
    measures.height = input.ConsumeIntegralInRange(-1, 65536);
    measures.columns = input.ConsumeIntegralInRange(0, k_MostTiles + 1);
    measures.rows = input.ConsumeIntegralInRange(0, 3);
    measures.hash = Any<std::uint64_t>(input);
    measures.tiles.resize(std::size_t(measures.columns * measures.rows));
    for (TileMeasure &tile : measures.tiles)
        tile = {Any<std::uint16_t>(input), Any<std::uint8_t>(input), Any<std::uint8_t>(input),
                Any<std::uint8_t>(input),  Any<std::int8_t>(input),  Any<std::int8_t>(input),
                Any<std::uint16_t>(input)};
    measures.peaks.resize(input.ConsumeIntegralInRange<std::size_t>(0, 4));
    for (Peak &peak : measures.peaks)
        peak = {Any<std::uint16_t>(input), Any<std::uint16_t>(input), Any<std::uint8_t>(input)};
    std::string text = PackMeasures(measures);
    if (!text.empty() && input.ConsumeIntegralInRange(0, 3) == 0)
        text[input.ConsumeIntegralInRange<std::size_t>(0, text.size() - 1)] = Any<char>(input);
    return text;
}

// A report with the fields that it has, most of them right.
std::string Report(FuzzedDataProvider &input)
{
    std::string text;
    for (const bool isNumber :
         {false, false, false, false, true, true, false, true, true, true, false, true, false})
        text += (isNumber ? std::to_string(input.ConsumeIntegralInRange<std::int64_t>(-1, 1 << 20))
                          : input.ConsumeRandomLengthString(8)) +
                '\0';
    return text + Measures(input);
}

// Fields, some of them right, with zero bytes between them.
std::string Message(FuzzedDataProvider &input)
{
    static const char *const s_fields[] = {
        "strip",    "measured", "mean", "brightest", "480", "1048576", "report", "picture",
        "/r/a.exr", "256",      "4096", "15",        "0.5", "-20",     "nan",    "1e39",
        "rgb",      "luma",     "",     "0",         "12",  "-1",      "openexr"};
    std::string text;
    for (int i = input.ConsumeIntegralInRange(0, 14); i > 0; --i)
    {
        text += input.ConsumeIntegralInRange(0, 4) == 0
                    ? input.ConsumeRandomLengthString(k_most_bytes)
                    : std::string(input.PickValueInArray(s_fields));
        if (i > 1)
            text += '\0';
    }
    return text;
}

bool IsOneLine(const std::string &text)
{
    return OneLine(text) == text;
}

void RequireOfRequest(const std::string &message)
{
    const auto request = ParseRequest(message);
    if (!request)
        return;
    Require(!request->path.IsEmpty(), "a request names a file");
    Require(!request->picture || IsSound(*request->picture), "a wish is within its bounds");
    Require(!request->strip || IsSound(*request->strip), "a place is within its bounds");
    Require(!request->picture || !request->strip, "one thing is asked for");
    const auto again = PackRequest(*request);
    Require(again && ParseRequest(*again) == request, "a request is the same when told again");
}

void RequireOfMeasures(const PictureMeasures &measures)
{
    if (measures.tiles.empty())
        return Require(measures == PictureMeasures(), "without tiles there are no measures");
    Require(measures.columns > 0 && measures.columns <= std::min(k_MostTiles, measures.width) &&
                measures.rows > 0 && measures.rows <= std::min(k_MostTiles, measures.height),
            "tiles are no smaller than pixels, and not many");
    Require(measures.tiles.size() == std::size_t(measures.columns * measures.rows),
            "there are as many tiles as is said");
    Require(measures.peaks.size() <= k_MostPeaks, "there are no more peaks than are kept");
    for (const Peak &peak : measures.peaks)
        Require(peak.x < measures.width && peak.y < measures.height, "a peak is in the picture");
}

void RequireOfReport(const std::string &message)
{
    const auto report = ParseReport(message);
    if (!report)
        return;
    Require(report->width >= 0 && report->height >= 0, "a size is none below zero");
    Require(report->nanPixels <= report->pixels &&
                report->infinitePixels <= report->pixels - report->nanPixels &&
                report->negativePixels <= report->pixels,
            "no more pixels are wrong than there are");
    Require(IsOneLine(report->reason) && IsOneLine(report->channels), "texts are of one line");
    Require(ParseReport(PackReport(*report)) == report, "a report is the same when told again");
    Require(PackReport(*report).size() < 65536, "a report fits into a message");
    RequireOfMeasures(report->measures);
}

void RequireOfPicture(FuzzedDataProvider &input)
{
    PictureReceiver receiver;
    std::size_t sent = 0;
    bool isTaken = true;
    while (isTaken && !receiver.IsWhole() && input.remaining_bytes() > 0)
    {
        std::string message = Message(input);
        // What a picture of one piece begins and ends with.
        if (input.ConsumeBool())
            message = "\xff\xd8\xff" + message + "\xff\xd9";
        sent += message.size();
        isTaken = receiver.Add(message);
    }
    if (!isTaken || !receiver.IsWhole())
        return;
    const Picture picture = receiver.Take();
    Require(IsOneLine(picture.trouble) && IsOneLine(picture.reason), "texts are of one line");
    Require(picture.jpeg.size() <= sent && picture.jpeg.size() <= k_MostPictureBytes,
            "a picture holds no more than was sent");
    Require(picture.jpeg.empty() == (!picture.trouble.empty() || !picture.reason.empty()),
            "there is a picture or a reason");
    Require(picture.jpeg.empty() || picture.jpeg.starts_with("\xff\xd8\xff"), "it looks like one");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    FuzzedDataProvider input(data, size);
    switch (input.ConsumeIntegralInRange(0, 3))
    {
    case 0:
        RequireOfRequest(Message(input));
        break;
    case 1:
        RequireOfReport(Message(input));
        break;
    case 2:
        RequireOfReport(Report(input));
        break;
    default:
        RequireOfPicture(input);
    }
    return 0;
}
