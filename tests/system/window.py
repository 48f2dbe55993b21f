"""Ordwick's window as a process on the present display: what its log says and what it shows."""

import pathlib
import re
import select
import subprocess
import time

from farm import BIN, PATIENCE, SHARE, FarmTest

ARTEFACTS = pathlib.Path(__file__).resolve().parents[2] / "artefacts" / "system"


def theme_colour(name):
    """A colour of the dark theme as (red, green, blue)."""
    text = (SHARE / "colours" / "Dark.ini").read_text()
    code = re.search(rf"^{name} *= *#(\w+)", text, re.MULTILINE).group(1)
    return tuple(bytes.fromhex(code))


class Log:
    """Lines of a growing file, each as soon as it is written."""

    def __init__(self, file):
        file.touch()
        self.seen = []
        self.tail = subprocess.Popen(
            ["tail", "-n", "+1", "-F", file], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL
        )

    def wait_for(self, text):
        """The next line that holds a text; those before it are passed over."""
        end = time.monotonic() + PATIENCE
        while select.select([self.tail.stdout], [], [], max(0, end - time.monotonic()))[0]:
            line = self.tail.stdout.readline().decode()
            self.seen.append(line)
            if text in line:
                return line.rstrip("\n")
        raise AssertionError(f"'{text}' is not logged; the last lines are:\n" + "".join(self.seen[-20:]))

    def close(self):
        self.tail.kill()
        self.tail.communicate()


class WindowTest(FarmTest):
    """Gives each test a Master with a job whose frames are there, and a window on demand."""

    COUNT = 12
    SIZE = 3000

    def setUp(self):
        super().setUp()
        self.start_master()
        self.pattern = self.folder / "frames" / "f.%04d.raw"
        self.job = self.submit(
            f'head -c {self.SIZE} /dev/zero > "$2"',
            *("--range", f"1-{self.COUNT}", "--format", self.pattern, "--name", "frames"),
        )
        self.corvan("wait", self.job)

    def frame(self, number):
        return pathlib.Path(str(self.pattern) % number)

    def open_window(self, *subject):
        """Opens it by `corvan watch`, with passes that follow each other quickly."""
        options = self.folder / "Ordwick.ini"
        options.write_text("[Analysis]\nRefresh = 200\n")
        file = self.folder / "ordwick.log"
        self.log = Log(file)
        self.addCleanup(self.log.close)
        output = open(self.folder / "ordwick.txt", "wb")
        self.addCleanup(output.close)
        self.window = subprocess.Popen(
            [BIN / "corvan", "watch", "--options", options, "--log-file", file, "--log-level", "6"]
            + ["--", *subject],
            env=self.env,
            stdout=output,
            stderr=output,
        )
        self.addCleanup(self.window.wait)
        self.addCleanup(self.window.kill)

    def close_window(self):
        """Closes it as its close button does. Gives Ordwick's exit status."""
        close = ["wmctrl", "-F", "-c", "Ordwick"]
        # The window manager may not have taken it on yet.
        self.wait_until(lambda: subprocess.run(close, capture_output=True).returncode == 0)
        return self.window.wait(PATIENCE)

    def wait_for_status(self, text):
        """Returns once the status bar shows a text."""
        self.log.wait_for(f"Status bar: {text}")

    def rows_with(self, name):
        """The heights, in lines of the picture, at which a colour of the theme is shown."""
        picture = subprocess.run(
            ["import", "-silent", "-window", "root", "-depth", "8", "rgb:-"],
            stdout=subprocess.PIPE,
            check=True,
            timeout=PATIENCE,
        ).stdout
        size = subprocess.run(
            ["xdotool", "getdisplaygeometry"], stdout=subprocess.PIPE, check=True
        ).stdout.split()
        stride = 3 * int(size[0])
        colour = bytes(theme_colour(name))
        rows = []
        for top in range(0, len(picture), stride):
            line = picture[top : top + stride]
            at = line.find(colour)
            while at >= 0 and at % 3:
                at = line.find(colour, at + 1)
            if at >= 0:
                rows.append(top // stride)
        return rows

    def wait_until(self, is_so):
        """Looks again and again until something is so."""
        end = time.monotonic() + PATIENCE
        while not is_so():
            self.assertLess(time.monotonic(), end, "it does not come to be so")

    def keep_picture(self, name):
        ARTEFACTS.mkdir(parents=True, exist_ok=True)
        subprocess.run(["import", "-window", "root", ARTEFACTS / f"{name}.png"], timeout=PATIENCE)
