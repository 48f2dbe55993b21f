#!/usr/bin/env python3
"""A Master with many jobs that are over: how long it takes to start and to answer. The store is made by SQL.

    bench/store_bench.py build/release/bin [JOBS [TASKS [unlike | earlier]]]

TASKS is of each job. Where they are "unlike", no two neighbours share a record: each task is a row.
"earlier" is a store that an earlier version has written, which the first start brings up to date. Beside
each figure stands its yardstick: to read the same from the same file with the bare library. Processor time
is that of the command and of the Master together. The status is 1 where a start, or a list on a terminal,
takes longer than it may.
"""

import os
import pathlib
import pty
import resource
import signal
import sqlite3
import statistics
import subprocess
import sys
import tempfile
import threading
import time

ROOT = pathlib.Path(__file__).resolve().parents[1]
EARLIER = ROOT / "tests/master/stores/version2.sql"
COMMAND = "6d396773-6d80-4f82-823f-fbc6c1cca52f"
ROUNDS = 9
# Newest jobs that are not over.
UNFINISHED = 100
# To reach: seconds of a start, and milliseconds of processors of a list.
MOST_START_S = 3
MOST_LIST_MS = 50

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
FINISHED = "UPDATE jobs SET finished = created WHERE status = 2"
ALIKE = """
INSERT INTO tasks(job, task, status, tries, failures, exit_code, count)
SELECT number, 0, 2, 1, 0, 0, :tasks FROM jobs WHERE status = 2 ORDER BY number
"""
UNLIKE = """
WITH RECURSIVE t(task) AS (SELECT 0 UNION ALL SELECT task + 1 FROM t WHERE task + 1 < :tasks)
INSERT INTO tasks(job, task, status, tries, failures, exit_code)
SELECT number, task, 2, 1 + :unlike * (task % 2), 0, 0 FROM jobs, t WHERE status = 2 ORDER BY number, task
"""


def make_store(file, jobs, tasks, kind):
    """Into what an empty Master has left, or an earlier one."""
    values = {"jobs": jobs, "tasks": tasks, "type": COMMAND, "unfinished": UNFINISHED,
              "unlike": int(kind == "unlike")}
    store = sqlite3.connect(file)
    if kind == "earlier":
        store.executescript(EARLIER.read_text())
    for table in ("tasks", "parameters", "jobs"):
        store.execute(f"DELETE FROM {table}")
    with store:
        for sql in (JOBS, PARAMETERS, ALIKE if kind == "alike" else UNLIKE):
            store.execute(sql, values)
        if kind != "earlier":
            store.execute(FINISHED)
    store.execute("PRAGMA wal_checkpoint(TRUNCATE)")
    store.close()


