#pragma once

#include <string_view>
#include <sys/types.h>

#include "ostrel/Path.h"

namespace master
{

using ostrel::Path;

/// Writes a file anew: beside its place, synced, and renamed, so that a reader, or a crash, sees
/// the old content or the new. It gets this mode, and where root writes it, the owner of its
/// folder: whom the Master runs as reads what an administrator made. Throws `ostrel::Exception *`.
void WriteFileFor(const Path &file, std::string_view content, mode_t mode);

/// Throws `ostrel::Exception *` where others than its owner may read or write a file that is there:
/// "cannot use WHAT FILE: it is open to others than its owner (chmod 600)".
void RequirePrivate(const Path &file, const char *what);

} // namespace master
