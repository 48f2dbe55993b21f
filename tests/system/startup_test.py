"""What Ordwick does with an argument that is no job: it says so in its log and in a box, and ends."""

import subprocess
import unittest

from farm import BIN, PATIENCE, FarmTest
from window import Log, copied_text, press, tell, wait_until

FATAL = "Incorrect usage: No Job ID supplied"


class WrongUsage(FarmTest):
    def setUp(self):
        super().setUp()
        # The usual address, where a personal Master would be started.
        del self.env["CORVAN_MASTER"]

    def start(self, *arguments):
        log = Log(self.folder / "ordwick.log")
        self.addCleanup(log.close)
        process = subprocess.Popen(
            [BIN / "ordwick", "--log-file", log.file, "--log-level", "5", *arguments],
            env=self.env,
            stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL,
        )
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process, log

    def refuse(self, *arguments):
        """Starts it, reads the box, and confirms it. Gives what was logged, with what the Master of
        a whole session would have been asked by then."""
        process, log = self.start(*arguments)
        wait_until(lambda: tell("xdotool", "getactivewindow", "getwindowname") == "Error", process)

        def copied():
            # Keys that come before the box has the keyboard are lost.
            press("Tab", "ctrl+a", "ctrl+c")
            return copied_text()

        self.assertEqual(wait_until(copied, process), "You must supply a Job ID to start Ordwick")
        press("Escape")
        self.assertEqual(process.wait(PATIENCE), 255)
        return log.file.read_text()

    def assert_asked_nobody(self, log):
        self.assertNotIn("personal Master", log)
        self.assertNotIn("Requesting Job", log)
        self.assertNotIn("Connected to the Master", log)
        self.assertEqual(list(self.folder.glob("runtime/**/*.sock")), [])
        self.assertFalse((self.folder / "data" / "Corvan").exists())

    def test_without_an_argument(self):
        log = self.refuse()
        line = next(line for line in log.splitlines() if "Command line specified:" in line)
        self.assertTrue(line.endswith("Command line specified: "), line)
        self.assertIn(f"{FATAL}\n\nUsage: Ordwick <JobID>\n", log)
        self.assertLess(log.index("Command line specified:"), log.index(FATAL))
        self.assertNotIn("corvan watch", log)
        self.assert_asked_nobody(log)

    def test_with_what_is_no_identifier(self):
        log = self.refuse("tower", "9d6e1a3c-2f0b-4a55-8c1e-0b5f2f1d7a10")
        self.assertIn("Command line specified: tower\n", log)
        self.assertIn('"tower" is no identifier of a job; "corvan watch" takes a job\'s name, too\n', log)
        self.assertIn(f"{FATAL}\n\nUsage: Ordwick <JobID>\n", log)
        self.assert_asked_nobody(log)

    def test_while_the_box_is_up_nobody_is_asked(self):
        # A Master that is there already at the usual address.
        self.env["CORVAN_MASTER"] = f"unix:{self.env['XDG_RUNTIME_DIR']}/corvan-master.sock"
        self.start_master("--log-level", "5")
        del self.env["CORVAN_MASTER"]
        log = self.refuse()
        self.assertNotIn("Requesting Job", log)
        self.assertNotIn("Connected to the Master", log)
        self.corvan("list")
        # The log is written a moment later, in order.
        wait_until(lambda: " is Corvan " in self.master_log())
        self.assertNotIn(" is Ordwick ", self.master_log())

    def test_the_master_cannot_be_looked_for(self):
        process, log = self.start("--master", "nonsense", "9d6e1a3c-2f0b-4a55-8c1e-0b5f2f1d7a10")
        self.assertEqual(process.wait(PATIENCE), 255)
        text = log.file.read_text()
        self.assertIn('"nonsense" is no address of a Master', text)
        self.assertNotIn(FATAL, text)
        self.assert_asked_nobody(text)


if __name__ == "__main__":
    unittest.main()
