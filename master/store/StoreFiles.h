#pragma once

#include <optional>
#include <vector>

#include "master/store/StoreException.h"
#include "ostrel/Path.h"

namespace SQLite
{
class Database;
class Exception;
} // namespace SQLite

namespace master
{

using ostrel::Path;
using ostrel::String;

/// The job store as a file: whether it is whole, and its copies. None of it needs a Master, and
/// only `RestoreStore` minds one that runs. All throw `StoreException *` with the reason.

/// The job store of a data folder.
Path StoreFileIn(const Path &data);

/// What SQLite finds wrong with a store that is open, 10 lines at most: every page is read, but the
/// indexes are not compared with what they index. Empty for one that is whole. Throws where the
/// disk does not give a page: nobody knows then whether it is.
String FindDamage(SQLite::Database &database);
/// True where the database could not go on because its file is damaged, or is none of its own.
bool IsDamage(const SQLite::Exception &error);
/// "it is damaged: ..." and how to go on, for whoever starts a Master on it.
String DamageText(const Path &file, const String &damage);

/// All that is wrong with a store, a line each: its pages, indexes and references. None for one
/// that is whole.
std::vector<String> CheckStore(const Path &file);

/// Copies a store as it is at one moment, while a Master may work with it. The copy is whole, on
/// disk and open to this user alone once this returns; before, nothing of its name is there. A file
/// that is there already is not touched.
void BackUpStore(const Path &file, const Path &copy);

/// Puts a copy, which stays as it is, in the place of a store; the store that was there is kept
/// beside it. Only a copy that is whole and no newer than this program is taken. Gives the name of
/// the store that was kept; nothing where there was none.
///
/// No Master must run on the store: the caller holds its lock. Where this is cut short, the store
/// is the old one, or `IsRestoreCutShort` tells.
std::optional<Path> RestoreStore(const Path &copy, const Path &file);

/// True where a restore has put the old store aside and not come to the new one.
bool IsRestoreCutShort(const Path &file);

} // namespace master
