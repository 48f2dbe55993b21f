#pragma once

#include <span>

#include "ostrel/String.h"

namespace SQLite
{
class Database;
}

namespace master
{

/// The steps from an empty file to the job store of this version, oldest first. A released step is
/// never changed; a new version adds one.
std::span<const char *const> StoreMigrations();

/// Brings a database up to date: runs the steps that it lacks, each with its version number in one
/// transaction. Throws `ostrel::Exception *` for a file that a newer version wrote, and
/// `SQLite::Exception` where the database refuses.
void MigrateStore(SQLite::Database &database, std::span<const char *const> migrations);

} // namespace master
