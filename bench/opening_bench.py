#!/usr/bin/env python3
"""Opening a job of many frames: resident memory of the real program, with a real Master.

Run by bench/run, on a display. Frames are there (in the page cache) or all missing.
"""

import os
import pathlib
import re
import signal
import subprocess
import sys
import tempfile
import time

BIN = pathlib.Path(sys.argv[1])
SIZES = [int(size) for size in sys.argv[2:]] or [1_000, 100_000, 1_000_000]


def make_frames(folder, count):
    for frame in range(1, count + 1):
        with open(folder / f"beauty.{frame:07d}.exr", "wb") as file:
            file.truncate(1000)


def memory_mb(process, key):
    status = pathlib.Path(f"/proc/{process.pid}/status").read_text()
    return int(re.search(rf"^{key}:\s+(\d+) kB", status, re.M)[1]) / 1024


def submit(folder, name, count):
    """A job that renders nothing; what to look for is its custom range."""
    return subprocess.run(
        [BIN / "corvan", "submit", "Command", "--name", name, "--paused", "--range", "1"]
        + ["--format", folder / f"{name}.%07d.exr", "--set", f"CustomRange=1-{count}"]
        + ["--set", "Program=true"],
        check=True,
        stdout=subprocess.PIPE,
        text=True,
    ).stdout.strip()


def wait_for_line(log, text, process):
    """Returns when the log has a line with this text; the log may be rotated meanwhile."""
    follow = subprocess.Popen(
        ["tail", "-n", "+1", "-F", log, "--pid", str(process.pid)],
        stdout=subprocess.PIPE,
        stderr=subprocess.DEVNULL,
        text=True,
        errors="replace",
    )
    try:
        if not any(text in line for line in follow.stdout):
            sys.exit(f"opening_bench: the program ended before '{text}'")
    finally:
        follow.kill()
        follow.wait()


def measure(work, frames, name, count):
    job = submit(frames, name, count)
    log = work / f"{name}-{count}.log"
    start = time.monotonic()
    with subprocess.Popen([BIN / "ordwick", "--log-file", log, job]) as process:
        wait_for_line(log, f"Finished scanning {count} files", process)
        passed = time.monotonic() - start
        processor = processor_s(process)
        now, most = memory_mb(process, "VmRSS"), memory_mb(process, "VmHWM")
        process.send_signal(signal.SIGTERM)
    which = "all there" if name == "beauty" else "all missing"
    print(f"| {which} | {count} | {now:.0f} | {most:.0f} | {passed:.1f} | {processor:.1f} |", flush=True)


def processor_s(process):
    fields = pathlib.Path(f"/proc/{process.pid}/stat").read_text().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def run_master(work):
    os.environ["CORVAN_MASTER"] = f"unix:{work}/master.sock"
    os.environ.pop("CORVAN_DATA", None)
    master = subprocess.Popen([BIN / "corvan-master", "--data", work / "store"], stderr=subprocess.DEVNULL)
    subprocess.run([BIN / "corvan", "list"], check=True, stdout=subprocess.DEVNULL)
    return master


def main():
    with tempfile.TemporaryDirectory(prefix="bench.", dir="/tmp") as folder:
        work = pathlib.Path(folder)
        frames = work / "frames"
        frames.mkdir()
        make_frames(frames, max(SIZES))
        master = run_master(work)
        try:
            print("\n### Opening, the program's process\n", flush=True)
            print("| frames | size | resident MB | most MB | s until the first pass ended | s of processor |")
            print("| --- | ---: | ---: | ---: | ---: | ---: |")
            for size in SIZES:
                for name in ("beauty", "missing"):
                    measure(work, frames, name, size)
        finally:
            master.terminate()
            master.wait()


main()
