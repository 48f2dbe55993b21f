#pragma once

#include "ostrel/Path.h"

namespace ostrel
{

/// Moves one file or symbolic link, never a folder, to the user's trash as the freedesktop.org
/// rules have it: $XDG_DATA_HOME/Trash, with a note of where it came from.
///
/// False, and the file stays, where that is another file system or the trash cannot be written;
/// the trash folders of other file systems are not used.
bool MoveToTrash(const Path &path);

} // namespace ostrel
