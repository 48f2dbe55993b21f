#include "tests/support/FaultyDisk.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <new>
#include <utility>

struct FaultyDisk::Shared
{
    std::vector<std::unique_ptr<std::vector<char>>> regions;
};

/// An open file, in memory that SQLite gives; it begins with what SQLite knows of it.
struct FaultyDisk::Handle
{
    sqlite3_file base{};
    FaultyDisk *disk = nullptr;
    std::string name{}; ///< Empty for a file that has none.
    std::shared_ptr<DiskFile> file{};
    bool syncsFolder = false; ///< With the first sync.
    int lock = SQLITE_LOCK_NONE;
    sqlite3 *database = nullptr;
    std::shared_ptr<Shared> shared{};
    unsigned sharedLocks = 0; ///< Bit by bit.
    unsigned exclusiveLocks = 0;
};

/// What SQLite calls.
struct FaultyDisk::Vfs
{
    static FaultyDisk &DiskOf(sqlite3_vfs *vfs)
    {
        return *static_cast<FaultyDisk *>(vfs->pAppData);
    }
    static Handle &HandleOf(sqlite3_file *file)
    {
        return *reinterpret_cast<Handle *>(file);
    }

    static int Open(sqlite3_vfs *vfs, const char *name, sqlite3_file *file, int flags,
                    int *outFlags)
    {
        file->pMethods = nullptr;
        FaultyDisk &disk = DiskOf(vfs);
        if (const int error = disk.Begin(Operation::Open))
            return error;
        const auto found = name ? disk.m_seen.find(name) : disk.m_seen.end();
        const bool isNew = found == disk.m_seen.end();
        if (isNew && (flags & SQLITE_OPEN_CREATE) == 0)
            return SQLITE_CANTOPEN;

        auto *handle = new (file) Handle;
        handle->disk = &disk;
        handle->name = name ? name : "";
        handle->file = isNew ? std::make_shared<DiskFile>() : found->second;
        // The system's own does so whether the file was there or not.
        handle->syncsFolder = (flags & SQLITE_OPEN_CREATE) != 0 &&
                              (flags & (SQLITE_OPEN_MAIN_JOURNAL | SQLITE_OPEN_WAL)) != 0;
        if (isNew && name)
            disk.m_seen[name] = handle->file;
        disk.m_handles.push_back(handle);
        handle->base.pMethods = &k_methods;
        if (outFlags)
            *outFlags = flags;
        return SQLITE_OK;
    }

    static int Close(sqlite3_file *file)
    {
        Handle &handle = HandleOf(file);
        std::erase(handle.disk->m_handles, &handle);
        handle.~Handle();
        return SQLITE_OK;
    }

    static int Read(sqlite3_file *file, void *to, int bytes, sqlite3_int64 offset)
    {
        const Handle &handle = HandleOf(file);
        if (const int error = handle.disk->Begin(Operation::Read))
            return error;
        const std::string &content = handle.file->Seen();
        const std::size_t begin = std::min(std::size_t(offset), content.size());
        const std::size_t count = std::min(std::size_t(bytes), content.size() - begin);
        std::memcpy(to, content.data() + begin, count);
        std::memset(static_cast<char *>(to) + count, 0, std::size_t(bytes) - count);
        return count == std::size_t(bytes) ? SQLITE_OK : SQLITE_IOERR_SHORT_READ;
    }

    static int Write(sqlite3_file *file, const void *from, int bytes, sqlite3_int64 offset)
    {
        const Handle &handle = HandleOf(file);
        const bool wasStopped = handle.disk->m_isStopped;
        const int error = handle.disk->Begin(Operation::Write);
        const std::string_view data(static_cast<const char *>(from), std::size_t(bytes));
        if (!wasStopped)
            handle.file->Write(std::size_t(offset), error ? data.substr(0, data.size() / 2) : data);
        return error;
    }

    static int Truncate(sqlite3_file *file, sqlite3_int64 size)
    {
        const Handle &handle = HandleOf(file);
        if (const int error = handle.disk->Begin(Operation::Truncate))
            return error;
        handle.file->Truncate(std::size_t(size));
        return SQLITE_OK;
    }

