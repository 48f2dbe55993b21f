"""A Slurm cluster of a test's own, and a Master that hands its commands to it."""

import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / "system"))

from farm import BIN, PATIENCE, SHARE, FarmTest, wait_until  # noqa: E402, F401


class ClusterTest(FarmTest):
    """Each class of tests has a cluster, each test a Master's folder and a share of its own."""

    NODES = 3
    SLOTS = 2
    SETTINGS = ()
    HIDDEN = ""  # A folder that the first node does not share, within the cluster's.

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        # Short: the path of a socket has little room.
        cls.cluster_folder = pathlib.Path(tempfile.mkdtemp(prefix="slurm.", dir="/tmp"))
        cls.addClassCleanup(shutil.rmtree, cls.cluster_folder, ignore_errors=True)
        arguments = ["--nodes", str(cls.NODES), "--slots", str(cls.SLOTS)]
        arguments += ["--remove", str(cls.cluster_folder)]
        for setting in cls.SETTINGS:
            arguments += ["--set", setting]
        home = cls.cluster_folder / "cluster"
        home.mkdir()
        if cls.HIDDEN:
            hidden = cls.cluster_folder / cls.HIDDEN
            hidden.mkdir()
            arguments += ["--hide", f"node1={hidden}"]
        cls.cluster = subprocess.Popen(
            [sys.executable, HERE / "slurm_cluster.py", home, *arguments],
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            text=True,
            start_new_session=True,
        )
        cls.addClassCleanup(cls.end_cluster)
        cls.conf = home / "slurm.conf"
        line = cls.cluster.stdout.readline().strip()
        assert line == "ready", f"no cluster: {line}"

    @classmethod
    def end_cluster(cls):
        cls.cluster.stdin.close()
        cls.cluster.wait(PATIENCE)
        cls.cluster.stdout.close()

    def order(self, text):
        """Has the cluster's keeper do something."""
        self.cluster.stdin.write(text + "\n")
        self.cluster.stdin.flush()
        self.assertEqual(self.cluster.stdout.readline().strip(), "done", text)

    def setUp(self):
        super().setUp()
        for name in list(self.env):
            if name.startswith(("SLURM", "SBATCH", "SQUEUE", "SCANCEL")):
                del self.env[name]
        self.share = self.folder / "share"
        self.share.mkdir()
        self.frames = self.folder / "frames"
        self.frames.mkdir()
        self.write_options()
        self.addCleanup(self.slurm, "scancel", "--user", str(os.getuid()))

    def write_options(self, **slurm):
        options = {"Folder": self.share, "Conf": self.conf, "LookEachSeconds": 1, "LeaseSeconds": 4}
        options.update(slurm)
        lines = [f"{name} = {value}" for name, value in options.items()]
        file = self.folder / "config" / "CorvanMaster" / "CorvanMaster.ini"
        file.write_text(
            "[Tasks]\nPauseAfterFailure = 0\nPauseAfterSecondFailure = 0\n[Slurm]\n"
            + "\n".join(lines)
            + "\n"
        )

    def start_master(self, *arguments):
        super().start_master("--engine", "slurm", *arguments)

    def start_local_master(self):
        """One that runs its commands itself, with the same store and settings."""
        super().start_master()

    def kill_master(self):
        self.stop_master(signal.SIGKILL)

    def slurm(self, *command):
        env = dict(os.environ, SLURM_CONF=str(self.conf), SLURM_BITSTR_LEN="0")
        done = subprocess.run(
            ["timeout", "30", *command], env=env, capture_output=True, text=True
        )
        return done.stdout

    def queue(self, *fields):
        """What of this user waits or runs there; a list of texts each."""
        form = "|".join(fields or ("%F", "%K", "%T", "%j"))
        text = self.slurm("squeue", "-h", "-r", "-o", form)
        return [line.split("|") for line in text.splitlines()]

    def frame(self, number):
        return self.frames / f"f.{number:04d}.txt"

    def submit_frames(self, script, last, *arguments):
        """A job of frames 1 to `last`. In the script $1 is the frame, $2 its file, $3 the folder."""
        return self.corvan(
            "submit",
            "Command",
            "--set",
            "Program=sh",
            "--set",
            f"Arguments=-c\n{script}\nscript\n{{Frame}}\n{{Output}}\n{self.folder}",
            "--range",
            f"1-{last}",
            "--format",
            str(self.frames / "f.%04d.txt"),
            *arguments,
        ).strip()

    def wait_for(self, job, status=0):
        self.corvan("wait", job, status=status)

    def tasks(self, job):
        return self.show(job)["tasks"]


# Notes each time that it begins, fails where somebody else has the same frame at that time, and renders.
# What it may wait for is the file "go" of the folder.
# One line, since each line is an argument.
ONCE = (
    'exec 9>> "$3/lock.$1"; flock -n 9 || echo "$1" >> "$3/violations"; '
    'echo "$1" >> "$3/begun"; {wait}; echo "frame $1" > "$2"'
)
WAIT_FOR_GO = 'until [ -e "$3/go" ]; do sleep 0.1; done'
