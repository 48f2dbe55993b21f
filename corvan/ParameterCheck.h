#pragma once

#include "corvan/Parameters.h"

namespace corvan
{

/// Why no job takes this value for this parameter, as a sentence that names the parameter; empty
/// when it is fine. What depends on the job's type is checked by `Job::CheckParameter`.
///
/// Refused are: a name that is empty, longer than 256 bytes, no UTF-8 or holds control characters;
/// a value over 4 MiB, no UTF-8 or with a NUL; "Type"; a "Status" that is no status; a "PacketSize"
/// that is not a whole number from 1 to 2147483647 (empty is fine: the default); a "Priority" that
/// is not a whole number from 0 to 100; a "Range", "CustomRange" or "UserRange" that does not
/// parse; an "ImageFormat" over 64 KiB; a "Name" with control characters; a "RequeueOf" that is no
/// identifier; an "After" or "AfterGood" that holds something else than identifiers, or too many; a
/// "FrameOrder" that is none; a limit of `RunLimits` that is none; what `FrameChecking` is not.
String CheckParameterText(const String &name, const String &value);

} // namespace corvan
