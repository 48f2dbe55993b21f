#!/usr/bin/env python3
"""What a Master costs whose commands Slurm runs, on a real Slurm of three nodes on loopback:

    bench/slurm_bench.py build/release/bin [PACKETS]

how long it takes until 10,000 packets are with Slurm; what it costs the Master to follow them, as a part of
one core, with Slurm's commands that it starts; and how long a job takes beside a bare `sbatch --array` of the
same commands, one after the other in the same run. The status is 1 where a bound is not held.
"""

import contextlib
import os
import pathlib
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parents[1]
SUBMITTED_S = 5
FOLLOWED_PERCENT = 2
OVERHEAD = 1.1
FOLLOW_S = 40
ROUNDS = 3
RENDERED = 36  # Packets of a job that is timed; six run at a time.
PACKET_S = 3
PATIENCE_S = 600


def wait_until(is_so, pause_s=0.05):
    end = time.monotonic() + PATIENCE_S
    while not is_so():
        assert time.monotonic() < end, "it does not come to be so"
        time.sleep(pause_s)


class Farm:
    """A cluster and a Master, which end with it."""

    def __init__(self, binaries, folder, stack):
        self.binaries, self.folder = binaries, folder
        (folder / "cluster").mkdir()
        (folder / "share").mkdir()
        cluster = subprocess.Popen(
            [sys.executable, ROOT / "tests/cluster/slurm_cluster.py", folder / "cluster"],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True, start_new_session=True,
        )
        stack.callback(cluster.wait)
        stack.callback(cluster.stdin.close)
        line = cluster.stdout.readline().strip()
        assert line == "ready", line
        conf = folder / "cluster/slurm.conf"
        self.env = {k: v for k, v in os.environ.items() if not k.startswith(("SLURM", "SBATCH", "SQUEUE"))}
        self.env.update(SLURM_CONF=str(conf), CORVAN_MASTER=f"unix:{folder}/m.sock")
        for name in ("CONFIG", "STATE", "DATA", "CACHE"):
            self.env[f"XDG_{name}_HOME"] = str(folder / name.lower())
        options = folder / "config/CorvanMaster/CorvanMaster.ini"
        options.parent.mkdir(parents=True)
        options.write_text(f"[Master]\nEngine = slurm\n[Slurm]\nFolder = {folder}/share\nConf = {conf}\n")
        self.master = subprocess.Popen(
            [binaries / "corvan-master", "--data", folder / "store"],
            env=self.env, stdout=subprocess.PIPE, text=True,
        )
        stack.callback(self.master.wait)
        stack.callback(self.master.terminate)
        line = self.master.stdout.readline()
        assert "listening" in line, line

    def run(self, *command):
        done = subprocess.run(command, env=self.env, capture_output=True, text=True, check=True)
        return done.stdout

    def submit(self, seconds, packets):
        return self.run(
            self.binaries / "corvan", "submit", "Command", "--set", "Program=sh",
            "--set", f"Arguments=-c\nsleep {seconds}; echo > \"$1\"\nscript\n{{Output}}",
            "--range", f"1-{packets}", "--format", f"{self.folder}/frames/f.%d.txt",
        ).strip()

    def count(self):
        return len(self.run("squeue", "-h", "-r", "-o", "%i").splitlines())

    def processor_s(self):
        """Of the Master and of all that it has started and that has ended."""
        fields = pathlib.Path(f"/proc/{self.master.pid}/stat").read_text().rpartition(")")[2].split()
        return sum(map(int, fields[11:15])) / os.sysconf("SC_CLK_TCK")

    def time_job(self):
        begin = time.monotonic()
        self.run(self.binaries / "corvan", "wait", self.submit(PACKET_S, RENDERED))
        return time.monotonic() - begin

    def time_bare(self):
        script = f'#!/bin/sh\nsleep {PACKET_S}; echo > "{self.folder}/frames/f.$SLURM_ARRAY_TASK_ID.txt"\n'
        begin = time.monotonic()
        subprocess.run(
            ["sbatch", "--parsable", f"--array=1-{RENDERED}", "--output=/dev/null", "--chdir=/"],
            env=self.env, input=script, text=True, check=True, stdout=subprocess.DEVNULL,
        )
        wait_until(lambda: self.count() == 0, 0.2)
        return time.monotonic() - begin


def tell(what, figure, unit, bound):
    holds = figure <= bound
    print(f"{what:58} {figure:8.2f} {unit:10} at most {bound:g}{'' if holds else ', NOT HELD'}", flush=True)
    return holds


def main():
    binaries = pathlib.Path(sys.argv[1]).resolve()
    packets = int(sys.argv[2]) if len(sys.argv) > 2 else 10_000
    folder = pathlib.Path(tempfile.mkdtemp(prefix="slurm.", dir="/tmp"))
    with contextlib.ExitStack() as stack:
        stack.callback(shutil.rmtree, folder, ignore_errors=True)
        farm = Farm(binaries, folder, stack)
        (folder / "frames").mkdir()

        ratios = [farm.time_job() / farm.time_bare() for _ in range(ROUNDS)]
        holds = tell(f"{RENDERED} packets of {PACKET_S} s beside sbatch --array, {ROUNDS} times, median",
                     statistics.median(ratios), "times", OVERHEAD)

        begin = time.monotonic()
        before = farm.processor_s()
        job = farm.submit(1000, packets)
        wait_until(lambda: farm.count() >= packets)
        holds &= tell(f"{packets} packets until all are with Slurm", time.monotonic() - begin, "s", SUBMITTED_S)
        print(f"{'':58} {farm.processor_s() - before:8.2f} s of processor, Slurm's commands included")

        time.sleep(5)
        begin, before = time.monotonic(), farm.processor_s()
        time.sleep(FOLLOW_S)
        part = (farm.processor_s() - before) / (time.monotonic() - begin)
        holds &= tell(f"{packets} packets followed for {FOLLOW_S} s", 100 * part, "% of a core", FOLLOWED_PERCENT)
        farm.run(binaries / "corvan", "cancel", job)
        wait_until(lambda: farm.count() == 0, 0.2)
    sys.exit(0 if holds else 1)


if __name__ == "__main__":
    main()
