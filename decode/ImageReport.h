#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "decode/PictureMeasures.h"
#include "ostrel/String.h"

namespace decode
{

using ostrel::String;

/// What reading one image file whole has shown. Texts are one line each.
struct ImageReport
{
    /// Why it could not be looked at, by no fault of the file's own: the disk, the memory or the
    /// time that it may take. Empty when it was. Nothing else is known then.
    String trouble;

    /// Why it cannot be read to its end; empty when it was read. What follows then tells of no more
    /// than was seen before.
    String reason;

    String format;       ///< By its content, as the library names it: "openexr", "png", ...
    String formatByName; ///< By its extension; empty when no format has that extension.
    int width = 0;       ///< Of the display window of the first part, in pixels.
    int height = 0;
    String channels; ///< "R,G,B,A"; further parts of the file follow after " + ".

    std::uint64_t pixels = 0;         ///< That were looked at, all parts together.
    std::uint64_t nanPixels = 0;      ///< With a value that is not a number.
    std::uint64_t infinitePixels = 0; ///< Of the others, with an infinite value.
    String wildChannels;              ///< The channels that hold such values: "R,Z".
    std::uint64_t negativePixels = 0; ///< With a negative value of a colour.
    String colour; ///< The one colour of all pixels of the first part: "0, 0, 0, 1"; empty when
                   ///< any part has two.
    PictureMeasures measures; ///< Of the first part; no tiles where it was not measured.

    bool operator==(const ImageReport &) const = default;
};

/// The report as one message between processes.
String PackReport(const ImageReport &report);

/// Reads such a message; nothing when it is no report. What comes back holds no control characters,
/// whatever was sent.
std::optional<ImageReport> ParseReport(std::string_view message);

/// The text in one line: each run of control characters is one blank, none at its ends; cut after
/// some hundred bytes.
String OneLine(std::string_view text);

} // namespace decode
