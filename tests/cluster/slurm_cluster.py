#!/usr/bin/env python3
"""A real Slurm cluster on loopback, for one test: munge, slurmctld and some slurmd, each node by a name of
its own, in a folder of the test's.

    slurm_cluster.py FOLDER [--nodes N] [--slots N] [--set KEY=VALUE]... [--hide NODE=FOLDER]...
                     [--remove FOLDER]

Says "ready" and then takes orders, a line each, from its standard input: "kill NAME", "start NAME", and
"freeze NAME", "thaw NAME", where NAME is slurmctld, munged, a node (its slurmd alone) or, to be killed, "all
of NODE" (whatever it runs, too). Each is answered by "done", or by "failed REASON". At the end of the input, which comes too when the test is killed,
it ends all that was started and removes what it has made, and what --remove names. It is in a session of its own, and all that
daemons leave behind become its children: nothing gets away from it.
"""

import argparse
import ctypes
import glob
import os
import pathlib
import pwd
import random
import shutil
import signal
import socket
import subprocess
import sys
import time

PATIENCE = 60
PR_SET_CHILD_SUBREAPER = 36
CLONE_NEWNS = 0x00020000
CLONE_NEWUTS = 0x04000000
MS_REC_PRIVATE = (1 << 18) | (1 << 14)
LIBC = ctypes.CDLL(None, use_errno=True)


def wait_until(is_so, what):
    end = time.monotonic() + PATIENCE
    while not is_so():
        if time.monotonic() > end:
            raise RuntimeError(f"{what}: not within {PATIENCE} s")
        time.sleep(0.05)


def call(name, *arguments):
    if getattr(LIBC, name)(*arguments) != 0:
        raise OSError(ctypes.get_errno(), name)


def children():
    """The parent of each process."""
    parents = {}
    for stat in glob.glob("/proc/[0-9]*/stat"):
        try:
            text = pathlib.Path(stat).read_text()
        except OSError:
            continue
        number, rest = text.split(" ", 1)
        parents[int(number)] = int(rest.rpartition(")")[2].split()[1])
    return parents


def descendants(of):
    parents = children()
    found = {of}
    while True:
        more = {one for one, parent in parents.items() if parent in found} - found
        if not more:
            return found - {of}
        found |= more


def holds_file_below(process, folder):
    try:
        links = [os.readlink(link) for link in glob.glob(f"/proc/{process}/fd/*")]
        links.append(os.readlink(f"/proc/{process}/cwd"))
    except OSError:
        return False
    return any(link.startswith(f"{folder}/") for link in links)


