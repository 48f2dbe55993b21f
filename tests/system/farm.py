"""A Master of a test's own and the `corvan` command, in a folder that removes itself."""

import contextlib
import json
import os
import pathlib
import shutil
import signal
import socket
import subprocess
import tempfile
import time
import unittest

BIN = pathlib.Path(os.environ["ORDWICK_BIN"])
SHARE = pathlib.Path(__file__).resolve().parents[2] / "share"

# Longer than anything takes; only a test that hangs comes to it.
PATIENCE = 120


def wait_until(is_so, process=None):
    """Looks again and again until something is so. Gives what was told then. Where a process ends
    without it, it is not waited for any longer."""
    end = time.monotonic() + PATIENCE
    while True:
        # Before the last look, lest it become so between the two.
        status = process.poll() if process else None
        if told := is_so():
            return told
        assert status is None, f"the program has ended, with status {status}"
        assert time.monotonic() < end, "it does not come to be so"


def children_of(number):
    """The numbers of a process's children."""
    children = []
    for stat in pathlib.Path("/proc").glob("[0-9]*/stat"):
        # One that has just ended has none; before the name's last parenthesis may be anything.
        with contextlib.suppress(OSError):
            if int(stat.read_text(errors="replace").rpartition(")")[2].split()[1]) == number:
                children.append(int(stat.parent.name))
    return children


def free_address():
    """A place beyond the machine, as clients name it, where nobody listens yet."""
    with socket.socket() as free:
        free.bind(("127.0.0.1", 0))
        return f"localhost:{free.getsockname()[1]}"


def moving_picture(frame):
    """A frame of something that moves before a camera that stands still, as a PPM file of 64 x 36 pixels: one
    colour on each side of a border that wanders on, up to frame 50."""
    pixels = bytearray()
    for y in range(36):
        for x in range(64):
            left = x < 8 + frame
            pixels += bytes((180 if left else 90, 60 + x + y, 70 if left else 140))
    return b"P6\n64 36\n255\n" + pixels


class FarmTest(unittest.TestCase):
    """Gives each test a folder, an environment without the user's settings, and an address."""

    def setUp(self):
        # Not in the usual place: the path of a socket has little room.
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="ordwick.", dir="/tmp"))
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)
        self.env = dict(os.environ)
        for name in ("CORVAN_DATA", "ORDWICK_SHARE"):
            self.env.pop(name, None)
        for name in ("CONFIG", "STATE", "DATA", "CACHE"):
            self.env[f"XDG_{name}_HOME"] = str(self.folder / name.lower())
        runtime = self.folder / "runtime"
        runtime.mkdir(mode=0o700)
        self.env["XDG_RUNTIME_DIR"] = str(runtime)
        self.env["CORVAN_MASTER"] = f"unix:{self.folder}/master.sock"
        # A command that fails is tried again at once.
        options = self.folder / "config" / "CorvanMaster" / "CorvanMaster.ini"
        options.parent.mkdir(parents=True)
        options.write_text("[Tasks]\nPauseAfterFailure = 0\nPauseAfterSecondFailure = 0\n")
        self.master = None

    def start_master(self, *arguments):
        """Starts it, and returns once it answers."""
        log = open(self.folder / "master.txt", "ab")
        self.addCleanup(log.close)
        self.master = subprocess.Popen(
            [BIN / "corvan-master", "--data", self.folder / "store", *arguments]
            + ["--listen", self.env["CORVAN_MASTER"]],
            env=self.env,
            stdout=log,
            stderr=log,
        )
        self.addCleanup(self.stop_master)
        self.corvan("list")

    def stop_master(self, how=signal.SIGTERM):
        """Ends it, and returns its exit status."""
        if self.master.poll() is None:
            self.master.send_signal(how)
        return self.master.wait(PATIENCE)

    def corvan(self, *arguments, status=0):
        """Runs a verb to its end and checks its exit status. Gives its standard output."""
        return self.run_corvan(*arguments, status=status).stdout

    def run_corvan(self, *arguments, status=0, cwd=None):
        """The same, with standard error too."""
        done = subprocess.run(
            [BIN / "corvan", *arguments],
            env=self.env,
            cwd=cwd or self.folder,
            stdin=subprocess.DEVNULL,
            capture_output=True,
            text=True,
            timeout=PATIENCE,
        )
        self.assertEqual(done.returncode, status, f"corvan {arguments}: {done}\n{self.master_text()}")
        return done

    def start_corvan(self, *arguments):
        """Runs a verb in the background; it ends with the test at the latest."""
        process = subprocess.Popen(
            [BIN / "corvan", *arguments],
            env=self.env,
            cwd=self.folder,
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            text=True,
        )
        self.addCleanup(process.communicate)
        self.addCleanup(process.kill)
        return process

    def submit(self, script, *arguments):
        """A job whose packets run a shell script; {Frame} and the like stand for themselves there.
        Gives its identifier."""
        return self.corvan(
            "submit",
            "Command",
            "--set",
            "Program=sh",
            "--set",
            f"Arguments=-c\n{script}\nscript\n{{Frame}}\n{{Output}}",
            *arguments,
        ).strip()

    def show(self, job):
        return json.loads(self.corvan("show", "--json", job))

    def parameter(self, job, name):
        return self.show(job)["parameters"].get(name)

    def master_log(self):
        """All that the Masters of this test have logged."""
        files = (self.folder / "state" / "CorvanMaster").iterdir()
        return "".join(file.read_text() for file in files)

    def master_text(self):
        file = self.folder / "master.txt"
        return file.read_text() if file.exists() else ""


def read_pipe(path):
    """Waits until somebody has written to a named pipe, made with `mkfifo`, and closed it. Gives
    what was written."""
    with open(path, encoding="utf-8") as pipe:
        return pipe.read()
