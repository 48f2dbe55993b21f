#pragma once

#include "ostrel/CommandLine.h"

namespace master
{

/// What `corvan-master store` does with the job store of the data folder, and ends:
///
///     store check            tells all that is wrong with it
///     store backup FILE      copies it, also while a Master works with it
///     store restore FILE     puts such a copy in its place, while none does
constexpr const char *k_StoreCommand = "store";

/// Does what the plain arguments say, the first of which is `k_StoreCommand`, and tells of it on
/// standard output. False where the store is damaged. Throws `UsageException *` for arguments that
/// make no sense, other `ostrel::Exception *` where it cannot be done.
bool RunStoreCommand(const ostrel::CommandLine &commandLine);

} // namespace master
