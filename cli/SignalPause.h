#pragma once

#include <chrono>

#include "cli/ExitStatus.h"

namespace cli
{

/// Waits for some time, or until the user (Ctrl+C) or the system asks the program to end; true when
/// it was asked. Between the waits such a signal ends the program as ever, or with the status of
/// `EndWith`. Main thread.
bool PauseUnlessEnded(std::chrono::milliseconds time);

/// From here on such a signal ends the program at once and with this status, also outside of a
/// pause. Nothing of it is cleaned up but what the system does: for who has written all there is.
void EndWith(ExitStatus status);

} // namespace cli