class Cluster:
    def __init__(self, folder, options):
        self.folder = pathlib.Path(folder)
        self.nodes = [f"node{number + 1}" for number in range(options.nodes)]
        self.slots = options.slots
        self.settings = options.set
        self.hidden = dict(one.split("=", 1) for one in options.hide)
        self.conf = self.folder / "slurm.conf"
        self.daemons = {}
        self.env = {
            name: value
            for name, value in os.environ.items()
            if not name.startswith(("SLURM", "SBATCH", "SQUEUE", "SINFO", "SCANCEL", "SCONTROL"))
        }
        self.env["SLURM_CONF"] = str(self.conf)
        self.env["PATH"] += ":/usr/sbin:/sbin"
        # Daemons bind to the address of their host's name. Where that is beyond the machine, they get
        # another name.
        self.host = socket.gethostname().split(".")[0]
        try:
            self.address = socket.gethostbyname(self.host)
        except OSError:
            self.address = ""
        self.renames = not self.address.startswith("127.")
        if self.renames:
            self.host, self.address = "localhost", "127.0.0.1"

    def make(self):
        for name in ("munge", "run", "state", "spool", "log"):
            (self.folder / name).mkdir()
        for node in self.nodes:
            (self.folder / "spool" / node).mkdir()
        key = self.folder / "munge" / "key"
        key.touch(mode=0o600)
        key.write_bytes(os.urandom(128))

    def write_conf(self):
        sockets = [socket.socket() for _ in range(len(self.nodes) + 1)]
        for one in sockets:
            one.bind(("127.0.0.1", 0))
        ports = [one.getsockname()[1] for one in sockets]
        for one in sockets:
            one.close()
        folder, user = self.folder, pwd.getpwuid(os.getuid()).pw_name
        conf = {
            "ClusterName": f"test{random.SystemRandom().randrange(1 << 40):x}",
            "SlurmctldHost": f"{self.host}({self.address})",
            "SlurmctldPort": ports[0],
            "SlurmUser": user,
            "SlurmdUser": user,
            "AuthType": "auth/munge",
            "CredType": "cred/munge",
            "AuthInfo": f"socket={folder}/munge/socket,cred_expire=5",
            "StateSaveLocation": f"{folder}/state",
            "SlurmdSpoolDir": f"{folder}/spool/%n",
            "SlurmctldPidFile": f"{folder}/run/slurmctld.pid",
            "SlurmdPidFile": f"{folder}/run/%n.pid",
            "SlurmctldLogFile": f"{folder}/log/slurmctld.log",
            "SlurmdLogFile": f"{folder}/log/%n.log",
            "ProctrackType": "proctrack/linuxproc",
            "TaskPlugin": "task/none",
            "JobAcctGatherType": "jobacct_gather/none",
            "AccountingStorageType": "accounting_storage/none",
            "MpiDefault": "none",
            "MailProg": "/bin/true",
            "SelectType": "select/cons_tres",
            "SelectTypeParameters": "CR_CPU",
            "SlurmdParameters": "config_overrides",
            "PropagateResourceLimits": "NONE",
            "SchedulerType": "sched/backfill",
            "SchedulerParameters": "batch_sched_delay=0,sched_interval=1,bf_interval=1",
            "SlurmdTimeout": 10,
            "MessageTimeout": 10,
            "BatchStartTimeout": 10,
            "KillWait": 3,
            "ReturnToService": 2,
            "MaxArraySize": 10001,
            "MaxJobCount": 100000,
            "MinJobAge": 60,
        }
        if not self.renames or os.getuid() == 0:
            conf["CommunicationParameters"] = "NoInAddrAny,NoCtldInAddrAny"
        conf.update(one.split("=", 1) for one in self.settings)
        memory = int(pathlib.Path("/proc/meminfo").read_text().split()[1]) // 1024
        lines = [f"{name}={value}" for name, value in conf.items()]
        lines += [
            f"NodeName={node} NodeHostname={self.host} NodeAddr={self.address} Port={port}"
            f" CPUs={self.slots} RealMemory={memory} State=UNKNOWN"
            for node, port in zip(self.nodes, ports[1:])
        ]
        lines += [
            "PartitionName=farm Nodes=ALL Default=YES MaxTime=INFINITE State=UP",
            f"PartitionName=short Nodes={self.nodes[0]} MaxTime=1 State=UP",
            # Takes what others have where the settings let it, and takes nobody in by itself.
            "PartitionName=urgent Nodes=ALL PriorityTier=10 State=UP",
            "PartitionName=lent Nodes=ALL PreemptMode=CANCEL State=UP",
            "PartitionName=closed Nodes=ALL AllowAccounts=show42 State=UP",
        ]
        self.conf.write_text("\n".join(lines) + "\n")

    def enter(self, node):
        """In the daemon's process, before it is one."""
        if self.renames and os.getuid() == 0:
            call("unshare", CLONE_NEWUTS)
            socket.sethostname("localhost")
        if node in self.hidden:
            call("unshare", CLONE_NEWNS)
            call("mount", b"none", b"/", None, MS_REC_PRIVATE, None)
            call("mount", b"none", self.hidden[node].encode(), b"tmpfs", 0, None)

    def start(self, name):
        if name == "munged":
            munge = self.folder / "munge"
            # Its folder is one that its owner alone may enter, which it takes for a fault.
            command = ["munged", "--foreground", "--force", f"--key-file={munge}/key"]
            command += [f"--socket={munge}/socket", f"--pid-file={self.folder}/run/munged.pid"]
            command += [f"--log-file={self.folder}/log/munged.log", f"--seed-file={munge}/seed"]
        elif name == "slurmctld":
            command = ["slurmctld", "-D"]
        else:
            command = ["slurmd", "-D", "-N", name]
        with open(self.folder / "log" / f"{name}.out", "ab") as log:
            self.daemons[name] = subprocess.Popen(
                command,
                env=self.env,
                cwd="/",
                stdin=subprocess.DEVNULL,
                stdout=log,
                stderr=log,
                preexec_fn=lambda: self.enter(name),
            )
        if name == "munged":
            wait_until((self.folder / "munge" / "socket").is_socket, name)
        else:
            wait_until(lambda: self.is_up(name), name)

    def is_up(self, name):
        if self.daemons[name].poll() is not None:
            raise RuntimeError(f"{name} has ended, with status {self.daemons[name].returncode}")
        if name == "slurmctld":
            return "is UP" in self.ask("scontrol", "ping")
        state = self.ask("sinfo", "-h", "-N", "-n", name, "-p", "farm", "-o", "%T").strip()
        if state.startswith(("down", "drain")) and not state.endswith("*"):
            self.ask("scontrol", "update", f"NodeName={name}", "State=RESUME")
        return state in ("idle", "mixed", "allocated", "completing")

    def ask(self, *command):
        try:
            done = subprocess.run(
                ["timeout", "10", *command], env=self.env, capture_output=True, text=True
            )
        except OSError as error:
            raise RuntimeError(str(error)) from error
        return done.stdout

    def start_all(self):
        self.start("munged")
        self.start("slurmctld")
        for node in self.nodes:
            self.start(node)

    def processes_of(self, node):
        """What a node runs: what its slurmd has started, and what one that was killed has left."""
        spool = self.folder / "spool" / node
        log = self.folder / "log" / f"{node}.log"
        ours = descendants(os.getpid())
        roots = {self.daemons[node].pid} | {
            one
            for one in ours
            if holds_file_below(one, spool)
            or any(os.path.realpath(fd) == str(log) for fd in glob.glob(f"/proc/{one}/fd/*"))
        }
        return set().union(*(descendants(root) | {root} for root in roots))

    def kill(self, name):
        if name.startswith("all of "):
            node = name.removeprefix("all of ")
            # At once, so that nobody tells of the end of another.
            doomed = self.processes_of(node)
            for how in (signal.SIGSTOP, signal.SIGKILL):
                for one in doomed:
                    try:
                        os.kill(one, how)
                    except ProcessLookupError:
                        pass
            self.daemons[node].wait()
            return
        self.daemons[name].kill()
        self.daemons[name].wait()

    def freeze(self, name):
        """It is there, and does nothing."""
        self.daemons[name].send_signal(signal.SIGSTOP)

    def thaw(self, name):
        self.daemons[name].send_signal(signal.SIGCONT)

    def stop_all(self):
        """Jobs, daemons and all that they have left behind."""
        end = time.monotonic() + PATIENCE
        while left := descendants(os.getpid()):
            for one in left:
                try:
                    os.kill(one, signal.SIGKILL)
                except ProcessLookupError:
                    pass
            try:
                while os.waitpid(-1, os.WNOHANG)[0] != 0:
                    pass
            except ChildProcessError:
                pass
            if time.monotonic() > end:
                raise RuntimeError(f"these do not end: {left}")
            time.sleep(0.01)

    def remove(self):
        for name in ("munge", "run", "state", "spool", "log"):
            shutil.rmtree(self.folder / name, ignore_errors=True)
        self.conf.unlink(missing_ok=True)

    def carry_out(self, order):
        verb, _, name = order.partition(" ")
        try:
            orders = {"kill": self.kill, "start": self.start, "freeze": self.freeze, "thaw": self.thaw}
            orders[verb](name)
            return "done"
        except (KeyError, OSError, RuntimeError) as error:
            return f"failed {error!r}"


