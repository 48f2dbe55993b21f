#include "master/store/StoreFiles.h"

#include <SQLiteCpp/Backup.h>
#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Exception.h>
#include <SQLiteCpp/Statement.h>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <unistd.h>

#include <sqlite3.h>

#include "master/store/StoreSchema.h"
#include "ostrel/Descriptor.h"
#include "ostrel/Time.h"

namespace master
{

namespace
{

constexpr int k_busy_ms = 5000;

// What SQLite keeps beside a database.
const char *const k_log = "-wal";
const char *const k_shared = "-shm";

bool IsThere(const Path &file)
{
    return ::access(file.Text().c_str(), F_OK) == 0;
}

[[noreturn]] void Refuse(const String &what)
{
    throw new StoreException(what);
}

[[noreturn]] void RefuseBySystem(const String &what)
{
    Refuse(what + ": " + std::strerror(errno));
}

// Runs `work` and turns what the library throws into the farm's exception.
template <typename Work> auto Guarded(const String &what, Work work)
{
    try
    {
        return work();
    }
    catch (const SQLite::Exception &error)
    {
        throw new StoreException(what + ": " + error.what());
    }
}

void NeedFile(const Path &file)
{
    if (!IsThere(file))
        RefuseBySystem("cannot read " + file.Text());
}

Path Beside(const Path &file, const String &ending)
{
    return Path(String(file.Text() + ending));
}

void Rename(const Path &from, const Path &to)
{
    if (std::rename(from.Text().c_str(), to.Text().c_str()) != 0)
        RefuseBySystem("cannot rename " + from.Text() + " to " + to.Text());
}

void Remove(const Path &file)
{
    if (::unlink(file.Text().c_str()) != 0 && errno != ENOENT)
        RefuseBySystem("cannot remove " + file.Text());
}

// A new name is on disk once its folder is.
void Sync(const Path &fileOrFolder)
{
    const ostrel::Descriptor open(::open(fileOrFolder.Text().c_str(), O_RDONLY | O_CLOEXEC));
    if (open.Number() < 0 || ::fsync(open.Number()) != 0)
        RefuseBySystem("cannot sync " + fileOrFolder.Text());
}

Path FolderOf(const Path &file)
{
    return file.Parent().IsEmpty() ? Path(".") : file.Parent();
}

// SQLite's checks tell of a page that could not be read as of one that is wrong: "Page 7: unable to
// get the page. error code=266".
bool TellsOfDisk(const String &trouble)
{
    constexpr std::string_view k_mark = "error code=";
    for (std::size_t at = 0; (at = trouble.find(k_mark, at)) != String::npos;)
    {
        at += k_mark.size();
        // Further bits say more of the same error.
        if ((std::strtol(trouble.c_str() + at, nullptr, 10) & 0xff) == SQLITE_IOERR)
            return true;
    }
    return false;
}

// The rows of a check that are not "ok". What the disk does not give is not known to be damaged:
// then it throws.
void AddTroubles(SQLite::Database &database, const char *check, std::vector<String> &troubles)
{
    SQLite::Statement rows(database, check);
    while (rows.executeStep())
    {
        String row = rows.getColumn(0).getString();
        if (TellsOfDisk(row))
            Refuse("the disk cannot be read: " + row);
        if (row != "ok")
            troubles.push_back(std::move(row));
    }
}

void AddLostReferences(SQLite::Database &database, std::vector<String> &troubles)
{
    SQLite::Statement rows(database, "PRAGMA foreign_key_check");
    while (rows.executeStep())
        troubles.push_back("a row of " + rows.getColumn(0).getString() + " belongs to no row of " +
                           rows.getColumn(2).getString());
}

// Makes an empty file that nobody else can open.
void MakePrivate(const Path &file)
{
    Remove(file);
    const ostrel::Descriptor made(
        ::open(file.Text().c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (made.Number() < 0)
        RefuseBySystem("cannot make " + file.Text());
}

// A file that goes again unless it was kept.
class Unfinished
{
public:
    explicit Unfinished(Path file) : m_file(std::move(file)) {}
    ~Unfinished()
    {
        if (!m_isKept)
            ::unlink(m_file.Text().c_str());
    }
    Unfinished(const Unfinished &) = delete;
    Unfinished &operator=(const Unfinished &) = delete;

    void Keep()
    {
        m_isKept = true;
    }

private:
    Path m_file;
    bool m_isKept = false;
};

// A whole copy in one file, on disk.
void Copy(const Path &from, const Path &to)
{
    MakePrivate(to);
    Unfinished unfinished(to);
    SQLite::Database source(from.Text(), SQLite::OPEN_READONLY, k_busy_ms);
    SQLite::Database target(to.Text(), SQLite::OPEN_READWRITE, k_busy_ms);
    target.exec("PRAGMA synchronous = FULL");
    SQLite::Backup backup(target, source);
    // In one step, and so of one moment: it would begin anew whenever a Master wrote between two.
    if (backup.executeStep(-1) != SQLITE_DONE)
        Refuse(from.Text() + " is locked by another program");
    target.exec("PRAGMA journal_mode = DELETE");
    if (const String damage = FindDamage(target); !damage.empty())
        Refuse(from.Text() + " is damaged: " + damage);
    Sync(to);
    unfinished.Keep();
}

void NeedStore(const Path &copy)
{
    NeedFile(copy);
    SQLite::Database database(copy.Text(), SQLite::OPEN_READONLY, k_busy_ms);
    const int version = database.execAndGet("PRAGMA user_version").getInt();
    if (version > int(StoreMigrations().size()))
        Refuse(copy.Text() + " is of version " + std::to_string(version) +
               " of a newer corvan-master");
    if (version < 1 || !database.tableExists("jobs") || !database.tableExists("master"))
        Refuse(copy.Text() + " is no job store");
}

Path IncomingOf(const Path &file)
{
    return Beside(file, ".restoring");
}

// A name for the old store that nothing has yet.
Path KeptNameOf(const Path &file)
{
    const String name =
        file.Text() + ".before-" + ostrel::Time::Now().Format("%Y%m%d-%H%M%S", true, false);
    Path kept = name;
    for (int number = 2; IsThere(kept); ++number)
        kept = String(name + "." + std::to_string(number));
    return kept;
}

} // namespace

Path StoreFileIn(const Path &data)
{
    return data / "jobs.db";
}

String FindDamage(SQLite::Database &database)
{
    std::vector<String> troubles;
    AddTroubles(database, "PRAGMA quick_check(10)", troubles);
    String damage;
    for (const String &trouble : troubles)
        damage += (damage.empty() ? "" : "; ") + trouble;
    return damage;
}

bool IsDamage(const SQLite::Exception &error)
{
    return error.getErrorCode() == SQLITE_CORRUPT || error.getErrorCode() == SQLITE_NOTADB;
}

String DamageText(const Path &file, const String &damage)
{
    const String data = " --data " + FolderOf(file).Text();
    return "it is damaged, and nothing is served from it: " + damage +
           ". To go on, put a backup in its place: corvan-master store restore BACKUP" + data +
           " (this one is kept beside it). All that is wrong tells: corvan-master store check" +
           data;
}

std::vector<String> CheckStore(const Path &file)
{
    NeedFile(file);
    std::vector<String> troubles;
    try
    {
        SQLite::Database database(file.Text(), SQLite::OPEN_READONLY, k_busy_ms);
        AddTroubles(database, "PRAGMA integrity_check", troubles);
        AddLostReferences(database, troubles);
    }
    catch (const SQLite::Exception &error)
    {
        if (!IsDamage(error))
            throw new StoreException("cannot check " + file.Text() + ": " + error.what());
        troubles.emplace_back(error.what());
    }
    return troubles;
}

void BackUpStore(const Path &file, const Path &copy)
{
    NeedFile(file);
    if (IsThere(copy))
        Refuse(copy.Text() + " is there already");
    const Path part = Beside(copy, ".part");
    Guarded("cannot back up " + file.Text(), [&] { Copy(file, part); });
    Rename(part, copy);
    Sync(FolderOf(copy));
}

std::optional<Path> RestoreStore(const Path &copy, const Path &file)
{
    const Path incoming = IncomingOf(file);
    Guarded("cannot restore " + copy.Text(),
            [&]
            {
                NeedStore(copy);
                Copy(copy, incoming);
            });

    // The log goes last: a store without it is an older one, and a log without its store is none.
    const Path kept = KeptNameOf(file);
    const bool wasThere = IsThere(file);
    if (wasThere)
        Rename(file, kept);
    if (IsThere(Beside(file, k_log)))
        Rename(Beside(file, k_log), Beside(kept, k_log));
    Remove(Beside(file, k_shared));
    Sync(FolderOf(file));
    Rename(incoming, file);
    Sync(FolderOf(file));
    return wasThere ? std::optional(kept) : std::nullopt;
}

bool IsRestoreCutShort(const Path &file)
{
    return !IsThere(file) && IsThere(IncomingOf(file));
}

} // namespace master
