#pragma once

#include <chrono>

#include "ostrel/String.h"

namespace decode
{

using ostrel::String;

/// What the end of a decoder says of the file that it was at: one of the two is empty.
struct DecoderEnd
{
    String trouble;
    String reason;
};

/// `status` as `waitpid` tells it. A crash is the file's doing. What the limits, and the system
/// where it has no memory left, do to a decoder says nothing of the file.
DecoderEnd JudgeEnd(int status, unsigned memoryMib);

/// "ended by signal 11 (Segmentation fault)"
String DecoderEndText(int status);

/// "took longer than 60 s"
String LateText(std::chrono::seconds time);

inline constexpr const char *k_NoProperAnswer = "its decoder gave no proper answer";

} // namespace decode
