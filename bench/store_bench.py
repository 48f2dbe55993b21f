#!/usr/bin/env python3
"""A Master with many jobs that are over: how long it takes to start and to answer. The store is made by
SQL, by what an earlier version of the Master has written, and the first start brings it up to date.

    bench/store_bench.py build/release/bin [JOBS [TASKS]]

TASKS is of each job. Beside each figure stands its yardstick: to read the same from the same file with
the bare library.
"""

import os
import pathlib
import sqlite3
import statistics
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parents[1]
EARLIER = ROOT / "tests/master/stores/version2.sql"
COMMAND = "6d396773-6d80-4f82-823f-fbc6c1cca52f"
ROUNDS = 9
# Newest jobs that are not over.
UNFINISHED = 100

JOBS = """
WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < :jobs)
INSERT INTO jobs(number, id, type, created, status, priority, tasks_total, tasks_done, tasks_failed,
                 next_task)
SELECT i, printf('%08x-0000-4000-8000-%012x', (i * 2654435761) & 0xffffffff, i), :type,
       1700000000000000000 + i * 1000000000, iif(i > :jobs - :unfinished, 4, 2), 50, :tasks,
       iif(i > :jobs - :unfinished, 0, :tasks), 0, iif(i > :jobs - :unfinished, 0, :tasks)
FROM n
"""
PARAMETERS = """
WITH p(position, name, value) AS (VALUES
    (0, 'Name', 'shot_' || '%d'), (1, 'Range', '1-' || :tasks), (2, 'CustomRange', ''),
    (3, 'ImageFormat', '/renders/show/sequence/shot_%d/beauty.%%04d.exr'), (4, 'Program', 'render'),
    (5, 'Arguments', '--scene' || char(10) || '/scenes/show/shot_%d.scene' || char(10) || '{Outputs}'),
    (6, 'PacketSize', '1'))
INSERT INTO parameters SELECT number, position, name, ifnull(printf(value, number), '') FROM jobs, p
ORDER BY number, position
"""
TASKS = """
WITH RECURSIVE t(task) AS (SELECT 0 UNION ALL SELECT task + 1 FROM t WHERE task + 1 < :tasks)
INSERT INTO tasks(job, task, status, tries, failures, exit_code)
SELECT number, task, 2, 1, 0, 0 FROM jobs, t WHERE status = 2 ORDER BY number, task
"""


def make_store(file, jobs, tasks):
    values = {"jobs": jobs, "tasks": tasks, "type": COMMAND, "unfinished": UNFINISHED}
    store = sqlite3.connect(file)
    store.executescript(EARLIER.read_text())
    store.executescript("DELETE FROM tasks; DELETE FROM parameters; DELETE FROM jobs;")
    with store:
        for sql in (JOBS, PARAMETERS, TASKS):
            store.execute(sql, values)
    store.close()


class Master:
    """One that runs on a data folder, with nothing to run."""

    def __init__(self, binaries, folder):
        self.env = dict(os.environ, CORVAN_MASTER=f"unix:{folder}/m.sock")
        for name in ("CONFIG", "STATE", "DATA", "CACHE"):
            self.env[f"XDG_{name}_HOME"] = str(folder / name.lower())
        self.binaries = binaries
        start = time.monotonic()
        self.process = subprocess.Popen(
            [binaries / "corvan-master", "--data", folder / "store", "--slots", "0"],
            env=self.env, stdout=subprocess.PIPE, text=True,
        )
        line = self.process.stdout.readline()
        self.start_s = time.monotonic() - start
        assert "listening" in line, line

    def stop(self):
        self.process.terminate()
        self.process.wait()

    def time_of(self, *arguments):
        """Median of the seconds that a verb takes, the start of its process included."""
        took = []
        for _ in range(ROUNDS):
            start = time.monotonic()
            subprocess.run([self.binaries / "corvan", *arguments], env=self.env, check=True,
                           stdout=subprocess.DEVNULL)
            took.append(time.monotonic() - start)
        return statistics.median(took)


def read_whole(file):
    start = time.monotonic()
    with open(file, "rb") as opened:
        while opened.read(1 << 20):
            pass
    return time.monotonic() - start


def check_bare(file):
    start = time.monotonic()
    store = sqlite3.connect(f"file:{file}?mode=ro", uri=True)
    assert store.execute("PRAGMA quick_check").fetchall() == [("ok",)]
    store.close()
    return time.monotonic() - start


def main():
    binaries = pathlib.Path(sys.argv[1]).resolve()
    jobs = int(sys.argv[2]) if len(sys.argv) > 2 else 100_000
    tasks = int(sys.argv[3]) if len(sys.argv) > 3 else 100
    with tempfile.TemporaryDirectory(prefix="ordwick-bench.", dir="/var/tmp") as name:
        folder = pathlib.Path(name)
        (folder / "store").mkdir(mode=0o700)
        file = folder / "store/jobs.db"
        make_store(file, jobs, tasks)
        earlier_mb = file.stat().st_size / 1e6

        print(f"\n### A store of {jobs} jobs, {tasks} tasks each\n")
        print("| what | median | yardstick |")
        print("| --- | ---: | ---: |", flush=True)
        master = Master(binaries, folder)
        print(f"| first start, s: the {earlier_mb:.0f} MB of an earlier version are brought up to date"
              f" | {master.start_s:.2f} | |", flush=True)
        master.stop()

        starts = []
        for _ in range(ROUNDS):
            master = Master(binaries, folder)
            starts.append(master.start_s)
            if len(starts) < ROUNDS:
                master.stop()
        print(f"| start, s, {file.stat().st_size / 1e6:.0f} MB | {statistics.median(starts):.2f}"
              f" | {check_bare(file):.2f} (quick_check), {read_whole(file):.2f} (reading) |", flush=True)

        bare = master.time_of("--version")
        for verb in (["list", "--limit", "100"], ["list", "--limit", "1000"],
                     ["show", f"{jobs // 2 * 2654435761 & 0xffffffff:08x}-0000-4000-8000-{jobs // 2:012x}"],
                     ["list"]):
            words = " ".join(word if len(word) < 20 else "ID" for word in verb)
            print(f"| corvan {words}, ms | {1000 * master.time_of(*verb):.0f}"
                  f" | {1000 * bare:.0f} (--version) |", flush=True)
        master.stop()


main()