def tails(folder):
    texts = []
    for file in sorted((folder / "log").glob("*")):
        lines = file.read_text(errors="replace").splitlines()
        texts += [f"{file.name}: {line}" for line in lines[-8:]]
    return "\n".join(texts)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("--nodes", type=int, default=3)
    parser.add_argument("--slots", type=int, default=2)
    parser.add_argument("--set", action="append", default=[])
    parser.add_argument("--hide", action="append", default=[])
    parser.add_argument("--remove")
    options = parser.parse_args()

    if os.getsid(0) != os.getpid():
        os.setsid()
    call("prctl", PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0)
    cluster = Cluster(options.folder.resolve(), options)
    cluster.make()
    status = 0
    try:
        # A port that was free may be another's by now.
        for tries in range(3):
            cluster.write_conf()
            try:
                cluster.start_all()
                break
            except RuntimeError as error:
                print(error, tails(cluster.folder), file=sys.stderr, sep="\n")
                cluster.stop_all()
                if tries == 2:
                    raise
        print("ready", flush=True)
        for line in sys.stdin:
            print(cluster.carry_out(line.strip()), flush=True)
    except RuntimeError as error:
        print(f"failed {error}", flush=True)
        status = 1
    except BrokenPipeError:
        pass
    finally:
        cluster.stop_all()
        cluster.remove()
        if options.remove:
            shutil.rmtree(options.remove, ignore_errors=True)
    sys.exit(status)


if __name__ == "__main__":
    main()