    static int Sync(sqlite3_file *file, int /*flags*/)
    {
        Handle &handle = HandleOf(file);
        FaultyDisk &disk = *handle.disk;
        const int error = disk.Begin(Operation::Sync);
        if (error && !disk.m_isStopped)
            handle.file->SyncInVain(disk.m_random);
        if (error || !disk.m_syncs)
            return error;
        handle.file->Sync();
        if (std::exchange(handle.syncsFolder, false))
            disk.m_kept = disk.m_seen;
        return SQLITE_OK;
    }

    static int Size(sqlite3_file *file, sqlite3_int64 *size)
    {
        const Handle &handle = HandleOf(file);
        if (const int error = handle.disk->Begin(Operation::Size))
            return error;
        *size = sqlite3_int64(handle.file->Seen().size());
        return SQLITE_OK;
    }

    static int Lock(sqlite3_file *file, int lock)
    {
        Handle &handle = HandleOf(file);
        const int highest = handle.disk->HighestLockOfOthers(handle);
        const bool isHindered = lock == SQLITE_LOCK_SHARED     ? highest >= SQLITE_LOCK_PENDING
                                : lock == SQLITE_LOCK_RESERVED ? highest >= SQLITE_LOCK_RESERVED
                                                               : highest >= SQLITE_LOCK_SHARED;
        if (isHindered)
            return SQLITE_BUSY;
        handle.lock = std::max(handle.lock, lock);
        return SQLITE_OK;
    }

    static int Unlock(sqlite3_file *file, int lock)
    {
        Handle &handle = HandleOf(file);
        handle.lock = std::min(handle.lock, lock);
        return SQLITE_OK;
    }

    static int CheckReservedLock(sqlite3_file *file, int *isReserved)
    {
        const Handle &handle = HandleOf(file);
        *isReserved =
            std::max(handle.lock, handle.disk->HighestLockOfOthers(handle)) >= SQLITE_LOCK_RESERVED;
        return SQLITE_OK;
    }

    static int FileControl(sqlite3_file *file, int what, void *argument)
    {
        Handle &handle = HandleOf(file);
        if (what == SQLITE_FCNTL_PDB)
        {
            handle.database = *static_cast<sqlite3 **>(argument);
            return SQLITE_OK;
        }
        // The store says how it keeps its log when it is opened: here this is told to the library,
        // which asks nobody.
        if (what == SQLITE_FCNTL_PRAGMA && handle.disk->m_checkpointPages > 0 &&
            std::string_view(static_cast<char **>(argument)[1]) == "journal_mode")
            sqlite3_wal_autocheckpoint(handle.database, handle.disk->m_checkpointPages);
        return SQLITE_NOTFOUND;
    }

    // As the system's own.
    static int SectorSize(sqlite3_file * /*file*/)
    {
        return 4096;
    }
    static int DeviceCharacteristics(sqlite3_file * /*file*/)
    {
        return SQLITE_IOCAP_POWERSAFE_OVERWRITE;
    }

    static int ShmMap(sqlite3_file *file, int region, int bytes, int extend, void volatile **memory)
    {
        Handle &handle = HandleOf(file);
        *memory = nullptr;
        if (const int error = handle.disk->Begin(Operation::Map))
            return error;
        std::shared_ptr<Shared> &shared = handle.disk->m_shared[handle.name];
        if (!shared)
            shared = std::make_shared<Shared>();
        handle.shared = shared;
        auto &regions = shared->regions;
        while (extend != 0 && regions.size() <= std::size_t(region))
            regions.push_back(std::make_unique<std::vector<char>>(std::size_t(bytes)));
        if (std::size_t(region) < regions.size())
            *memory = regions[std::size_t(region)]->data();
        return SQLITE_OK;
    }

