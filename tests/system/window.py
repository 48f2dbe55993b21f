"""Ordwick's window as a process on the present display: its keys, what its log says, what it shows."""

import collections
import json
import os
import pathlib
import re
import select
import subprocess
import time

from farm import BIN, PATIENCE, SHARE, FarmTest, wait_until

ARTEFACTS = pathlib.Path(__file__).resolve().parents[2] / "artefacts" / "system"

FILE_MENU = (
    "Select Bad/Missing Frames",
    "Requeue Selected",
    "Requeue Bad/Missing Frames",
    "Delete Selected",
    "Delete Bad/Missing Frames",
    "Analysis settings...",
    "Close",
)
JOB_EDITS = ("Edit Custom Range", "Edit Image Formats")
TYPE_COMMANDS = ("View frame", "Open folder", "Show task logs")
DONE_MENU = (*JOB_EDITS, "Run Again", *TYPE_COMMANDS)
# Of the log, where the status bar changes.
STATUS = "Status bar: "


def theme_colour(name):
    """A colour of the dark theme as (red, green, blue)."""
    text = (SHARE / "colours" / "Dark.ini").read_text()
    code = re.search(rf"^{name} *= *#(\w+)", text, re.MULTILINE).group(1)
    return tuple(bytes.fromhex(code))


def tell(*command):
    """Runs a program that acts on the display or asks about it. Gives what it prints, empty where
    it fails: what it asks for may not be there yet."""
    done = subprocess.run(command, capture_output=True, text=True, timeout=PATIENCE)
    return done.stdout.strip() if done.returncode == 0 else ""


def press(*keys):
    """Presses keys where the keyboard is, as xdotool names them."""
    subprocess.run(["xdotool", "key", "--clearmodifiers", *keys], check=True, timeout=PATIENCE)


def write(text):
    subprocess.run(["xdotool", "type", "--clearmodifiers", "--", text], check=True, timeout=PATIENCE)


def copied_text():
    """What was copied last."""
    return tell("xclip", "-out", "-selection", "clipboard")


def keep_picture(name):
    """Leaves a picture of the display in the artefacts; gives its path."""
    ARTEFACTS.mkdir(parents=True, exist_ok=True)
    picture = ARTEFACTS / f"{name}.png"
    subprocess.run(["import", "-window", "root", picture], timeout=PATIENCE)
    return picture


class Log:
    """Lines of a growing file, each as soon as it is written."""

    def __init__(self, file):
        file.touch()
        self.file = file
        self.process = None  # The one that writes it, where it is known.
        self.seen = []
        self.last_status = ""  # Of the status bar, as far as lines were seen.
        self.unseen = collections.deque()
        self.rest = b""  # Of a line that is not whole yet.
        self.tail = subprocess.Popen(
            ["tail", "-n", "+1", "-F", file], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL
        )

    def wait_for(self, text):
        """The next line that holds a text; those before it are passed over."""
        end = time.monotonic() + PATIENCE
        while self.unseen or self.read_on(end):
            line = self.take()
            if text in line:
                return line
        raise AssertionError(f"'{text}' is not logged; the last lines are:\n" + "\n".join(self.seen[-20:]))

    def has(self, text):
        """Whether a line that holds a text comes within a few seconds; it is passed over."""
        end = time.monotonic() + 3
        while self.unseen or self.read_on(end):
            if text in self.take():
                return True
        return False

    def wait_for_status(self, text):
        """Until the status bar, which tells each change, shows a text; it may show it already."""
        if not self.last_status.startswith(text):
            self.wait_for(STATUS + text)

    def take(self):
        line = self.unseen.popleft()
        self.seen.append(line)
        if STATUS in line:
            self.last_status = line.split(STATUS)[1]
        return line

    def read_on(self, end):
        """Waits for lines; false where none come any more."""
        while not self.unseen and time.monotonic() < end:
            has_ended = self.process and self.process.poll() is not None
            # `tail` looks once a second.
            if select.select([self.tail.stdout], [], [], 3)[0]:
                *lines, self.rest = (self.rest + os.read(self.tail.stdout.fileno(), 65536)).split(b"\n")
                self.unseen.extend(line.decode() for line in lines)
            elif has_ended:
                break
        return bool(self.unseen)

    def close(self):
        self.tail.kill()
        self.tail.communicate()


