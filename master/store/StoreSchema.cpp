#include "master/store/StoreSchema.h"

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Transaction.h>

#include "ostrel/Exception.h"
#include "ostrel/Log.h"

namespace master
{

namespace
{

// What nobody has touched yet has no row in `tasks`: a job of 200,000 packets is one row in `jobs`
// until it runs, and to run it again forgets its rows. `next_task` is the first task without one;
// later ones have some where the job was cut anew.
constexpr const char *k_migrations[] = {
    R"(
    CREATE TABLE master(id TEXT NOT NULL);

    CREATE TABLE jobs(
        number INTEGER PRIMARY KEY AUTOINCREMENT,
        id TEXT NOT NULL UNIQUE,
        type TEXT NOT NULL,
        created INTEGER NOT NULL,
        status INTEGER NOT NULL,
        priority INTEGER NOT NULL,
        tasks_total INTEGER NOT NULL,
        tasks_done INTEGER NOT NULL,
        tasks_failed INTEGER NOT NULL,
        next_task INTEGER NOT NULL);
    CREATE INDEX jobs_runnable ON jobs(priority DESC, number) WHERE status IN (0, 1);

    CREATE TABLE parameters(
        job INTEGER NOT NULL REFERENCES jobs(number),
        position INTEGER NOT NULL,
        name TEXT NOT NULL,
        value TEXT NOT NULL,
        PRIMARY KEY(job, name));

    CREATE TABLE tasks(
        job INTEGER NOT NULL REFERENCES jobs(number),
        task INTEGER NOT NULL,
        status INTEGER NOT NULL,
        tries INTEGER NOT NULL,
        failures INTEGER NOT NULL,
        exit_code INTEGER NOT NULL,
        PRIMARY KEY(job, task)) WITHOUT ROWID;
    CREATE INDEX tasks_queued ON tasks(job, task) WHERE status = 0;
    CREATE INDEX tasks_running ON tasks(job, task) WHERE status = 1;
    )",
    // A job that is cut anew numbers its tasks anew; what they have printed stays in its files.
    R"(
    ALTER TABLE jobs ADD COLUMN log_base INTEGER NOT NULL DEFAULT 0;
    ALTER TABLE tasks ADD COLUMN log INTEGER NOT NULL DEFAULT -1;
    )",
    // Why a job does not go on, and why a task failed. Of a job that has got something done it is
    // known already that its commands can work.
    R"(
    ALTER TABLE jobs ADD COLUMN waiting TEXT NOT NULL DEFAULT '';
    ALTER TABLE jobs ADD COLUMN first_failures INTEGER NOT NULL DEFAULT 0;
    UPDATE jobs SET first_failures = -1 WHERE tasks_done > 0;
    ALTER TABLE tasks ADD COLUMN reason TEXT NOT NULL DEFAULT '';
    )",
    // What a job was when it came, and when it was over (0 for not yet). Of those that are over
    // already it is not known when: they count from here. The logs of jobs that were removed are
    // still to go. Of a job that is over, tasks next to each other of which the same is known are
    // one row; the n-th that begins a run and the n-th that ends one are of one run. No Master
    // before had owners: what goes by their name, some client has made up.
    R"(
    ALTER TABLE jobs ADD COLUMN submitted TEXT NOT NULL DEFAULT '';
    ALTER TABLE jobs ADD COLUMN finished INTEGER NOT NULL DEFAULT 0;
    UPDATE jobs SET finished = CAST(strftime('%s', 'now') AS INTEGER) * 1000000000
        WHERE status IN (2, 3, 5);
    CREATE INDEX jobs_finished ON jobs(finished) WHERE finished > 0;

    CREATE TABLE removed(id TEXT PRIMARY KEY) WITHOUT ROWID;

    ALTER TABLE tasks ADD COLUMN count INTEGER NOT NULL DEFAULT 1;

    CREATE TEMP TABLE firsts AS
    SELECT task.* FROM jobs JOIN tasks AS task ON task.job = jobs.number
        LEFT JOIN tasks AS before ON before.job = task.job AND before.task = task.task - 1
            AND before.log < 0 AND before.status = task.status AND before.tries = task.tries
            AND before.failures = task.failures AND before.exit_code = task.exit_code
            AND before.reason = task.reason
    WHERE jobs.status IN (2, 3, 5) AND task.status IN (2, 3, 5) AND task.log < 0
        AND before.job IS NULL
    ORDER BY task.job, task.task;
    CREATE TEMP TABLE lasts AS
    SELECT task.task FROM jobs JOIN tasks AS task ON task.job = jobs.number
        LEFT JOIN tasks AS next ON next.job = task.job AND next.task = task.task + 1
            AND next.log < 0 AND next.status = task.status AND next.tries = task.tries
            AND next.failures = task.failures AND next.exit_code = task.exit_code
            AND next.reason = task.reason
    WHERE jobs.status IN (2, 3, 5) AND task.status IN (2, 3, 5) AND task.log < 0
        AND next.job IS NULL
    ORDER BY task.job, task.task;
    DELETE FROM tasks WHERE status IN (2, 3, 5) AND log < 0
        AND job IN (SELECT number FROM jobs WHERE status IN (2, 3, 5));
    INSERT INTO tasks(job, task, status, tries, failures, exit_code, reason, count)
        SELECT job, firsts.task, status, tries, failures, exit_code, reason,
            lasts.task - firsts.task + 1
        FROM firsts JOIN lasts ON lasts.rowid = firsts.rowid;
    DROP TABLE firsts;
    DROP TABLE lasts;

    DELETE FROM parameters WHERE name = 'Owner';
    )",
    // Where the last try of a task was handed over to, by the number of its log. A job that was
    // handed over to nobody has none.
    R"(
    CREATE TABLE places(
        job INTEGER NOT NULL REFERENCES jobs(number),
        log INTEGER NOT NULL,
        batch TEXT NOT NULL,
        element INTEGER NOT NULL,
        node TEXT NOT NULL,
        number TEXT NOT NULL,
        state TEXT NOT NULL,
        PRIMARY KEY(job, log)) WITHOUT ROWID;
    )",
    // Whose a job is, and what it waits for: see `WaitStore`. `held` is a `WaitStore::Hold`, `gone`
    // tells of a job that was removed whether it was (2) or was not (1) what it was waited for.
    R"(
    ALTER TABLE jobs ADD COLUMN owner TEXT NOT NULL DEFAULT '';
    ALTER TABLE jobs ADD COLUMN held INTEGER NOT NULL DEFAULT 0;
    UPDATE jobs SET owner = ifnull((SELECT value FROM parameters
        WHERE job = number AND name = 'Owner'), '');
    DROP INDEX jobs_runnable;
    CREATE INDEX jobs_runnable ON jobs(priority DESC, owner, number)
        WHERE status IN (0, 1) AND held = 0;

    CREATE TABLE waits(
        job INTEGER NOT NULL REFERENCES jobs(number),
        position INTEGER NOT NULL,
        other TEXT NOT NULL,
        good INTEGER NOT NULL,
        gone INTEGER NOT NULL,
        name TEXT NOT NULL,
        stirred INTEGER NOT NULL,
        PRIMARY KEY(job, other)) WITHOUT ROWID;
    CREATE INDEX waits_other ON waits(other);
    CREATE INDEX waits_stirred ON waits(job) WHERE stirred = 1;

    CREATE TRIGGER jobs_stir AFTER UPDATE OF status ON jobs WHEN old.status <> new.status
    BEGIN
        UPDATE waits SET stirred = 1 WHERE other = new.id AND stirred = 0;
        UPDATE waits SET stirred = 1 WHERE job = new.number AND stirred = 0;
        UPDATE jobs SET held = 1 WHERE held = 0 AND number IN
            (SELECT job FROM waits WHERE other = new.id
            UNION SELECT job FROM waits WHERE job = new.number);
    END;
    CREATE TRIGGER parameters_stir_new AFTER INSERT ON parameters
        WHEN new.name IN ('CheckFrames', 'FramesChecked', 'FramesBad')
    BEGIN
        UPDATE waits SET stirred = 1 WHERE good = 1 AND stirred = 0
            AND other = (SELECT id FROM jobs WHERE number = new.job);
        UPDATE jobs SET held = 1 WHERE held = 0 AND number IN (SELECT job FROM waits
            WHERE good = 1 AND other = (SELECT id FROM jobs WHERE number = new.job));
    END;
    CREATE TRIGGER parameters_stir_other AFTER UPDATE ON parameters
        WHEN new.name IN ('CheckFrames', 'FramesChecked', 'FramesBad')
    BEGIN
        UPDATE waits SET stirred = 1 WHERE good = 1 AND stirred = 0
            AND other = (SELECT id FROM jobs WHERE number = new.job);
        UPDATE jobs SET held = 1 WHERE held = 0 AND number IN (SELECT job FROM waits
            WHERE good = 1 AND other = (SELECT id FROM jobs WHERE number = new.job));
    END;
    CREATE TRIGGER parameters_stir_gone AFTER DELETE ON parameters
        WHEN old.name IN ('CheckFrames', 'FramesChecked', 'FramesBad')
    BEGIN
        UPDATE waits SET stirred = 1 WHERE good = 1 AND stirred = 0
            AND other = (SELECT id FROM jobs WHERE number = old.job);
        UPDATE jobs SET held = 1 WHERE held = 0 AND number IN (SELECT job FROM waits
            WHERE good = 1 AND other = (SELECT id FROM jobs WHERE number = old.job));
    END;
    )",
    // How long the frames of a job take; and what the administrator is still to be told.
    R"(
    ALTER TABLE jobs ADD COLUMN frame_times TEXT NOT NULL DEFAULT '';

    CREATE TABLE notices(
        number INTEGER PRIMARY KEY AUTOINCREMENT,
        facts TEXT NOT NULL);
    )",
    // What was found of the frames of a job whose tasks are done: see `JobFrames`. Who waits for good
    // ones is stirred by it, as by the parameters of those names. No Master before has looked at any:
    // what goes by these names, some client has made up.
    R"(
    CREATE TABLE frames(
        job INTEGER PRIMARY KEY REFERENCES jobs(number),
        phase INTEGER NOT NULL,
        rounds INTEGER NOT NULL,
        round TEXT NOT NULL,
        trouble TEXT NOT NULL,
        judged INTEGER NOT NULL,
        bad INTEGER NOT NULL,
        bad_range TEXT NOT NULL,
        counts TEXT NOT NULL,
        findings TEXT NOT NULL);
    CREATE INDEX frames_due ON frames(job) WHERE phase <> 2;

    CREATE TRIGGER frames_stir_new AFTER INSERT ON frames
    BEGIN
        UPDATE waits SET stirred = 1 WHERE good = 1 AND stirred = 0
            AND other = (SELECT id FROM jobs WHERE number = new.job);
        UPDATE jobs SET held = 1 WHERE held = 0 AND number IN (SELECT job FROM waits
            WHERE good = 1 AND other = (SELECT id FROM jobs WHERE number = new.job));
    END;
    CREATE TRIGGER frames_stir_gone AFTER DELETE ON frames
    BEGIN
        UPDATE waits SET stirred = 1 WHERE good = 1 AND stirred = 0
            AND other = (SELECT id FROM jobs WHERE number = old.job);
        UPDATE jobs SET held = 1 WHERE held = 0 AND number IN (SELECT job FROM waits
            WHERE good = 1 AND other = (SELECT id FROM jobs WHERE number = old.job));
    END;

    DELETE FROM parameters
        WHERE name IN ('FramesChecked', 'FramesBad', 'FramesBadRange', 'FrameCounts');
    )",
    // The newest lines of the audit log, until its file has them on disk.
    R"(
    CREATE TABLE audit(
        number INTEGER PRIMARY KEY,
        lines TEXT NOT NULL);
    )",
};

} // namespace

std::span<const char *const> StoreMigrations()
{
    return k_migrations;
}

void MigrateStore(SQLite::Database &database, std::span<const char *const> migrations)
{
    const int known = int(migrations.size());
    const int found = database.execAndGet("PRAGMA user_version").getInt();
    if (found > known)
        throw new ostrel::Exception("it has version " + std::to_string(found) +
                                    " of a newer corvan-master; this one knows up to version " +
                                    std::to_string(known));

    if (found > 0 && found < known)
        ostrel::LogStatus("the job store is brought from version " + std::to_string(found) +
                          " to version " + std::to_string(known) +
                          "; with millions of tasks that takes a while");
    for (int version = found; version < known; ++version)
    {
        SQLite::Transaction transaction(database);
        database.exec(migrations[std::size_t(version)]);
        database.exec("PRAGMA user_version = " + std::to_string(version + 1));
        transaction.commit();
        if (found > 0)
            ostrel::LogStatus("the job store has version " + std::to_string(version + 1));
    }
}

} // namespace master