    static int ShmLock(sqlite3_file *file, int first, int count, int flags)
    {
        Handle &handle = HandleOf(file);
        const unsigned locks = ((1u << unsigned(count)) - 1) << unsigned(first);
        if ((flags & SQLITE_SHM_UNLOCK) != 0)
        {
            handle.sharedLocks &= ~locks;
            handle.exclusiveLocks &= ~locks;
            return SQLITE_OK;
        }
        unsigned shared = 0, exclusive = 0;
        for (const Handle *other : handle.disk->m_handles)
        {
            if (other == &handle || other->file != handle.file)
                continue;
            shared |= other->sharedLocks;
            exclusive |= other->exclusiveLocks;
        }
        const bool wantsShared = (flags & SQLITE_SHM_SHARED) != 0;
        if ((locks & (wantsShared ? exclusive : shared | exclusive)) != 0)
            return SQLITE_BUSY;
        (wantsShared ? handle.sharedLocks : handle.exclusiveLocks) |= locks;
        return SQLITE_OK;
    }

    static void ShmBarrier(sqlite3_file * /*file*/) {}

    static int ShmUnmap(sqlite3_file *file, int isToGo)
    {
        Handle &handle = HandleOf(file);
        handle.shared.reset();
        handle.sharedLocks = handle.exclusiveLocks = 0;
        if (isToGo != 0)
            handle.disk->m_shared.erase(handle.name);
        return SQLITE_OK;
    }

    static int Delete(sqlite3_vfs *vfs, const char *name, int syncsFolder)
    {
        FaultyDisk &disk = DiskOf(vfs);
        if (const int error = disk.Begin(Operation::Delete))
            return error;
        if (disk.m_seen.erase(name) == 0)
            return SQLITE_IOERR_DELETE_NOENT;
        if (syncsFolder != 0 && disk.m_syncs)
            disk.m_kept = disk.m_seen;
        return SQLITE_OK;
    }

    static int Access(sqlite3_vfs *vfs, const char *name, int /*flags*/, int *isThere)
    {
        FaultyDisk &disk = DiskOf(vfs);
        if (const int error = disk.Begin(Operation::Look))
            return error;
        *isThere = disk.m_seen.contains(name) ? 1 : 0;
        return SQLITE_OK;
    }

    static int FullPathname(sqlite3_vfs * /*vfs*/, const char *name, int room, char *path)
    {
        sqlite3_snprintf(room, path, "%s", name);
        return SQLITE_OK;
    }

    static int Randomness(sqlite3_vfs *vfs, int bytes, char *to)
    {
        std::generate_n(to, bytes, [&] { return char(DiskOf(vfs).m_random()); });
        return bytes;
    }

    static int Sleep(sqlite3_vfs * /*vfs*/, int microseconds)
    {
        return microseconds;
    }

    // In milliseconds, from noon of a day long ago on.
    static int CurrentTime(sqlite3_vfs * /*vfs*/, sqlite3_int64 *time)
    {
        *time = 212'000'000'000'000;
        return SQLITE_OK;
    }

    static int GetLastError(sqlite3_vfs * /*vfs*/, int /*room*/, char * /*text*/)
    {
        return 0;
    }

    static const sqlite3_io_methods k_methods;
};

const sqlite3_io_methods FaultyDisk::Vfs::k_methods = {
    .iVersion = 2,
    .xClose = Close,
    .xRead = Read,
    .xWrite = Write,
    .xTruncate = Truncate,
    .xSync = Sync,
    .xFileSize = Size,
    .xLock = Lock,
    .xUnlock = Unlock,
    .xCheckReservedLock = CheckReservedLock,
    .xFileControl = FileControl,
    .xSectorSize = SectorSize,
    .xDeviceCharacteristics = DeviceCharacteristics,
    .xShmMap = ShmMap,
    .xShmLock = ShmLock,
    .xShmBarrier = ShmBarrier,
    .xShmUnmap = ShmUnmap,
    .xFetch = nullptr,
    .xUnfetch = nullptr,
};

