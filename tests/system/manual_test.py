"""The manual pages and the shell's completion against what the programs say of themselves."""

import os
import pathlib
import re
import subprocess
import unittest

from farm import BIN, PATIENCE, FarmTest

ROOT = pathlib.Path(__file__).resolve().parents[2]
PAGES = ROOT / "docs" / "man"


def help_of(*command):
    return subprocess.run(
        [*command, "--help"], check=True, stdout=subprocess.PIPE, text=True, env=dict(os.environ, DISPLAY="")
    ).stdout


def verbs():
    return re.findall(r"^  ([a-z]+) ", help_of(BIN / "corvan").split("Subcommands:")[1], re.M)


def options_in(text):
    return set(re.findall(r"(?<![\w-])--[a-z][a-z-]*", text))


def page(name):
    return (PAGES / name).read_text().replace("\\-", "-")


class Manual(unittest.TestCase):
    def test_names_every_verb_and_option(self):
        text = page("corvan.1")
        for verb in verbs():
            self.assertIn(f".SS corvan {verb}", text)
            missing = options_in(help_of(BIN / "corvan", verb)) - options_in(text)
            self.assertEqual(missing, set(), verb)
        self.assertGreater(len(verbs()), 8)

    def test_names_no_verb_and_option_that_is_none(self):
        text = page("corvan.1")
        self.assertEqual(set(re.findall(r"^\.SS corvan ([a-z]+)", text, re.M)), set(verbs()))
        known = options_in(help_of(BIN / "corvan"))
        for verb in verbs():
            known |= options_in(help_of(BIN / "corvan", verb))
        self.assertEqual(options_in(text) - known, set())

    def test_of_the_other_programs_names_just_their_options(self):
        for program, name in (("ordwick", "ordwick.1"), ("corvan-master", "corvan-master.8"), ("corvan-web", "corvan-web.1")):
            self.assertEqual(options_in(page(name)), options_in(help_of(BIN / program)), name)

    def test_gives_the_usage_line_of_the_help(self):
        for program, name in (("ordwick", "ordwick.1"), ("corvan-master", "corvan-master.8"), ("corvan-web", "corvan-web.1")):
            synopsis = re.search(r"^\.SH SYNOPSIS\n((?:\.(?:B|I|RI) .*\n)+)", page(name), re.M).group(1)
            words = re.sub(r"^\.(?:RI (.*)|\w+ (.*))$", lambda m: (m[1] or "").replace(" ", "") + (m[2] or ""), synopsis, flags=re.M)
            usage = "Usage: " + " ".join(words.split())
            self.assertEqual(help_of(BIN / program).partition("\n")[0], usage)

    def test_names_no_section_of_the_options_that_nothing_reads(self):
        table = (ROOT / "docs" / "guide.md").read_text().partition("## The options file")[2]
        known = set(re.findall(r"^\| ([A-Z]\w+) \|", table.partition("\n## ")[0], re.M))
        self.assertIn("Master", known)
        for name in ("corvan.1", "ordwick.1", "corvan-master.8", "corvan-web.1"):
            said = re.findall(r'\bsections? ("\w+"(?:(?:,| and) "\w+")*)', page(name))
            self.assertEqual(set(re.findall(r'"(\w+)"', " ".join(said))) - known, set(), name)

    def test_has_one_table_of_exit_statuses(self):
        table = re.findall(r"^  (\d) (.+)$", help_of(BIN / "corvan").split("Exit status:")[1], re.M)
        self.assertEqual([status for status, _ in table], list("01234"))
        for name, row in (
            ("man/corvan.1", ".TP\n{}\n{}\n"), ("guide.md", "| {} | {} |\n"), ("check.md", "| {} | {} |\n")
        ):
            text = (ROOT / "docs" / name).read_text()
            for status, meaning in table:
                self.assertIn(row.format(status, meaning), text, name)

    def test_is_well_formed(self):
        for file in sorted(PAGES.iterdir()):
            done = subprocess.run(
                ["man", "--warnings", "-E", "UTF-8", "-l", file], capture_output=True, text=True
            )
            self.assertEqual((done.returncode, done.stderr), (0, ""), file.name)
            self.assertIn("NAME", done.stdout)


