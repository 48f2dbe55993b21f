#pragma once

#include "corvan/MasterAddress.h"

namespace corvan
{

using ostrel::String;

/// Starts `corvan-master` for this user, detached from the calling program, at the default address
/// and with its data in the user's data folder; it ends by itself after 10 idle minutes. Two that
/// start at once are settled by the Master's own lock: the second one ends. One that this program
/// has started and that is still alive is not helped by another: nothing is done then. False, with
/// the reason logged, when the program cannot be started.
bool StartPersonalMaster();

/// What the Master that was started last has written to its standard error: why it ended at once,
/// where it did. Empty where none was started, or where it has said nothing. Any thread.
String PersonalMasterErrors();

} // namespace corvan
