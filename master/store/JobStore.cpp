#include "master/store/JobStore.h"

#include <cassert>

#include "corvan/JobFactory.h"
#include "corvan/JobType.h"
#include "corvan/Parameters.h"
#include "master/store/StoreDatabase.h"
#include "master/store/StoreFiles.h"
#include "master/store/StoreSchema.h"
#include "ostrel/CallEntry.h"
#include "ostrel/Log.h"

namespace master
{

using corvan::JobFactory;
using ostrel::_CallEntry;

namespace
{

constexpr const char *k_state_columns =
    "id, number, created, status, priority, tasks_total, tasks_done, tasks_failed, next_task,"
    " log_base, waiting, first_failures, submitted, frame_times";

JobState ReadState(SQLite::Statement &row)
{
    JobState state;
    state.id = UID(row.getColumn(0).getString(), false);
    state.number = row.getColumn(1).getInt64();
    state.created = ostrel::Time(row.getColumn(2).getInt64());
    state.status = JobStatus(row.getColumn(3).getInt());
    state.priority = row.getColumn(4).getInt();
    state.tasksTotal = row.getColumn(5).getUInt();
    state.tasksDone = row.getColumn(6).getUInt();
    state.tasksFailed = row.getColumn(7).getUInt();
    state.nextTask = row.getColumn(8).getUInt();
    state.logBase = row.getColumn(9).getInt64();
    state.waiting = row.getColumn(10).getString();
    state.firstFailures = row.getColumn(11).getInt();
    state.submitted = row.getColumn(12).getString();
    state.frameTimes = row.getColumn(13).getString();
    return state;
}

bool IsStateParameter(const String &name)
{
    return name == corvan::p_Status || name == corvan::p_Priority || name == corvan::p_Created ||
           name == corvan::p_TasksTotal || name == corvan::p_TasksDone ||
           name == corvan::p_TasksFailed || name == corvan::p_Type || name == corvan::p_Waiting ||
           corvan::IsForesight(name) || name == corvan::p_FramesChecked ||
           name == corvan::p_FramesBad || name == corvan::p_FramesBadRange ||
           name == corvan::p_FrameCounts;
}

// What a Master that was killed has written and not synced is read like all else, and a power cut
// would still take it away: clients must not be told of it before it is on disk. In the database it
// is, too, where a sync of the log that failed has lost what was to be synced. A disk without room
// for that still syncs.
void KeepWhatIsSeen(SQLite::Database &connection)
{
    if (connection.tryExec("PRAGMA wal_checkpoint") == SQLITE_OK)
        return;
    sqlite3_file *log = nullptr;
    sqlite3_file_control(connection.getHandle(), "main", SQLITE_FCNTL_JOURNAL_POINTER, &log);
    if (log && log->pMethods && log->pMethods->xSync(log, SQLITE_SYNC_NORMAL) != SQLITE_OK)
        throw new StoreException("its log cannot be synced");
}

} // namespace

std::int64_t LogNumber(const JobState &state, const TaskState &task)
{
    return task.log < 0 ? state.logBase + task.index : task.log;
}

JobStore::JobStore(const Path &file, const char *vfs)
{
    _CallEntry call("JobStore::JobStore", __FILE__, __LINE__);

    Open(file, vfs, std::nullopt);
}

JobStore::JobStore(const Path &file, std::chrono::milliseconds patience) : m_note(file)
{
    _CallEntry call("JobStore::JobStore", __FILE__, __LINE__);

    Open(file, nullptr, patience);
}

JobStore::~JobStore()
{
    _CallEntry call("JobStore::~JobStore", __FILE__, __LINE__);

    m_check.reset();
    m_tasks.reset();
    m_database.reset();
    if (m_note)
        m_note->Remove();
}

void JobStore::Open(const Path &file, const char *vfs, const Patience &patience)
{
    _CallEntry call("JobStore::Open", __FILE__, __LINE__);

    try
    {
        if (IsRestoreCutShort(file))
            throw new StoreException("a restore was cut short; run it again: corvan-master store "
                                     "restore BACKUP --data " +
                                     file.Parent().Text());
        m_database = std::make_unique<StoreDatabase>(file, vfs);
        SQLite::Database &connection = m_database->Connection();
        // Before anything is written.
        LookThrough(patience);
        if (m_note)
            m_note->WriteOpen();
        connection.exec("PRAGMA journal_mode = WAL");
        connection.exec("PRAGMA synchronous = FULL");
        connection.exec("PRAGMA foreign_keys = ON");
        KeepWhatIsSeen(connection);
        MigrateStore(connection, StoreMigrations());

        if (connection.execAndGet("SELECT count(*) FROM master").getInt() == 0)
            connection.exec("INSERT INTO master VALUES('" + UID(true).ToString() + "')");
        m_masterID = UID(connection.execAndGet("SELECT id FROM master").getString(), true);
        m_tasks = std::make_unique<TaskStore>(*m_database);
        m_places = std::make_unique<PlaceStore>(*m_database);
        m_queue = std::make_unique<QueueStore>(*m_database);
        m_waits = std::make_unique<WaitStore>(*m_database);
        m_notices = std::make_unique<NoticeStore>(*m_database);
        m_frames = std::make_unique<FrameStore>(*m_database);
        m_audit = std::make_unique<AuditStore>(*m_database);
    }
    catch (const SQLite::Exception &error)
    {
        const String why = IsDamage(error) ? DamageText(file, error.what()) : String(error.what());
        throw new StoreException("cannot open job store " + file.Text() + ": " + why);
    }
    catch (ostrel::Exception *raw)
    {
        const std::unique_ptr<ostrel::Exception> error(raw);
        throw new StoreException("cannot open job store " + file.Text() + ": " + error->Text());
    }
}

// Without a patience to the end.
void JobStore::LookThrough(const Patience &patience)
{
    _CallEntry call("JobStore::LookThrough", __FILE__, __LINE__);

    const Path &file = m_database->File();
    if (!patience || !MayBeServedMeanwhile())
    {
        if (const String damage = FindDamage(m_database->Connection()); !damage.empty())
            throw new StoreException(DamageText(file, damage));
        return;
    }
    auto check = std::make_unique<StoreCheck>(file);
    const std::optional<StoreCheck::Finding> finding = check->Wait(*patience);
    if (!finding)
        m_check = std::move(check);
    else if (!finding->trouble.empty())
        throw new StoreException(finding->trouble);
    else if (!finding->damage.empty())
        throw new StoreException(DamageText(file, finding->damage));
}

// Nothing speaks for damage, another connection holds up nobody, and nothing is written anew.
bool JobStore::MayBeServedMeanwhile()
{
    _CallEntry call("JobStore::MayBeServedMeanwhile", __FILE__, __LINE__);

    SQLite::Database &connection = m_database->Connection();
    return !m_note->IsCheckDue() &&
           connection.execAndGet("PRAGMA journal_mode").getString() == "wal" &&
           connection.execAndGet("PRAGMA user_version").getInt() == int(StoreMigrations().size());
}

String JobStore::NoteDamage(const String &damage)
{
    _CallEntry call("JobStore::NoteDamage", __FILE__, __LINE__);

    if (m_note)
        m_note->WriteDamaged();
    return "job store " + m_database->File().Text() + ": " + DamageText(m_database->File(), damage);
}

JobStore::Turn::Turn(JobStore &store)
    : m_store(store), m_changesBefore(store.m_database->Connection().getTotalChanges())
{
    _CallEntry call("JobStore::Turn::Turn", __FILE__, __LINE__);

    assert(m_store.m_thread.IsCurrent());
    m_store.m_database->Guarded([&] { m_store.m_database->Prepared("BEGIN")->exec(); });
}

JobStore::Turn::~Turn()
{
    _CallEntry call("JobStore::Turn::~Turn", __FILE__, __LINE__);

    if (!m_open)
        return;
    if (m_store.InTurn())
        m_store.m_database->TryExec("ROLLBACK");
    ++m_store.m_commits.failed;
    m_store.m_commits.isLastDone = false;
}

void JobStore::Turn::Commit()
{
    _CallEntry call("JobStore::Turn::Commit", __FILE__, __LINE__);

    m_store.m_database->Guarded([&] { m_store.m_database->Prepared("COMMIT")->exec(); });
    m_open = false;
    // Else nothing had to get to disk.
    if (m_store.m_database->Connection().getTotalChanges() == m_changesBefore)
        return;
    ++m_store.m_commits.done;
    m_store.m_commits.isLastDone = true;
    m_store.m_commits.last = std::chrono::steady_clock::now();
}

void JobStore::Probe()
{
    _CallEntry call("JobStore::Probe", __FILE__, __LINE__);

    Turn turn(*this);
    m_database->Guarded([&] { m_database->Prepared("UPDATE master SET id = id")->exec(); });
    turn.Commit();
}

JobStore::Step::Step(JobStore &store) : m_store(store)
{
    _CallEntry call("JobStore::Step::Step", __FILE__, __LINE__);

    m_store.m_database->Guarded([&] { m_store.m_database->Prepared("SAVEPOINT step")->exec(); });
}

JobStore::Step::~Step()
{
    _CallEntry call("JobStore::Step::~Step", __FILE__, __LINE__);

    if (!m_open || !m_store.InTurn())
        return;
    m_store.m_database->TryExec("ROLLBACK TO step");
    m_store.m_database->TryExec("RELEASE step");
}

void JobStore::Step::Keep()
{
    _CallEntry call("JobStore::Step::Keep", __FILE__, __LINE__);

    m_store.m_database->Guarded([&] { m_store.m_database->Prepared("RELEASE step")->exec(); });
    m_open = false;
}

bool JobStore::InTurn() const
{
    _CallEntry call("JobStore::InTurn", __FILE__, __LINE__);

    return m_database->InTransaction();
}

void JobStore::Add(const Job &job, JobState &state)
{
    _CallEntry call("JobStore::Add", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    m_database->Guarded(
        [&]
        {
            const Query insert = m_database->Prepared(
                "INSERT INTO jobs(id, type, created, status, priority, tasks_total, tasks_done,"
                " tasks_failed, next_task, submitted, owner) VALUES(?,?,?,?,?,?,?,?,?,?,?)");
            insert->bind(1, state.id.ToString());
            insert->bind(2, job.Type().id.ToString());
            insert->bind(3, state.created.First());
            insert->bind(4, int(state.status));
            insert->bind(5, state.priority);
            insert->bind(6, state.tasksTotal);
            insert->bind(7, state.tasksDone);
            insert->bind(8, state.tasksFailed);
            insert->bind(9, state.nextTask);
            insert->bind(10, state.submitted);
            insert->bind(11, job.ParameterText(corvan::p_Owner, false));
            insert->exec();
            state.number = m_database->Connection().getLastInsertRowid();
        });
    SaveParameters(job, state);
}

std::optional<JobState> JobStore::FindState(const UID &job)
{
    _CallEntry call("JobStore::FindState", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    return m_database->Guarded(
        [&]() -> std::optional<JobState>
        {
            static const std::string sql =
                std::string("SELECT ") + k_state_columns + " FROM jobs WHERE id = ?";
            const Query select = m_database->Prepared(sql.c_str());
            select->bind(1, job.ToString());
            if (!select->executeStep())
                return std::nullopt;
            return ReadState(*select);
        });
}

void JobStore::SaveState(const JobState &state, const ostrel::Time &now)
{
    _CallEntry call("JobStore::SaveState", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    if (corvan::IsOver(state.status))
        m_tasks->Pack(state);
    m_database->Guarded(
        [&]
        {
            const Query update = m_database->Prepared(
                "UPDATE jobs SET status = ?, priority = ?, tasks_total = ?, tasks_done = ?,"
                " tasks_failed = ?, next_task = ?, log_base = ?, waiting = ?, first_failures = ?,"
                " frame_times = ?,"
                " finished = CASE WHEN ?1 NOT IN (2, 3, 5) THEN 0"
                " WHEN finished = 0 THEN ? ELSE finished END"
                " WHERE number = ?");
            update->bind(1, int(state.status));
            update->bind(2, state.priority);
            update->bind(3, state.tasksTotal);
            update->bind(4, state.tasksDone);
            update->bind(5, state.tasksFailed);
            update->bind(6, state.nextTask);
            update->bind(7, state.logBase);
            update->bind(8, state.waiting);
            update->bind(9, state.firstFailures);
            update->bind(10, state.frameTimes);
            update->bind(11, now.First());
            update->bind(12, state.number);
            update->exec();
        });
}

boost::shared_ptr<Job> JobStore::Load(const UID &id, String *reason)
{
    _CallEntry call("JobStore::Load", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    return m_database->Guarded(
        [&]() -> boost::shared_ptr<Job>
        {
            const Query find = m_database->Prepared("SELECT number, type FROM jobs WHERE id = ?");
            find->bind(1, id.ToString());
            if (!find->executeStep())
            {
                *reason = "there is no job " + id.ToString();
                return nullptr;
            }
            const std::int64_t number = find->getColumn(0).getInt64();
            const String type = find->getColumn(1).getString();
            boost::shared_ptr<Job> job = JobFactory::s_JobFactory.CreateJob(UID(type, false));
            if (!job)
            {
                *reason = "the type " + type + " of the job is not known here";
                return nullptr;
            }
            job->SetID(id);

            // A user range set by hand holds only until the range or custom range is set.
            const Query select =
                m_database->Prepared("SELECT name, value FROM parameters WHERE job = ?"
                                     " ORDER BY name = 'UserRange', position");
            select->bind(1, number);
            while (select->executeStep())
            {
                const String name = select->getColumn(0).getString();
                if (!job->SetParameter(name, select->getColumn(1).getString()))
                    ostrel::LogWarning("job " + id.ToString() + ": parameter '" + name +
                                       "' of the store is no longer valid");
            }
            return job;
        });
}

void JobStore::SaveParameters(const Job &job, const JobState &state)
{
    _CallEntry call("JobStore::SaveParameters", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    m_database->Guarded(
        [&]
        {
            std::set<String> gone;
            const Query names = m_database->Prepared("SELECT name FROM parameters WHERE job = ?");
            names->bind(1, state.number);
            while (names->executeStep())
                gone.insert(names->getColumn(0).getString());

            int position = 0;
            for (const auto &[name, value] : job.Parameters())
            {
                if (IsStateParameter(name))
                    continue;
                const Query put = m_database->Prepared(
                    "INSERT INTO parameters(job, position, name, value) VALUES(?,?,?,?)"
                    " ON CONFLICT(job, name) DO UPDATE SET value = excluded.value,"
                    " position = excluded.position"
                    " WHERE value <> excluded.value OR position <> excluded.position");
                put->bind(1, state.number);
                put->bind(2, position++);
                put->bindNoCopy(3, name);
                put->bindNoCopy(4, value);
                put->exec();
                gone.erase(name);
            }

            for (const String &name : gone)
            {
                const Query remove =
                    m_database->Prepared("DELETE FROM parameters WHERE job = ? AND name = ?");
                remove->bind(1, state.number);
                remove->bind(2, name);
                remove->exec();
            }
        });
}

std::optional<String> JobStore::FindOwner(const UID &job)
{
    _CallEntry call("JobStore::FindOwner", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    return m_database->Guarded(
        [&]() -> std::optional<String>
        {
            const Query select =
                m_database->Prepared("SELECT ifnull(value, '') FROM jobs LEFT JOIN parameters"
                                     " ON job = number AND name = ? WHERE id = ?");
            select->bind(1, corvan::p_Owner);
            select->bind(2, job.ToString());
            if (!select->executeStep())
                return std::nullopt;
            return String(select->getColumn(0).getString());
        });
}

std::optional<JobState> JobStore::FindOlder(std::int64_t number)
{
    _CallEntry call("JobStore::FindOlder", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    return m_database->Guarded(
        [&]() -> std::optional<JobState>
        {
            static const std::string sql = std::string("SELECT ") + k_state_columns +
                                           " FROM jobs WHERE number < ?"
                                           " ORDER BY number DESC LIMIT 1";
            const Query select = m_database->Prepared(sql.c_str());
            select->bind(1, number);
            if (!select->executeStep())
                return std::nullopt;
            return ReadState(*select);
        });
}

std::optional<JobState> JobStore::FindFinishedBefore(const ostrel::Time &moment)
{
    _CallEntry call("JobStore::FindFinishedBefore", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    return m_database->Guarded(
        [&]() -> std::optional<JobState>
        {
            static const std::string sql = std::string("SELECT ") + k_state_columns +
                                           " FROM jobs WHERE finished > 0 AND finished < ?"
                                           " ORDER BY finished LIMIT 1";
            const Query select = m_database->Prepared(sql.c_str());
            select->bind(1, moment.First());
            if (!select->executeStep())
                return std::nullopt;
            return ReadState(*select);
        });
}

void JobStore::Remove(const JobState &state)
{
    _CallEntry call("JobStore::Remove", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    m_tasks->Forget(state);
    m_places->Forget(state);
    m_waits->Forget(state);
    m_frames->Forget(state);
    m_database->Guarded(
        [&]
        {
            for (const char *sql :
                 {"DELETE FROM parameters WHERE job = ?", "DELETE FROM jobs WHERE number = ?"})
            {
                const Query remove = m_database->Prepared(sql);
                remove->bind(1, state.number);
                remove->exec();
            }
            const Query note = m_database->Prepared("INSERT OR IGNORE INTO removed VALUES(?)");
            note->bind(1, state.id.ToString());
            note->exec();
        });
}

bool JobStore::IsRemoved(const UID &job)
{
    _CallEntry call("JobStore::IsRemoved", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    return m_database->Guarded(
        [&]
        {
            const Query select =
                m_database->Prepared("SELECT EXISTS (SELECT 1 FROM removed WHERE id = ?)");
            select->bind(1, job.ToString());
            select->executeStep();
            return select->getColumn(0).getInt() != 0;
        });
}

std::optional<UID> JobStore::FindRemoved(const UID &after)
{
    _CallEntry call("JobStore::FindRemoved", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    return m_database->Guarded(
        [&]() -> std::optional<UID>
        {
            const Query select =
                m_database->Prepared("SELECT id FROM removed WHERE id > ? ORDER BY id LIMIT 1");
            select->bind(1, after.IsNil() ? std::string() : std::string(after.ToString()));
            if (!select->executeStep())
                return std::nullopt;
            return UID(select->getColumn(0).getString(), true);
        });
}

void JobStore::ForgetRemoved(const UID &job)
{
    _CallEntry call("JobStore::ForgetRemoved", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    m_database->Guarded(
        [&]
        {
            const Query remove = m_database->Prepared("DELETE FROM removed WHERE id = ?");
            remove->bind(1, job.ToString());
            remove->exec();
        });
}

bool JobStore::HasWork()
{
    _CallEntry call("JobStore::HasWork", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    return m_database->Guarded(
        [&]
        {
            const Query select = m_database->Prepared(
                "SELECT EXISTS (SELECT 1 FROM jobs WHERE status IN (0, 1) AND held = 0)");
            select->executeStep();
            return select->getColumn(0).getInt() != 0;
        });
}

} // namespace master
