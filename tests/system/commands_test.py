"""The commands of the Job menu: what the Master does with the job, and the user's own programs."""

import os
import unittest

from farm import SHARE, read_pipe
from window import (
    DONE_MENU,
    FILE_MENU,
    JOB_EDITS,
    TYPE_COMMANDS,
    WindowTest,
    keep_picture,
    copied_text,
    press,
    wait_until,
)

PRIORITY = ("Raise Priority", "Lower Priority")
RUNNING_MENU = (*JOB_EDITS, "Pause", "Cancel", *PRIORITY, *TYPE_COMMANDS)
PAUSED_MENU = (*JOB_EDITS, "Resume", "Cancel", *PRIORITY, *TYPE_COMMANDS)


class MasterCommands(WindowTest):
    """On a job whose frames are never finished."""

    def make_job(self):
        os.mkfifo(self.folder / "never")
        self.pattern = self.folder / "frames" / "f.%04d.raw"
        self.job = self.submit(
            f"exec cat {self.folder}/never", "--range", "1-3", "--format", self.pattern
        )
        wait_until(lambda: self.show(self.job)["status"] == "Running")

    def choose(self, item, menu, status):
        """Returns once Master and window know the job's new status."""
        self.window.choose(item, *menu)
        number = {"Running": 1, "Paused": 4, "Cancelled": 5}[status]
        self.window.log.wait_for(f"Received Job parameter 'Status' = {number}")
        self.assertEqual(self.show(self.job)["status"], status)

    def test_pause_resume_cancel_and_run_the_job_again(self):
        self.window = self.open_window(self.job)
        self.window.wait_for_status("3 Files | 3 Missing | 0 Too Small")
        self.choose("Pause", RUNNING_MENU, "Paused")
        self.choose("Resume", PAUSED_MENU, "Running")
        self.choose("Cancel", RUNNING_MENU, "Cancelled")
        self.choose("Run Again", DONE_MENU, "Running")
        self.assertEqual(self.window.close(), 0)

    def test_raise_and_lower_the_priority(self):
        window = self.open_window(self.job)
        window.wait_for_status("3 Files | 3 Missing | 0 Too Small")
        for item, priority in (("Raise Priority", "60"), ("Lower Priority", "50")):
            window.choose(item, *RUNNING_MENU)
            window.log.wait_for(f"Received Job parameter 'Priority' = {priority}")
            self.assertEqual(self.parameter(self.job, "Priority"), priority)
        self.assertEqual(window.close(), 0)


def type_section():
    """Where the options hold commands for the jobs of type Command."""
    lines = (SHARE / "jobtypes" / "Command.ini").read_text().splitlines()
    identifier = next(line for line in lines if line.startswith("Id = ")).removeprefix("Id = ")
    return f"[{identifier}]\n"


class OwnCommands(WindowTest):
    def make_job(self):
        super().make_job()
        # A folder that a shell would not leave as it is.
        self.pattern = self.folder / "-a;$(touch x)'\" ü" / "f.%04d.raw"
        self.job = self.submit(
            f'head -c {self.SIZE} /dev/zero > "$2"',
            *("--range", "1-12", "--format", self.pattern, "--name", "frames"),
        )
        self.corvan("wait", self.job)

    def open_with(self, label, *arguments):
        """Opens a window whose job has one more command at the end of its menu."""
        lines = [f"Command.1.{n} = {text}\n" for n, text in enumerate(arguments, 1)]
        window = self.open_window(
            self.job, options=f"{type_section()}Command.1.Label = {label}\n" + "".join(lines)
        )
        window.wait_for_status("12 Files | 0 Missing | 0 Too Small")
        return window

    def test_are_given_the_first_selected_frame_as_one_argument(self):
        os.mkfifo(self.folder / "told")
        window = self.open_with(
            "Tell", *("sh", "-c", f'printf %s "$#:$1" > {self.folder}/told', "tell", "{Note}")
        )
        window.choose("Tell", *DONE_MENU, "Tell")
        self.assertEqual(read_pipe(self.folder / "told"), "1:")

        self.frame(7).unlink()
        self.frame(5).unlink()
        window.wait_for_status("12 Files | 2 Missing | 0 Too Small")
        window.press("ctrl+s")
        window.choose("Tell", *DONE_MENU, "Tell")
        self.assertEqual(read_pipe(self.folder / "told"), f"1:{self.frame(5)}")
        self.assertFalse((self.folder / "x").exists())
        self.assertEqual(window.close(), 0)

    def test_may_stand_in_the_options_of_all_window_programs(self):
        os.mkfifo(self.folder / "told")
        shared = self.folder / "config" / "CorvanGui" / "CorvanGui.ini"
        shared.parent.mkdir(parents=True)
        shared.write_text(
            f"# Jobs of the type Command\n{type_section()}Command.3.Label = Tell\n"
            "Command.3.1 = sh\nCommand.3.2 = -c\n"
            f'Command.3.3 = printf %s "$1" > {self.folder}/told\n'
            "Command.3.4 = tell\nCommand.3.5 = {Name} of {Program}: {{}\n"
        )
        window = self.open_window(self.job)
        window.wait_for_status("12 Files | 0 Missing | 0 Too Small")
        window.choose("Tell", *DONE_MENU, "Tell")
        self.assertEqual(read_pipe(self.folder / "told"), "frames of sh: {}")
        self.assertEqual(window.close(), 0)

    def test_that_cannot_be_started_say_so_in_a_box(self):
        window = self.open_with("Broken", "/no/such/program", "{Note}")
        window.choose("Broken", *DONE_MENU, "Broken")
        window.wait_for_dialog("Ordwick")
        keep_picture("no-such-program")
        press("Tab", "ctrl+a", "ctrl+c")
        self.assertEqual(
            wait_until(copied_text),
            "The Job Command tried to launch a program that could not be executed:\n"
            "/no/such/program: No such file or directory",
        )
        press("Escape")
        window.choose("Close", *FILE_MENU)
        self.assertEqual(window.process.wait(), 0)

    def test_that_cannot_be_filled_say_that_they_failed(self):
        window = self.open_with("Unfillable", "true", "{NoSuchParameter}")
        window.choose("Unfillable", *DONE_MENU, "Unfillable")
        window.wait_for_dialog("Ordwick")
        press("Tab", "ctrl+a", "ctrl+c")
        self.assertEqual(wait_until(copied_text), "The command failed with an exception:\n5s")
        press("Escape")
        self.assertEqual(window.close(), 0)


if __name__ == "__main__":
    unittest.main()