FaultyDisk::FaultyDisk(std::uint64_t seed, const Contents &contents)
    : m_random(seed), m_vfs(std::make_unique<sqlite3_vfs>())
{
    static long s_disks = 0;
    m_name = "faulty-disk-" + std::to_string(++s_disks);
    for (const auto &[name, content] : contents)
    {
        m_seen[name] = std::make_shared<DiskFile>();
        m_seen[name]->Fill(content);
    }
    m_kept = m_seen;

    m_vfs->iVersion = 2;
    m_vfs->szOsFile = sizeof(Handle);
    m_vfs->mxPathname = 512;
    m_vfs->zName = m_name.c_str();
    m_vfs->pAppData = this;
    m_vfs->xOpen = Vfs::Open;
    m_vfs->xDelete = Vfs::Delete;
    m_vfs->xAccess = Vfs::Access;
    m_vfs->xFullPathname = Vfs::FullPathname;
    m_vfs->xRandomness = Vfs::Randomness;
    m_vfs->xSleep = Vfs::Sleep;
    m_vfs->xGetLastError = Vfs::GetLastError;
    m_vfs->xCurrentTimeInt64 = Vfs::CurrentTime;
    sqlite3_vfs_register(m_vfs.get(), 0);
}

FaultyDisk::~FaultyDisk()
{
    assert(m_handles.empty());
    sqlite3_vfs_unregister(m_vfs.get());
}

FaultyDisk::Contents FaultyDisk::Seen() const
{
    Contents contents;
    for (const auto &[name, file] : m_seen)
        contents[name] = file->Seen();
    return contents;
}

void FaultyDisk::Fail(long from, long count, Fault fault)
{
    m_failFrom = from;
    m_failCount = count;
    m_fault = fault;
}

void FaultyDisk::Start(Restart restart)
{
    assert(m_handles.empty());
    m_isStopped = false;
    Heal();
    m_shared.clear();
    if (restart == Restart::AfterKill)
        return;

    const bool isMessy = restart == Restart::AfterMessyPowerCut;
    Names names = m_kept;
    for (const auto &[name, file] : m_seen)
        if (isMessy && m_random() % 2 == 0)
            names[name] = file;
    for (const auto &[name, file] : m_kept)
        if (isMessy && !m_seen.contains(name) && m_random() % 2 == 0)
            names.erase(name);
    for (const auto &[name, file] : names)
        file->CutPower(isMessy ? DiskFile::Loss::Some : DiskFile::Loss::All, m_random);
    m_seen = m_kept = names;
}

void FaultyDisk::Heal()
{
    m_stopAt = m_failFrom = k_never;
}

// What SQLite is to be told of an operation; SQLITE_OK where it is to be carried out.
int FaultyDisk::Begin(Operation operation)
{
    if (m_isStopped)
        return ErrorOf(operation);
    if (m_isAside)
        return SQLITE_OK;
    ++m_count;
    if (m_count >= m_stopAt)
    {
        m_isStopped = true;
        return ErrorOf(operation);
    }
    if (m_count < m_failFrom || m_count - m_failFrom >= m_failCount)
        return SQLITE_OK;
    if (m_fault == Fault::Error)
        return ErrorOf(operation);
    if (operation == Operation::Write)
        return SQLITE_FULL;
    return operation == Operation::Map ? SQLITE_IOERR_SHMSIZE : SQLITE_OK;
}

int FaultyDisk::ErrorOf(Operation operation)
{
    switch (operation)
    {
    case Operation::Open:
        return SQLITE_CANTOPEN;
    case Operation::Read:
        return SQLITE_IOERR_READ;
    case Operation::Write:
        return SQLITE_IOERR_WRITE;
    case Operation::Truncate:
        return SQLITE_IOERR_TRUNCATE;
    case Operation::Sync:
        return SQLITE_IOERR_FSYNC;
    case Operation::Size:
        return SQLITE_IOERR_FSTAT;
    case Operation::Delete:
        return SQLITE_IOERR_DELETE;
    case Operation::Look:
        return SQLITE_IOERR_ACCESS;
    case Operation::Map:
        return SQLITE_IOERR_SHMMAP;
    }
    return SQLITE_IOERR;
}

int FaultyDisk::HighestLockOfOthers(const Handle &handle) const
{
    int highest = SQLITE_LOCK_NONE;
    for (const Handle *other : m_handles)
        if (other != &handle && other->file == handle.file)
            highest = std::max(highest, other->lock);
    return highest;
}
