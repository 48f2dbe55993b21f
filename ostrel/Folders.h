#pragma once

#include "ostrel/Path.h"

namespace ostrel
{

/// Where things belong on this machine, by the XDG base folders. Nothing is made, only named, but
/// by `MakePrivateFolder`.

/// $XDG_CONFIG_HOME, else ~/.config.
Path ConfigFolder();

/// $XDG_STATE_HOME, else ~/.local/state: logs.
Path StateFolder();

/// $XDG_CACHE_HOME, else ~/.cache: what can be made again.
Path CacheFolder();

/// $XDG_DATA_HOME, else ~/.local/share: the personal Master's store.
Path DataFolder();

/// $XDG_RUNTIME_DIR, else a folder of this user's own under the temporary folder: sockets, locks.
/// The latter may be missing, or somebody else's trap: who puts something there calls
/// `MakePrivateFolder` first.
Path RuntimeFolder();

/// The folder of the running program's file.
Path ProgramFolder();

/// What ships with the programs (job types, colours, icons): $ORDWICK_SHARE, else
/// ../share/ordwick beside the program's own folder.
Path ShareFolder();

/// Makes `folder` (and its parents), open to this user alone, or sees that it already is so. What
/// it makes is on disk when it returns, as far as the disk keeps folders. Throws `Exception *` with
/// the reason where it is not: another owner, a symbolic link, or permissions for others.
void MakePrivateFolder(const Path &folder);

} // namespace ostrel
