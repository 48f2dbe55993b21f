BEGIN TRANSACTION;
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
INSERT INTO "frames" VALUES(3,2,0,'','',3,0,'','ok 3','');
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
        next_task INTEGER NOT NULL, log_base INTEGER NOT NULL DEFAULT 0, waiting TEXT NOT NULL DEFAULT '', first_failures INTEGER NOT NULL DEFAULT 0, submitted TEXT NOT NULL DEFAULT '', finished INTEGER NOT NULL DEFAULT 0, owner TEXT NOT NULL DEFAULT '', held INTEGER NOT NULL DEFAULT 0, frame_times TEXT NOT NULL DEFAULT '');
INSERT INTO "jobs" VALUES(3,'aaaa1111-0000-4000-8000-000000000001','0b5c7f6e-38c1-4b62-8f0c-0e9b6a1f6a01',1700000000000000003,2,50,3,3,0,3,10,'',-1,'',1700000000000000009,'',0,'');
INSERT INTO "jobs" VALUES(4,'aaaa1111-0000-4000-8000-000000000002','0b5c7f6e-38c1-4b62-8f0c-0e9b6a1f6a01',1700000000000000004,1,70,4,1,0,3,0,'',-1,'',0,'anna',0,'');
INSERT INTO "jobs" VALUES(5,'aaaa1111-0000-4000-8000-000000000003','0b5c7f6e-38c1-4b62-8f0c-0e9b6a1f6a01',1700000000000000005,4,50,2,0,0,0,0,'no program render',0,'',0,'',0,'');
INSERT INTO "jobs" VALUES(7,'aaaa1111-0000-4000-8000-000000000004','0b5c7f6e-38c1-4b62-8f0c-0e9b6a1f6a01',1700000000000000007,3,10,1,0,1,1,0,'',0,'',1700000000000000009,'',0,'');
CREATE TABLE master(id TEXT NOT NULL);
INSERT INTO "master" VALUES('51b0a9f2-6f0d-4b7e-9d0c-33a9a1f2c001');
CREATE TABLE notices(
        number INTEGER PRIMARY KEY AUTOINCREMENT,
        facts TEXT NOT NULL);
CREATE TABLE parameters(
        job INTEGER NOT NULL REFERENCES jobs(number),
        position INTEGER NOT NULL,
        name TEXT NOT NULL,
        value TEXT NOT NULL,
        PRIMARY KEY(job, name));
INSERT INTO "parameters" VALUES(3,0,'Script','exit 0');
INSERT INTO "parameters" VALUES(3,1,'Name','Türme');
INSERT INTO "parameters" VALUES(3,2,'Range','1-3');
INSERT INTO "parameters" VALUES(4,0,'Script','exit 0');
INSERT INTO "parameters" VALUES(4,1,'UserRange','2');
INSERT INTO "parameters" VALUES(4,2,'Range','1-4');
INSERT INTO "parameters" VALUES(4,3,'CustomRange','');
INSERT INTO "parameters" VALUES(5,0,'Script','echo ''two
lines''');
INSERT INTO "parameters" VALUES(5,1,'Range','1,5');
INSERT INTO "parameters" VALUES(7,0,'Script','exit 9');
INSERT INTO "parameters" VALUES(7,1,'Range','1');
INSERT INTO "parameters" VALUES(7,2,'ImageFormat','/r/a.%d;"/r/b;.%d"');
CREATE TABLE places(
        job INTEGER NOT NULL REFERENCES jobs(number),
        log INTEGER NOT NULL,
        batch TEXT NOT NULL,
        element INTEGER NOT NULL,
        node TEXT NOT NULL,
        number TEXT NOT NULL,
        state TEXT NOT NULL,
        PRIMARY KEY(job, log)) WITHOUT ROWID;
INSERT INTO "places" VALUES(3,10,'bbbb1111-0000-4000-8000-000000000001',0,'node7','4711_0','COMPLETED');
CREATE TABLE removed(id TEXT PRIMARY KEY) WITHOUT ROWID;
CREATE TABLE tasks(
        job INTEGER NOT NULL REFERENCES jobs(number),
        task INTEGER NOT NULL,
        status INTEGER NOT NULL,
        tries INTEGER NOT NULL,
        failures INTEGER NOT NULL,
        exit_code INTEGER NOT NULL, log INTEGER NOT NULL DEFAULT -1, reason TEXT NOT NULL DEFAULT '', count INTEGER NOT NULL DEFAULT 1,
        PRIMARY KEY(job, task)) WITHOUT ROWID;
INSERT INTO "tasks" VALUES(3,0,2,1,0,0,-1,'',1);
INSERT INTO "tasks" VALUES(3,1,2,1,0,0,4,'',1);
INSERT INTO "tasks" VALUES(3,2,2,2,1,0,-1,'',1);
INSERT INTO "tasks" VALUES(4,0,2,1,0,0,-1,'',1);
INSERT INTO "tasks" VALUES(4,1,1,1,0,0,-1,'',1);
INSERT INTO "tasks" VALUES(4,2,0,1,1,9,-1,'',1);
INSERT INTO "tasks" VALUES(7,0,3,3,3,9,-1,'it left /r/a.1 empty',1);
CREATE TABLE waits(
        job INTEGER NOT NULL REFERENCES jobs(number),
        position INTEGER NOT NULL,
        other TEXT NOT NULL,
        good INTEGER NOT NULL,
        gone INTEGER NOT NULL,
        name TEXT NOT NULL,
        stirred INTEGER NOT NULL,
        PRIMARY KEY(job, other)) WITHOUT ROWID;
CREATE INDEX tasks_queued ON tasks(job, task) WHERE status = 0;
CREATE INDEX tasks_running ON tasks(job, task) WHERE status = 1;
CREATE INDEX jobs_finished ON jobs(finished) WHERE finished > 0;
CREATE INDEX jobs_runnable ON jobs(priority DESC, owner, number)
        WHERE status IN (0, 1) AND held = 0;
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
DELETE FROM "sqlite_sequence";
INSERT INTO "sqlite_sequence" VALUES('jobs',7);
COMMIT;
PRAGMA user_version = 8;
