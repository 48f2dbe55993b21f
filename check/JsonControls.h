#pragma once

#include <string>

namespace check
{

/// JSON text with the controls that its strings may hold as they are (DEL and U+0080 to U+009F)
/// written as "\u009b": the same JSON, and nothing that a terminal acts on. The text is UTF-8.
std::string WithoutControls(std::string json);

} // namespace check
