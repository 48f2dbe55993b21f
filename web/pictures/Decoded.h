#pragma once

#include <string>

#include "decode/ImageReport.h"

namespace web
{

/// What reading one frame has shown, as JSON:
///
///     {"width": 1920, "height": 1080, "channels": ["R", "G", "B"], "format": "openexr",
///      "detail": "", "trouble": ""}
///
/// "detail" is what is wrong with the image by itself, "trouble" why it could not be looked at.
/// Numbers that are not known are null. Without a line end.
std::string DecodedJson(const decode::ImageReport &report);

} // namespace web
