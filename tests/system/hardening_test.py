"""What the programs of the packages are built with, and that one which lacks it is found."""

import os
import pathlib
import subprocess
import tempfile
import unittest

CHECK = pathlib.Path(__file__).resolve().parents[2] / "packaging" / "check-hardened"
COMPILE = os.environ["ORDWICK_HARDENING_COMPILE"].split()
LINK = os.environ["ORDWICK_HARDENING_LINK"].split()

SAMPLE = """
#include <cstdio>
#include <cstring>

int main(int count, char **arguments)
{
    char text[64];
    std::strcpy(text, arguments[count - 1]);
    std::printf("%s", text);
}
"""


class Hardening(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="ordwick.", dir="/tmp")
        self.addCleanup(folder.cleanup)
        self.program = pathlib.Path(folder.name) / "sample"

    def check(self, *more):
        """Builds a program as those of the packages, with these options behind the others."""
        subprocess.run(
            [os.environ["ORDWICK_CXX"], "-O2", *COMPILE, *LINK, *more, "-o", self.program, "-x", "c++", "-"],
            input=SAMPLE, text=True, check=True,
        )
        return subprocess.run([CHECK, self.program], capture_output=True, text=True, check=False)

    def test_is_in_what_the_options_build(self):
        done = self.check()
        self.assertEqual((done.returncode, done.stdout), (0, ""), done)

    def test_that_is_missing_is_named(self):
        for option, told in [
            ("-no-pie", "it is not position independent"),
            ("-Wl,-z,lazy", "the loader binds late"),
            ("-Wl,-z,norelro", "what the loader writes stays open"),
            ("-Wl,-z,execstack", "its stack may be executed"),
            ("-fno-stack-protector", "its stack is not guarded"),
            ("-U_FORTIFY_SOURCE", "it calls no checked functions"),
        ]:
            done = self.check(option)
            self.assertEqual(done.returncode, 1, option)
            self.assertEqual(done.stdout, f"{self.program}: {told}\n", option)


if __name__ == "__main__":
    unittest.main()
