"""A Master of its own, jobs whose frames are there or not, and the real program beside them: for the
measures that look at the process from outside. Everything is in one folder, which goes with it.
"""

import contextlib
import os
import pathlib
import re
import select
import signal
import struct
import subprocess
import sys
import tempfile
import time


class Farm:
    """`bin` is the folder of the programs."""

    def __init__(self, bin_folder, work):
        self.bin = bin_folder
        self.work = work
        self.frames = work / "frames"
        self.frames.mkdir()
        self.env = dict(os.environ, CORVAN_MASTER=f"unix:{work}/master.sock")
        for name in ("CORVAN_DATA", "ORDWICK_SHARE"):
            self.env.pop(name, None)
        for name in ("CONFIG", "STATE", "DATA", "CACHE"):
            self.env[f"XDG_{name}_HOME"] = str(work / name.lower())

    def make_frames(self, name, count, missing_every=0):
        """Frames 1 to `count`, 1,000 bytes each; one in `missing_every` is left out, 0 for none."""
        for frame in range(1, count + 1):
            if missing_every and frame % missing_every == 0:
                continue
            with open(self.frames / f"{name}.{frame:07d}.exr", "wb") as file:
                file.truncate(1000)

    def submit(self, name, count):
        """A job that renders nothing; what to look for is its custom range. Gives its identifier."""
        return subprocess.run(
            [self.bin / "corvan", "submit", "Command", "--name", name, "--paused", "--range", "1"]
            + ["--format", self.frames / f"{name}.%07d.exr"]
            + ["--set", f"CustomRange=1-{count}", "--set", "Program=true"],
            env=self.env,
            check=True,
            stdout=subprocess.PIPE,
            text=True,
        ).stdout.strip()

    @contextlib.contextmanager
    def web(self, refresh_ms, preload=None, **more_env):
        """A personal corvan-web that begins a pass so long after the one before."""
        folder = pathlib.Path(tempfile.mkdtemp(prefix="web.", dir=self.work))
        (folder / "options.ini").write_text(f"[Analysis]\nRefresh = {refresh_ms}\n")
        env = dict(self.env, **more_env)
        if preload:
            env["LD_PRELOAD"] = str(preload)
        process = subprocess.Popen(
            [self.bin / "corvan-web", "--options", folder / "options.ini"],
            env=env,
            stdout=subprocess.PIPE,
            stderr=subprocess.DEVNULL,
            text=True,
        )
        try:
            yield Web(process)
            process.terminate()
            if process.wait(60) != 0:
                sys.exit(f"corvan-web ended with {process.returncode}")
        finally:
            process.kill()
            process.communicate()

    @contextlib.contextmanager
    def window(self, job, options="", preload=None):
        """The program with its window on the present display; it is closed at the end."""
        folder = self.work / f"window-{job}"
        folder.mkdir()
        (folder / "options.ini").write_text(options)
        env = dict(self.env)
        if preload:
            env.update(LD_PRELOAD=str(preload), LOOP_SOURCES_FILE=str(folder / "sources"))
        process = subprocess.Popen(
            [self.bin / "ordwick", "--options", folder / "options.ini"]
            + ["--log-file", folder / "ordwick.log", job],
            env=env,
        )
        watched = Watched(process, folder)
        try:
            yield watched
            process.send_signal(signal.SIGTERM)
            if process.wait(60) != 0:
                sys.exit(f"the program ended with {process.returncode}")
        finally:
            watched.close()
            process.kill()
            process.wait()


@contextlib.contextmanager
def farm(bin_folder):
    with tempfile.TemporaryDirectory(prefix="bench.", dir="/tmp") as folder:
        made = Farm(bin_folder, pathlib.Path(folder))
        master = subprocess.Popen(
            [bin_folder / "corvan-master", "--data", made.work / "store"],
            env=made.env,
            stderr=subprocess.DEVNULL,
        )
        try:
            subprocess.run(
                [bin_folder / "corvan", "list"], env=made.env, check=True, stdout=subprocess.DEVNULL
            )
            yield made
        finally:
            master.terminate()
            master.wait()


def memory_mb(pid, key, file="status"):
    """What one line of a process's status or smaps_rollup says."""
    text = pathlib.Path(f"/proc/{pid}/{file}").read_text()
    return int(re.search(rf"^{key}:\s+(\d+) kB", text, re.M)[1]) / 1024


class Web:
    """A personal corvan-web, as what it says on standard output tells to reach it."""

    def __init__(self, process):
        self.process = process
        told = {}
        while "token" not in told:
            line = process.stdout.readline()
            if not line:
                sys.exit("corvan-web has ended")
            name, _, value = line.strip().partition(": ")
            told[name] = value
        self.link = told["link"]
        self.token = told["token"]
        self.origin = self.link.partition("/#")[0]
        self.host, _, port = self.origin.partition("//")[2].partition(":")
        self.port = int(port)

    def processor_s(self):
        """Of all its threads."""
        fields = pathlib.Path(f"/proc/{self.process.pid}/stat").read_text().rpartition(")")[2].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def memory_mb(self, key):
        return memory_mb(self.process.pid, key)


class Watched:
    """The program's process, seen from outside."""

    # Longer than any pass takes, on a busy machine too.
    PATIENCE_S = 3600

    def __init__(self, process, folder):
        self.process = process
        self.folder = folder
        self.proc = pathlib.Path(f"/proc/{process.pid}")
        self.follow = subprocess.Popen(
            ["tail", "-n", "+1", "-F", folder / "ordwick.log", "--pid", str(process.pid)],
            stdout=subprocess.PIPE,
            stderr=subprocess.DEVNULL,
        )

    def wait_for_pass(self, files):
        """Returns when one more pass over that many files has ended; up to a second late, as the log
        is. Before the job came there were none. The log may be rotated meanwhile."""
        end = time.monotonic() + self.PATIENCE_S
        while select.select([self.follow.stdout], [], [], max(0, end - time.monotonic()))[0]:
            line = self.follow.stdout.readline()
            if not line:
                sys.exit("the program has ended")
            if f"Finished scanning {files} files".encode() in line:
                return
        sys.exit(f"no pass has ended for {self.PATIENCE_S} s")

    def close(self):
        self.follow.kill()
        self.follow.communicate()

    def memory_mb(self, key):
        return memory_mb(self.process.pid, key)

    def processor_s(self):
        """Of its main thread, which is the window's."""
        text = (self.proc / f"task/{self.process.pid}/schedstat").read_text()
        return int(text.split()[0]) / 1e9

    def descriptors(self):
        return len(list((self.proc / "fd").iterdir()))

    def loop_sources(self):
        """Timers and idle functions that the main loop holds; it has to be counted by the preloaded
        library."""
        added, freed = struct.unpack("<qq", (self.folder / "sources").read_bytes())
        return added - freed
