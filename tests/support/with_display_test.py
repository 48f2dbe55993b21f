"""A display of its own ends with its command, also where the server does not hear the first time."""

import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

WITH_DISPLAY = pathlib.Path(__file__).with_name("with-display")

# The server as it is, but for the first that asks it to end.
DEAF_SERVER = """#!/usr/bin/env bash
asked=0
hear() { asked=$((asked + 1)); echo "$asked" >"$HEARD"; ((asked < 2)) || { kill "$server"; exit; }; }
trap hear TERM
XVFB "$@" &
server=$!
while kill -0 "$server" 2>/dev/null; do wait "$server"; done
"""


class WithDisplay(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def run_on_display(self, *command, **environment):
        return subprocess.run(
            [WITH_DISPLAY, *command], env={**os.environ, **environment}, capture_output=True, text=True, timeout=60
        )

    def test_gives_the_status_of_its_command(self):
        self.assertEqual(self.run_on_display("sh", "-c", "exit 3").returncode, 3)

    def test_ends_a_server_that_does_not_hear_the_first_time(self):
        server = self.folder / "Xvfb"
        server.write_text(DEAF_SERVER.replace("XVFB", shutil.which("Xvfb")))
        server.chmod(0o755)
        heard = self.folder / "heard"
        done = self.run_on_display("true", PATH=f"{self.folder}:{os.environ['PATH']}", HEARD=str(heard))
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual(heard.read_text(), "2\n")


if __name__ == "__main__":
    unittest.main()
