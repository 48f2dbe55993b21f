#pragma once

#include "ostrel/Path.h"

namespace ostrel
{

/// Where things belong on this machine, by the XDG base folders. Nothing is made, only named.

/// $XDG_CONFIG_HOME, else ~/.config.
Path ConfigFolder();

/// $XDG_STATE_HOME, else ~/.local/state: logs.
Path StateFolder();

/// $XDG_DATA_HOME, else ~/.local/share: the personal Master's store.
Path DataFolder();

/// $XDG_RUNTIME_DIR, else a folder of this user's own under the temporary folder: sockets, locks.
Path RuntimeFolder();

/// The folder of the running program's file.
Path ProgramFolder();

/// What ships with the programs (job types, colours, icons): $ORDWICK_SHARE, else
/// ../share/ordwick beside the program's own folder.
Path ShareFolder();

} // namespace ostrel
