"""Runs programs with bounds, and counts the processor time that they and what they start have taken."""

import contextlib
import os
import resource
import shutil
import signal
import subprocess
import threading

from corpus.trouble import Trouble

# Where each program comes from.
PACKAGES = {"blender": "blender", "povray": "povray", "ffmpeg": "ffmpeg"}

# What runs, for whoever ends it all; after that nothing more is started.
RUNNING = set()
LOCK = threading.Lock()
IS_OVER = threading.Event()


class Done:
    """How a program has ended: status (negative: by this signal), what it has printed, seconds."""

    def __init__(self, status, output, errors, processor_s):
        self.status = status
        self.output = output
        self.errors = errors
        self.processor_s = processor_s


def need(program):
    """Where the program is. Raises Trouble where it is not installed."""
    path = shutil.which(program)
    if path is None:
        raise Trouble(f"{program} is not installed (Debian package {PACKAGES.get(program, program)})")
    return path


def run(words, limit_s, folder=None, env=None):
    """Runs a program to its end. After `limit_s` seconds it and all that it has started are ended, and
    Trouble is raised, as where it cannot be started. Any status is an answer."""
    words = [str(word) for word in words]
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    process = start(words, folder, env)
    try:
        output, errors = process.communicate(timeout=limit_s)
    except subprocess.TimeoutExpired as error:
        raise Trouble(f"{words[0]} has not ended after {limit_s} seconds") from error
    finally:
        with LOCK:
            RUNNING.discard(process)
            end(process)
        process.wait()
        process.stdout.close()
        process.stderr.close()
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    processor_s = after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime
    return Done(process.returncode, output.decode(errors="replace"), errors.decode(errors="replace"),
                processor_s)


def start(words, folder, env):
    with LOCK:
        if IS_OVER.is_set():
            raise Trouble(f"{words[0]} is not started any more")
        try:
            process = subprocess.Popen(
                words, cwd=folder, env=env, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                stderr=subprocess.PIPE, start_new_session=True,
            )
        except OSError as error:
            raise Trouble(f"{words[0]} cannot be started: {error.strerror}") from error
        RUNNING.add(process)
        return process


def end(process):
    """With all that it has started."""
    with contextlib.suppress(ProcessLookupError):
        os.killpg(process.pid, signal.SIGKILL)


def end_all():
    """What other threads run; they get the status of a process that was killed."""
    with LOCK:
        IS_OVER.set()
        for process in RUNNING:
            end(process)
