#pragma once

#include <vector>

#include "ostrel/String.h"

namespace wxcorvan
{

/// Starts a program by its argument list, the program first, and does not wait for it. No shell
/// reads the arguments. The program is looked for along PATH; it gets no input and a session of
/// its own, so that it outlives this program and its terminal. Its end is taken note of by the
/// main loop. Throws `ostrel::ProcessException *` that names program and reason when it cannot be
/// started. Main thread.
void StartProgram(const std::vector<ostrel::String> &arguments);

} // namespace wxcorvan
