#pragma once

namespace wxcorvan
{

/// Cancels the innermost modal dialog, as Escape does: one that the desktop draws, which the
/// toolkit's list of windows does not hold, or one of the program's own (result 0). True where
/// there was one: it is gone only when the loop that runs it has returned, and only then may the
/// next one be cancelled. Main thread.
bool CancelModalDialog();

} // namespace wxcorvan