SCENE = """
camera { location <0, 1, -6> look_at 0 }
light_source { <5, 9, -9> rgb 1 }
sphere { <sin(Frame), 0, 0>, 1 pigment { granite scale 0.1 } }
plane { y, -1 pigment { granite } }
"""


class Examples(FarmTest):
    def setUp(self):
        super().setUp()
        self.env["PATH"] = f"{BIN}:{self.env['PATH']}"
        self.work = self.folder / "a user's work"
        self.work.mkdir()
        (self.work / "clock.pov").write_text(SCENE)

    def test_of_the_manual_can_be_pasted(self):
        self.start_master()
        blocks = re.findall(r"^\.nf\n(.*?)^\.fi$", page("corvan.1"), re.M | re.S)
        self.assertGreater(len(blocks), 1)
        done = subprocess.run(
            ["bash", "-e", "-u", "-c", "".join(blocks)], env=self.env, cwd=self.work,
            stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=PATIENCE,
        )
        self.assertEqual(done.returncode, 0, done)
        self.assertIn("12 files: 12 ok", done.stdout)
        frames = sorted(path.name for path in self.work.glob("*.png"))
        self.assertEqual(frames, [f"clock.{number:04d}.png" for number in range(1, 13)])
        self.assertEqual((self.work / "bad.txt").read_text(), "")


class Completion(FarmTest):
    def complete(self, *words):
        """What the key offers behind the last of these words."""
        script = (
            f"PATH={BIN}:$PATH; . {ROOT}/packaging/corvan.bash; COMP_WORDS=(\"$@\"); "
            'COMP_CWORD=$(($# - 1)); _corvan; printf "%s\\n" "${COMPREPLY[@]}"'
        )
        done = subprocess.run(
            ["bash", "-c", script, "bash", "corvan", *words],
            env=self.env, cwd=self.folder, check=True, capture_output=True, text=True,
        )
        self.assertEqual(done.stderr, "")
        return done.stdout.split()

    def test_offers_verbs_options_types_and_values(self):
        self.env.pop("CORVAN_MASTER")
        self.assertEqual(self.complete(""), verbs())
        self.assertEqual(self.complete("--log-level", "6", "sub"), ["submit"])
        for verb in verbs():
            listed = re.findall(r"^  (?:-\w,)?(--[a-z-]+)", help_of(BIN / "corvan", verb), re.M)
            self.assertEqual(self.complete(verb, "--"), listed)
        self.assertEqual(self.complete("submit", "P"), ["POV-Ray"])
        self.assertEqual(self.complete("check", "--sort", "d"), ["date"])
        self.assertEqual(self.complete("plot", "--rule", "r"), ["robust"])
        self.assertEqual(self.complete("show", ""), [], "no Master runs, and none is started")

    def test_offers_no_jobs_where_an_option_wants_a_value(self):
        self.start_master("--slots", "0")
        job = self.submit("true", "--range", "1", "--name", "Clock")
        for verb in verbs():
            text = help_of(BIN / "corvan", verb)
            takers = re.findall(r"^  (?:-\w,)?(--[a-z-]+) [A-Z]+\b", text, re.M)
            flags = set(re.findall(r"^  (?:-\w,)?(--[a-z-]+)", text, re.M)) - set(takers)
            for option in takers:
                offered = self.complete(verb, option, "")
                wanted = {job, "Clock"} if option.startswith("--after") else set()
                self.assertEqual({job, "Clock"} & set(offered), wanted, f"{verb} {option}")
            if verb not in ("submit", "list"):
                for option in flags - {"--help"}:
                    self.assertIn("Clock", self.complete(verb, option, ""), f"{verb} {option}")
            self.assertIn("--help", flags)

    def test_offers_jobs_and_files(self):
        self.start_master("--slots", "0")
        job = self.submit("true", "--range", "1", "--name", "Clock")
        self.assertEqual(self.complete("show", ""), [job, "Clock"])
        self.assertEqual(self.complete("show", "Cl"), ["Clock"])
        (self.folder / "beauty.0001.exr").touch()
        self.assertEqual(self.complete("check", "--format", "bea"), ["beauty.0001.exr"])


if __name__ == "__main__":
    unittest.main()
