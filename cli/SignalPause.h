#pragma once

#include <chrono>

namespace cli
{

/// Waits for some time, or until the user (Ctrl+C) or the system asks the program to end; true when
/// it was asked. Between the waits such a signal ends the program as ever. Main thread.
bool PauseUnlessEnded(std::chrono::milliseconds time);

} // namespace cli