class Window:
    """One Ordwick, opened by `corvan watch`. It ends with the test at the latest."""

    def __init__(self, test, subject, name, options, place):
        folder = test.folder / name
        folder.mkdir()
        given = []
        if options is not None:
            given = ["--options", folder / "options.ini"]
            x, y = place
            given[1].write_text(
                f"[Analysis]\nRefresh = 200\n[Window]\nX = {x}\nY = {y}\n" + options
            )
        self.number = ""
        self.log = Log(folder / "ordwick.log")
        test.addCleanup(self.log.close)
        output = open(folder / "output.txt", "wb")
        test.addCleanup(output.close)
        self.process = subprocess.Popen(
            [BIN / "corvan", "watch", *given]
            + ["--log-file", self.log.file, "--log-level", "6", "--", *subject],
            env=test.env,
            stdout=output,
            stderr=output,
        )
        self.log.process = self.process
        test.addCleanup(self.process.wait)
        test.addCleanup(self.process.kill)

    def dialog(self):
        """The title of the dialog that has the keyboard; empty where the main window has it."""
        # A message box has the main window's title.
        if tell("xdotool", "getactivewindow") in ("", self.main()):
            return ""
        return tell("xdotool", "getactivewindow", "getwindowname")

    def wait_for_dialog(self, title):
        """Returns once a dialog of that title has the keyboard."""
        try:
            wait_until(lambda: self.dialog() == title, self.process)
        except AssertionError as error:
            picture = keep_picture(f"no-{title}")
            place = self.dialog() or "the main window, or nowhere"
            raise AssertionError(
                f"'{title}' does not get the keyboard, which is in {place}; see {picture}"
            ) from error

    def main(self):
        """The number of the main window, once it is there."""
        search = ["xdotool", "search", "--onlyvisible", "--all", "--pid", str(self.process.pid)]
        find = lambda: self.number or tell(*search, "--name", "^Ordwick$").partition("\n")[0]
        self.number = wait_until(find, self.process)
        return self.number

    def take_keyboard(self):
        """Returns once the main window has the keyboard; no dialog may be up."""
        main = self.main()
        tell("xdotool", "windowactivate", main)
        wait_until(lambda: tell("xdotool", "getactivewindow") == main, self.process)

    def press(self, *keys):
        """Presses keys with the keyboard in the main window."""
        self.take_keyboard()
        press(*keys)

    def choose(self, item, *menu):
        """Chooses an item of a menu, whose items are given in their order, with the keyboard alone.
        `menu` is that of the job where it begins with the job's edits."""
        self.press("F10", *(["Right"] if menu[:2] == JOB_EDITS else []))
        # The first key goes to the first item.
        press(*(["Down"] * (menu.index(item) + 1)), "Return")

    def wait_for_status(self, text):
        """Returns once the status bar shows a text."""
        self.log.wait_for_status(text)

    def rows_with(self, name):
        """The heights, in lines of the picture, at which a colour of the theme is shown."""
        picture = subprocess.run(
            ["import", "-silent", "-window", self.main(), "-depth", "8", "ppm:-"],
            stdout=subprocess.PIPE,
            check=True,
            timeout=PATIENCE,
        ).stdout
        _, size, _, pixels = picture.split(b"\n", 3)
        stride = 3 * int(size.split()[0])
        colour = bytes(theme_colour(name))
        rows = []
        for top in range(0, len(pixels), stride):
            line = pixels[top : top + stride]
            at = line.find(colour)
            while at >= 0 and at % 3:
                at = line.find(colour, at + 1)
            if at >= 0:
                rows.append(top // stride)
        return rows

    def steady_rows_with(self, name):
        """The same where two looks find the same, else none: a window that has just come may still
        be taking its size."""
        rows = self.rows_with(name)
        return rows if rows == self.rows_with(name) else []

    def close(self):
        """Closes it as its close button does. Gives Ordwick's exit status."""
        self.take_keyboard()  # The window manager has taken it on then.
        subprocess.run(["wmctrl", "-i", "-c", self.main()], check=True, timeout=PATIENCE)
        return self.process.wait(PATIENCE)


class WindowTest(FarmTest):
    """Gives each test a Master with a job whose frames are there, and windows on demand."""

    COUNT = 12
    SIZE = 3000

    def setUp(self):
        super().setUp()
        self.start_master()
        self.make_job()

    def make_job(self):
        """Sets `job` and `pattern`."""
        self.pattern = self.folder / "frames" / "f.%04d.raw"
        self.job = self.submit(
            f'head -c {self.SIZE} /dev/zero > "$2"',
            *("--range", f"1-{self.COUNT}", "--format", self.pattern, "--name", "frames"),
        )
        self.corvan("wait", self.job)

    def frame(self, number):
        return pathlib.Path(str(self.pattern) % number)

    def open_window(self, *subject, name="window", options="", place=(0, 0)):
        """With passes that follow each other quickly. `name` is that of its files in the test's
        folder, `options` what stands at the end of its options file; None where it is to find one
        by itself."""
        return Window(self, subject, name, options, place)

    def jobs(self):
        """All jobs of the Master, the latest first."""
        return json.loads(self.corvan("list", "--json"))
