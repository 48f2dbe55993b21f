#pragma once

#include <functional>

#include "ostrel/String.h"

namespace wxcorvan
{

/// Takes each failed assertion of the toolkit, as one text with place, condition and function.
using AssertHandler = std::function<void(const ostrel::String &)>;

/// Who is told of failed assertions from now on; an empty function gives them back to the log, as
/// error lines. The user never sees them. Main thread.
void wxcSetAssertHandler(AssertHandler handler);

/// Tells the handler.
void wxcReportAssert(const ostrel::String &text);

} // namespace wxcorvan
