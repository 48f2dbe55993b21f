#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "decode/PictureWish.h"
#include "decode/StripWish.h"

namespace decode
{

/// What reading a file is to show.
enum class ReportDepth
{
    Whole,    ///< That all of it can be read, and what values it holds.
    Measured, ///< And what the picture looks like: `ImageReport::measures`.
};

/// What a decoder is asked: for a report on a file, or for a picture or a strip of it, not both.
struct DecodeRequest
{
    Path path;
    std::optional<PictureWish> picture{};
    /// Whether the report measures the picture, too.
    ReportDepth depth = ReportDepth::Whole;
    std::optional<StripWish> strip{};

    bool operator==(const DecodeRequest &) const = default;
};

/// The request as one message between processes. Nothing where no message can say it: an empty
/// path, one that holds a zero byte or is longer than any path may be, a wish out of its bounds.
std::optional<std::string> PackRequest(const DecodeRequest &request);

/// Reads such a message; nothing when it is no request.
std::optional<DecodeRequest> ParseRequest(std::string_view message);

} // namespace decode