class Master:
    """One that runs on a data folder, with nothing to run. It is there once it has answered."""

    def __init__(self, binaries, folder):
        self.env = dict(os.environ, CORVAN_MASTER=f"unix:{folder}/m.sock")
        for name in ("CONFIG", "STATE", "DATA", "CACHE"):
            self.env[f"XDG_{name}_HOME"] = str(folder / name.lower())
        self.log = folder / "state/CorvanMaster/CorvanMaster.log"
        self.logged_before = self.log.stat().st_size if self.log.exists() else 0
        self.binaries = binaries
        start = time.monotonic()
        self.process = subprocess.Popen(
            [binaries / "corvan-master", "--data", folder / "store", "--slots", "0"],
            env=self.env, stdout=subprocess.PIPE, text=True,
        )
        line = self.process.stdout.readline()
        assert "listening" in line, line
        self.run("list", "--limit", "1")
        self.start_s = time.monotonic() - start

    def end(self, how=signal.SIGTERM):
        self.process.send_signal(how)
        self.process.wait()

    def run(self, *arguments, stdout=subprocess.DEVNULL):
        """Gives the seconds that a verb takes, the start of its process included, and those of processors."""
        start, worked = time.monotonic(), self.processor_s()
        subprocess.run([self.binaries / "corvan", *arguments], env=self.env, check=True, stdout=stdout)
        return time.monotonic() - start, self.processor_s() - worked

    def processor_s(self):
        """Of the commands that have ended, and of the Master."""
        ended = resource.getrusage(resource.RUSAGE_CHILDREN)
        fields = pathlib.Path(f"/proc/{self.process.pid}/stat").read_text().rsplit(")", 1)[1].split()
        mine = (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")
        return ended.ru_utime + ended.ru_stime + mine

    def run_on_terminal(self, *arguments):
        screen, terminal = pty.openpty()
        reader = threading.Thread(target=read_to_end, args=(screen,))
        reader.start()
        took = self.run(*arguments, stdout=terminal)
        os.close(terminal)
        reader.join()
        os.close(screen)
        return took

    def memory_mb(self):
        for line in pathlib.Path(f"/proc/{self.process.pid}/status").read_text().splitlines():
            if line.startswith("VmRSS"):
                return int(line.split()[1]) / 1024
        return 0

    def logged(self):
        with open(self.log, "rb") as opened:
            opened.seek(self.logged_before)
            return opened.read().decode()

    def wait_for(self, line, patience_s):
        """For a line of the log, which comes there a little late. Gives the seconds; nothing without it."""
        start = time.monotonic()
        while line not in self.logged():
            if time.monotonic() - start > patience_s:
                return None
            time.sleep(0.1)
        return time.monotonic() - start


def read_to_end(screen):
    try:
        while os.read(screen, 1 << 16):
            pass
    except OSError:  # Nobody holds the terminal any more.
        pass


def forget(file):
    """Has the system keep nothing of a file in memory."""
    with open(file, "rb") as opened:
        os.posix_fadvise(opened.fileno(), 0, 0, os.POSIX_FADV_DONTNEED)


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


not_reached = []


def row(what, values, yardstick="", scale=1, digits=2, most=None):
    """First, median and last: the median of a series that grows says nothing. Where the median is more than
    it may be, that is kept."""
    median = scale * statistics.median(values)
    told = [f"{value:.{digits}f}" for value in (scale * values[0], median, scale * values[-1])]
    print(f"| {what} | {' | '.join(told)} | {yardstick} |", flush=True)
    if most is not None and median > most:
        not_reached.append(f"{what}: {most}")


def measure_starts(binaries, folder, file):
    def starts(prepare, how):
        took = []
        for _ in range(ROUNDS):
            prepare()
            master = Master(binaries, folder)
            took.append(master.start_s)
            master.end(how)
        return took

    megabytes = f"{file.stat().st_size / 1e6:.0f} MB"
    bare = f"{check_bare(file):.2f} (quick_check), {read_whole(file):.2f} (reading)"
    row(f"start to the first answer, s, {megabytes}", starts(lambda: None, signal.SIGTERM), bare,
        most=MOST_START_S)
    row("the same after a kill -9", starts(lambda: None, signal.SIGKILL), most=MOST_START_S)
    row("the same, nothing of the store in memory", starts(lambda: forget(file), signal.SIGTERM),
        most=MOST_START_S)


def measure_answers(master, jobs):
    middle = jobs // 2
    one = f"{middle * 2654435761 & 0xffffffff:08x}-0000-4000-8000-{middle:012x}"
    row("memory of the Master, MB", [master.memory_mb()], digits=0)
    bare = [master.run("--version") for _ in range(ROUNDS)]
    beside = [f"{1000 * statistics.median(took):.0f} (--version)" for took in zip(*bare)]
    for name, run, rounds, arguments in (
        ("corvan list on a terminal", master.run_on_terminal, ROUNDS, ["list"]),
        ("corvan list --limit 100", master.run, ROUNDS, ["list", "--limit", "100"]),
        ("corvan list --limit 1000", master.run, ROUNDS, ["list", "--limit", "1000"]),
        ("corvan show ID", master.run, ROUNDS, ["show", one]),
        ("corvan list of all", master.run, 3, ["list"]),
    ):
        passed, worked = zip(*(run(*arguments) for _ in range(rounds)))
        row(f"{name}, ms", passed, beside[0], 1000, 0)
        most = MOST_LIST_MS if arguments == ["list"] and run == master.run_on_terminal else None
        row(f"{name}, ms of processors", worked, beside[1], 1000, 0, most)
        row("memory of the Master after that, MB", [master.memory_mb()], digits=0)


def main():
    binaries = pathlib.Path(sys.argv[1]).resolve()
    jobs = int(sys.argv[2]) if len(sys.argv) > 2 else 100_000
    tasks = int(sys.argv[3]) if len(sys.argv) > 3 else 100
    kind = sys.argv[4] if len(sys.argv) > 4 else "alike"
    with tempfile.TemporaryDirectory(prefix="ordwick-bench.", dir="/var/tmp") as name:
        folder = pathlib.Path(name)
        (folder / "store").mkdir(mode=0o700)
        file = folder / "store/jobs.db"
        if kind != "earlier":
            Master(binaries, folder).end()
        make_store(file, jobs, tasks, kind)
        earlier_mb = file.stat().st_size / 1e6

        print(f"\n### A store of {jobs} jobs, {tasks} tasks each ({kind})\n")
        print("| what | first | median | last | yardstick |")
        print("| --- | ---: | ---: | ---: | ---: |", flush=True)
        if kind == "earlier":
            master = Master(binaries, folder)
            row(f"first start, s: {earlier_mb:.0f} MB are brought up to date", [master.start_s])
            master.end()
        measure_starts(binaries, folder, file)
        master = Master(binaries, folder)
        try:
            if master.wait_for("looked through while it is served", 3) is not None:
                row("from then until all is read, beside the clients, s",
                    [master.wait_for("the job store is whole", 600)])
            measure_answers(master, jobs)
        finally:
            master.end()
    return "not reached:\n" + "\n".join(not_reached) if not_reached else 0


sys.exit(main())
