#pragma once

namespace decode
{

/// Whether the program asked for memory and did not get it, since this was last forgotten. Takes
/// the place of the C library's allocation functions in the program that links it, libraries
/// included; not in a build with sanitizers, which have theirs there. Any thread.
bool IsMemoryRefused();
void ForgetRefusedMemory();

/// From now on a crash ends the process with `k_OutOfMemory` where memory was refused before it:
/// libraries use what they did not get. Once, at the start.
void TellCrashesForLackOfMemory();

} // namespace decode
