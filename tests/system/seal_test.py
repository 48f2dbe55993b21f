"""`corvan seal` and `corvan check --sealed`, as processes."""

import json
import os
import pathlib
import signal
import subprocess
import time
import unittest
import xml.etree.ElementTree

from farm import PATIENCE, FarmTest, children_of, moving_picture, wait_until

SCHEMA = pathlib.Path(__file__).resolve().parents[1] / "check" / "asc-mhl" / "ASCMHL.xsd"
MHL = "{urn:ASC:MHL:v2.0}"


class Seal(FarmTest):
    COUNT = 6

    def setUp(self):
        super().setUp()
        self.renders = self.folder / "tower & Söhne"
        self.renders.mkdir()
        self.pattern = str(self.renders / "f.%02d.raw")
        for number in range(1, self.COUNT + 1):
            self.frame(number).write_bytes(bytes([number]) * (1000 + number))
        self.list = self.renders / "list.mhl"

    def frame(self, number):
        return self.renders / f"f.{number:02d}.raw"

    def given(self):
        return ["--format", self.pattern, "--range", f"1-{self.COUNT}"]

    def seal(self, *arguments, status=0):
        return self.run_corvan("seal", *self.given(), "--to", self.list, *arguments, status=status)

    def check(self, *arguments, status=0, file=None):
        given = [*self.given(), "--sealed", file or self.list]
        return self.run_corvan("check", *given, *arguments, status=status)

    def flip(self, number):
        """One bit of a file, which keeps its date."""
        path = self.frame(number)
        before = path.stat()
        content = bytearray(path.read_bytes())
        content[-1] ^= 1
        path.write_bytes(content)
        os.utime(path, ns=(before.st_atime_ns, before.st_mtime_ns))

    def hashes(self):
        """What others find in the list."""
        root = xml.etree.ElementTree.parse(self.list).getroot()
        return {
            hash.find(MHL + "path").text: hash.find(MHL + "xxh64").text
            for hash in root.iter(MHL + "hash")
        }

    def need_valid(self):
        done = subprocess.run(
            ["xmllint", "--noout", "--schema", SCHEMA, self.list], capture_output=True, text=True
        )
        self.assertEqual(done.returncode, 0, done.stderr)

    def test_writes_a_list_that_its_schema_and_other_tools_take(self):
        done = self.seal()
        self.assertIn(f"6 of 6 sealed, 6 of them now: {self.list}\n", done.stdout)
        self.need_valid()
        names = [f"f.{number:02d}.raw" for number in range(1, self.COUNT + 1)]
        theirs = subprocess.run(
            ["xxhsum", "-H1", *names], cwd=self.renders, check=True, capture_output=True, text=True
        )
        lines = (line.split(maxsplit=1) for line in theirs.stdout.splitlines())
        self.assertEqual(self.hashes(), {name: digits for digits, name in lines})

    def test_is_broken_by_one_bit(self):
        self.seal()
        self.assertIn("6 files: 6 ok", self.check().stdout)
        self.flip(4)
        done = self.check(status=1)
        self.assertIn("6 files: 5 ok, 1 changed\n", done.stdout)
        self.assertRegex(done.stdout, r"  changed +4  .*f\.04\.raw: its hash is [0-9a-f]{16}, and was ")
        [table] = json.loads(self.check("--json", status=1).stdout)["tables"]
        self.assertEqual((table["counts"]["changed"], table["bad"]), (1, "4"))
        self.assertEqual(table["frames"][3]["state"], "changed")
        self.assertNotIn("changed", json.loads(
            self.corvan("check", "--json", *self.given()))["tables"][0]["counts"])
        self.assertEqual(self.check("--paths", status=1).stdout, f"{self.frame(4)}\n")

    def test_of_frames_that_are_not_in_it_says_nothing(self):
        self.frame(3).unlink()
        done = self.seal(status=1)
        self.assertIn("5 of 6 sealed", done.stdout)
        self.frame(3).write_bytes(b"x" * 1000)
        done = self.check(status=4)
        self.assertIn("no hash list has it", done.stdout)
        self.assertNotIn("changed", done.stdout)

    def test_is_not_put_on_bad_frames_nor_on_changed_ones(self):
        self.frame(5).write_bytes(b"short")
        self.assertIn("5 of 6 sealed", self.seal(status=1).stdout)
        self.frame(5).write_bytes(b"x" * 1005)
        self.flip(1)
        os.utime(self.frame(1))
        before = self.hashes()["f.01.raw"]
        done = self.seal(status=1)
        self.assertIn("5 of 6 sealed, 1 of them now", done.stdout)
        self.assertRegex(done.stdout, r"  changed +1  ")
        self.assertEqual(self.hashes()["f.01.raw"], before)
        self.assertIn("6 of 6 sealed, 1 of them now", self.seal("--renew").stdout)
        self.assertNotEqual(self.hashes()["f.01.raw"], before)
        self.need_valid()
        self.check()

    def test_is_found_in_the_folder_of_the_frames_where_no_list_is_named(self):
        done = self.run_corvan("seal", *self.given())
        file = self.renders / "tower & Söhne.mhl"
        self.assertIn(f": {file}\n", done.stdout)
        self.check(file=file)
        self.frame(2).unlink()
        self.assertIn("5 ok, 1 missing\n", self.check(file=file, status=1).stdout)
        self.frame(2).write_bytes(bytes([2]) * 1002)
        moved = self.folder / "elsewhere"
        self.renders.rename(moved)
        self.run_corvan("check", "--format", moved / "f.%02d.raw", "--range", "1-6",
                        "--sealed", moved / file.name)

    def test_is_read_as_others_write_it(self):
        self.seal()
        folder = self.renders / "ascmhl"
        folder.mkdir()
        file = folder / "0001_renders_2026-11-20_140309Z.mhl"
        file.write_text(self.list.read_text().replace(">corvan<", ">other<"))
        self.check(file=file)
        done = self.run_corvan("seal", *self.given(), "--to", file, status=2)
        self.assertIn("ascmhl", done.stderr)
        theirs = self.renders / "theirs.mhl"
        file.rename(theirs)
        before = theirs.read_bytes()
        done = self.run_corvan("seal", *self.given(), "--to", theirs, status=4)
        self.assertIn("was written by 'other'", done.stderr)
        self.assertEqual(theirs.read_bytes(), before)

    def test_that_makes_no_sense_is_refused(self):
        self.seal()
        whole = self.list.read_text()
        for text, why in (
            ("", "no whole XML"),
            (whole[:-20], "no whole XML"),
            (whole.replace(">f.02", ">../f.02"), '"../f.02.raw" leads out of its folder'),
            (whole.replace(">f.02", ">/f.02"), '"/f.02.raw" is not relative'),
            (whole.replace("xxh64", "md5"), None),
        ):
            self.list.write_text(text)
            done = self.check(status=4)
            self.assertNotIn("changed", done.stdout)
            self.assertIn(why or "its md5 alone", done.stderr)
            if why:
                self.assertIn(f"the hash list {self.list}", done.stderr)
                self.seal(status=4)
                self.assertEqual(self.list.read_text(), text, "the old list stays")
        self.list.unlink()
        self.assertIn(str(self.list), self.check(status=4).stderr)
        outside = self.run_corvan(
            "seal", *self.given(), "--to", self.folder / "none" / "l.mhl", status=2
        )
        self.assertIn("there is no folder for it", outside.stderr)
        other = self.folder / "other"
        other.mkdir()
        outside = self.run_corvan("seal", *self.given(), "--to", other / "l.mhl", status=4)
        self.assertIn("not beneath the folder", outside.stderr)

    def test_is_put_on_what_becomes_complete(self):
        self.frame(6).unlink()
        options = self.folder / "options.ini"
        options.write_text("[Analysis]\nRefresh = 20\n")
        process = self.start_corvan(
            "seal", "--watch", *self.given(), "--to", self.list, "--options", options
        )
        self.assertEqual(process.stdout.readline(), f"{self.pattern}  1-6\n")
        self.assertRegex(process.stdout.readline(), r"  sealed  1-5  ")
        self.assertEqual(len(self.hashes()), 5)
        whole = self.folder / "whole"
        whole.write_bytes(b"x" * 1006)
        whole.rename(self.frame(6))
        self.assertRegex(process.stdout.readline(), r"  sealed  6  ")
        process.communicate(timeout=PATIENCE)
        self.assertEqual(process.returncode, 0)
        self.check()
        self.frame(6).unlink()
        process = self.start_corvan("seal", "--watch", *self.given(), "--to", self.list)
        process.stdout.readline()
        process.send_signal(signal.SIGTERM)
        process.communicate(timeout=PATIENCE)
        self.assertIn(process.returncode, (1, -signal.SIGTERM))

    def test_reads_no_picture_again_that_is_as_it_was(self):
        pattern = self.folder / "p.%d.ppm"
        for number in range(1, 6):
            (self.folder / f"p.{number}.ppm").write_bytes(moving_picture(number))
        options = self.folder / "options.ini"
        options.write_text("[Analysis]\nRefresh = 20\n")
        process = self.start_corvan(
            "seal", "--watch", "--pictures", "--format", pattern, "--range", "1-6",
            "--to", self.folder / "l.mhl", "--options", options,
        )
        process.stdout.readline()
        self.assertRegex(process.stdout.readline(), r"  sealed  1-5  ")
        wait_until(lambda: not children_of(process.pid))
        # Some fifty passes, of which none starts anybody who reads.
        end = time.monotonic() + 1
        while time.monotonic() < end:
            self.assertEqual(children_of(process.pid), [])
        process.send_signal(signal.SIGTERM)
        process.communicate(timeout=PATIENCE)

    def test_says_which_frames_are_rendered_again(self):
        self.start_master()
        job = self.submit("exit", "--paused", "--range", "1-6", "--format", self.pattern)
        self.run_corvan("seal", job, "--to", self.list)
        self.flip(2)
        done = self.run_corvan("requeue", job, "--bad", "--sealed", self.list)
        self.assertEqual(self.parameter(done.stdout.strip(), "Range"), "2")


if __name__ == "__main__":
    unittest.main()
