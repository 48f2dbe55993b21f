"""`corvan check` and what acts on its verdict, as processes."""

import collections
import json
import os
import pty
import random
import re
import signal
import subprocess
import time
import unittest
import xml.etree.ElementTree

from farm import BIN, FarmTest, PATIENCE

NOBODY = 65534


class CheckedFrames(FarmTest):
    """Frames 1 to 9 of a pattern: 4 and 9 missing, 3 too small, 7 far larger than the rest."""

    def setUp(self):
        super().setUp()
        self.renders = self.folder / "renders"
        self.renders.mkdir()
        self.pattern = str(self.renders / "f.%02d.raw")
        for number in (1, 2, 3, 5, 6, 7, 8):
            size = {3: 10, 7: 1100}.get(number, 1000)
            self.frame(number).write_bytes(b"x" * size)

    def frame(self, number):
        return self.renders / f"f.{number:02d}.raw"

    def finish_frame(self, number):
        """Whole at once: between its making and its writing it would be too small, and said to be."""
        whole = self.folder / "whole"
        whole.write_bytes(b"x" * 1000)
        whole.rename(self.frame(number))

    def check(self, *arguments, status=1):
        more = ["--format", self.pattern, "--range", "1-9", "--variation", "5"]
        return self.run_corvan("check", *more, *arguments, status=status)

    def checked(self, *arguments, status=1):
        return json.loads(self.check("--json", *arguments, status=status).stdout)["tables"][0]


class Check(CheckedFrames):
    def test_tells_people_of_counts_and_ranges_with_a_path_each(self):
        lines = self.check().stdout.splitlines()
        self.assertEqual(lines[0], f"{self.pattern}  1-9")
        self.assertEqual(lines[1], "9 files: 5 ok, 2 missing, 1 too small, 1 outlier")
        self.assertEqual(
            [line.split() for line in lines[2:]],
            [
                ["missing", "4,9", str(self.frame(4))],
                ["too", "small", "3", str(self.frame(3))],
                ["outlier", "7", str(self.frame(7))],
            ],
        )
        self.assertNotIn("\x1b", "".join(lines))

    def test_tells_programs_of_each_frame(self):
        table = self.checked()
        self.assertEqual(list(table), ["format", "frames", "counts", "bad"])
        self.assertEqual(
            table["counts"], {"files": 9, "ok": 5, "missing": 2, "too-small": 1, "outlier": 1}
        )
        self.assertEqual(table["bad"], "3,4,7,9")
        for number, frame in enumerate(table["frames"], 1):
            self.assertEqual(list(frame), ["frame", "path", "state", "size", "modified"])
            self.assertEqual((frame["frame"], frame["path"]), (number, str(self.frame(number))))
            if frame["state"] == "missing":
                self.assertEqual((frame["size"], frame["modified"]), (None, None))
                continue
            status = self.frame(number).stat()
            self.assertEqual(frame["size"], status.st_size)
            self.assertRegex(frame["modified"], r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{9}Z$")
            self.assertTrue(frame["modified"].endswith(f"{status.st_mtime_ns % 10**9:09d}Z"))

    def test_prints_paths_of_bad_frames_alone(self):
        bad = [str(self.frame(number)) for number in (3, 4, 7, 9)]
        self.assertEqual(self.check("--paths").stdout.splitlines(), bad)
        self.assertEqual(self.check("--paths", "-0").stdout.split("\0"), bad + [""])

    def test_names_beside_a_range_the_path_of_its_first_number_however_it_is_sorted(self):
        for frame in (2, 3, 7, 8):
            self.frame(frame).write_bytes(b"x" * (10 + frame))
        for order in ([], ["--descending"], ["--sort", "size", "--descending"]):
            lines = self.check(*order).stdout.splitlines()
            self.assertIn(f"  too small    2,3,7,8  {self.frame(2)}", lines)

    def test_gives_a_terminal_nothing_of_a_path_to_act_on(self):
        done = self.run_corvan(
            "check", "--format", "/none/\x1b[31m\n%d", "--range", "1,2", status=1
        )
        self.assertIn("/none/\\x1b[31m\\x0a%d  1,2\n", done.stdout)
        self.assertIn("1,2  /none/\\x1b[31m\\x0a1\n", done.stdout)
        self.assertNotIn("\x1b", done.stdout + done.stderr)
        bad = self.run_corvan(
            "check", "--format", "/none/\x1b%d", "--range", "1", "--paths", "-0", status=1
        )
        self.assertEqual(bad.stdout, "/none/\x1b1\0", "for a program")

        self.frame(1).rename(self.renders / "\x1b1")
        given = ["--format", f"{self.renders}/\x1b%d", "--range", "1,2"]
        for command, path in (
            (["check", *given, "--paths"], f"{self.renders}/\\x1b2"),
            (["delete", *given, "--selected", "1", "--yes"], f"{self.renders}/\\x1b1"),
        ):
            ours, theirs = pty.openpty()
            subprocess.run([BIN / "corvan", *command], env=self.env, stdout=theirs)
            os.close(theirs)
            self.assertEqual(os.read(ours, 1000).decode(), f"{path}\r\n")
            os.close(ours)

    def test_ends_with_zero_where_no_frame_is_bad(self):
        table = json.loads(
            self.corvan("check", "--format", self.pattern, "--range", "1,2,5", "--json")
        )["tables"][0]
        self.assertEqual((table["counts"]["ok"], table["bad"]), (3, ""))

    def test_judges_by_the_rows_as_they_are_sorted(self):
        def order(*arguments):
            return [frame["frame"] for frame in self.checked(*arguments)["frames"]]

        self.assertEqual(order("--descending"), [9, 8, 7, 6, 5, 4, 3, 2, 1])
        self.assertEqual(order("--sort", "size"), [4, 9, 3, 1, 2, 5, 6, 8, 7])
        self.assertEqual(order("--sort", "size", "--descending"), [7, 8, 6, 5, 2, 1, 3, 9, 4])
        for number in range(1, 9):
            if self.frame(number).exists():
                os.utime(self.frame(number), ns=(0, 10**18 - number))
        self.assertEqual(order("--sort", "date"), [4, 9, 8, 7, 6, 5, 3, 2, 1])

    def test_by_the_robust_rule_accuses_no_frame_for_its_neighbour(self):
        for number in range(1, 25):
            size = {3: 1000, 4: 103_000}.get(number, 100_000)
            self.frame(number).write_bytes(b"x" * size)

        def outliers(*rule):
            given = ["check", "--json", "--format", self.pattern, "--range", "1-24", *rule]
            [table] = json.loads(self.run_corvan(*given, status=1).stdout)["tables"]
            return table

        self.assertEqual(outliers()["bad"], "1-4")
        self.assertEqual(outliers("--rule", "neighbours"), outliers())
        robust = outliers("--rule", "robust")
        self.assertEqual((robust["bad"], robust["counts"]["outlier"]), ("3", 1))
        fields = ["frame", "path", "state", "size", "modified", "score"]
        for frame in robust["frames"]:
            self.assertEqual(list(frame), fields)
            self.assertEqual(frame["score"] > 3, frame["state"] == "outlier", frame)
        self.frame(9).unlink()
        self.assertIsNone(outliers("--rule", "robust")["frames"][8]["score"])
        picture = self.run_corvan(
            "plot", "--format", self.pattern, "--range", "1-24", "--rule", "robust", "-o", "-"
        ).stdout
        self.assertIn(">1 outlier<", picture)

    def test_takes_the_numbers_of_renumbered_frames(self):
        def numbers(*arguments):
            done = self.run_corvan("check", "--format", "f%d", "--json", *arguments, status=1)
            return [frame["frame"] for frame in json.loads(done.stdout)["tables"][0]["frames"]]

        self.assertEqual(numbers("--range=-5--3"), [-5, -4, -3])
        self.assertEqual(numbers("--range", "-2-1"), [-2, -1, 0, 1])
        self.assertEqual(
            numbers("--range", "10-12", "--renumber-start", "1", "--renumber-by", "2"), [1, 3, 5]
        )
        self.assertEqual(numbers("--range", "1-2", "--sequence-by", "0.5"), [1, 2, 3, 4])
        self.assertEqual(numbers("--range", "1,3,5", "--packet-size", "5"), [1, 2, 3, 4, 5])
        self.assertEqual(numbers("--range", "1-2", "--renumber-start", "-7"), [-7, -6])

    def test_makes_a_table_of_each_pattern(self):
        done = self.run_corvan(
            "check", "--format", "a.####.exr", "--format", "b.$F2.exr", "--range", "7", "--json",
            status=1,
        )
        folder = os.path.realpath(self.folder)
        paths = [table["frames"][0]["path"] for table in json.loads(done.stdout)["tables"]]
        self.assertEqual(paths, [f"{folder}/a.0007.exr", f"{folder}/b.07.exr"])

    def test_looks_again_before_it_takes_a_frame_for_missing(self):
        process = self.start_corvan(
            "check", "--format", self.pattern, "--range", "4", "--retry-missing", "100"
        )
        self.assertEqual(process.stdout.readline(), f"{self.pattern}  4\n")
        self.finish_frame(4)
        self.assertEqual(process.communicate(timeout=PATIENCE)[0], "1 file: 1 ok\n")

    def test_goes_on_and_tells_of_what_changes(self):
        options = self.folder / "options.ini"
        options.write_text("[Analysis]\nRefresh = 20\n")
        process = self.start_corvan(
            "check", "--watch", "--format", self.pattern, "--range", "4-5", "--options", options
        )
        for line in (f"{self.pattern}  4-5", "2 files: 1 ok, 1 missing"):
            self.assertEqual(process.stdout.readline(), line + "\n")
        process.stdout.readline()
        self.finish_frame(4)
        self.assertRegex(process.stdout.readline(), r"  missing -> ok  4  /.*f\.04\.raw\n$")
        self.assertEqual(process.stdout.readline(), "2 files: 2 ok\n")
        process.send_signal(signal.SIGTERM)
        process.communicate(timeout=PATIENCE)
        self.assertEqual(process.returncode, 0)

    def test_tells_that_a_variation_beyond_all_sizes_accuses_each_frame(self):
        wide = ["check", "--format", self.pattern, "--range", "1-9", "--variation", "101"]
        told = self.run_corvan(*wide, status=1)
        self.assertEqual(
            told.stderr,
            "corvan: with a --variation above 100 each frame that has neighbours is an outlier, as in the window; "
            "--rule robust takes any\n",
        )
        self.assertIn("6 outlier", told.stdout)
        told = self.run_corvan(*wide, "--rule", "robust", status=1)
        self.assertEqual(told.stderr, "")
        self.assertNotIn("6 outlier", told.stdout)

    def test_ends_in_the_midst_of_a_pass_with_the_status_of_the_one_before(self):
        options = self.folder / "options.ini"
        options.write_text("[Analysis]\nRefresh = 1\n")
        # Passes over so many frames are all that it does.
        process = self.start_corvan(
            "check", "--watch", "--format", self.folder / "f.%d", "--range", "1-300000", "--options", options
        )
        self.assertIn("300000 missing", process.stdout.readline() + process.stdout.readline())
        time.sleep(0.5)
        process.send_signal(signal.SIGINT)
        process.communicate(timeout=PATIENCE)
        self.assertEqual(process.returncode, 1)

    def test_ends_at_any_moment_with_a_status_that_says_what_is_known(self):
        chance = random.Random(7)
        statuses = collections.Counter()
        for turn in range(40):
            process = self.start_corvan("check", "--watch", "--format", self.folder / "f.%d", "--range", "1-20000")
            told = process.stdout.readline()
            if turn % 4 == 0:
                told += process.stdout.readline()
            else:
                time.sleep(chance.uniform(0, 0.06))
            process.send_signal(chance.choice((signal.SIGINT, signal.SIGTERM, signal.SIGHUP)))
            told += process.communicate(timeout=PATIENCE)[0]
            # 4: not all frames were looked at. What is known may not be told yet.
            self.assertIn(process.returncode, (1,) if "20000 missing" in told else (1, 4), told)
            statuses[process.returncode] += 1
        self.assertGreaterEqual(statuses[1], 10)

    def test_ends_before_the_first_pass_is_over_as_one_that_could_not_look_at_all_frames(self):
        # It waits long for the frame of the second pattern.
        process = self.start_corvan(
            *("check", "--watch", "--format", self.pattern, "--format", self.folder / "g.%d", "--range", "3"),
            *("--retry-missing", "100"),
        )
        self.assertEqual(process.stdout.readline(), f"{self.pattern}  3\n")
        process.send_signal(signal.SIGINT)
        process.communicate(timeout=PATIENCE)
        self.assertEqual(process.returncode, 4)


class CannotLook(CheckedFrames):
    def test_into_what_is_no_folder_and_says_so(self):
        loop = self.folder / "loop"
        loop.symlink_to(loop)
        for folder, why in ((self.frame(1), "Not a directory"), (loop, "Too many levels")):
            for more in ([], ["--json"], ["--paths"]):
                done = self.run_corvan(
                    "check", "--format", folder / "f%d", "--range", "1-3", *more, status=4
                )
                self.assertIn(f"cannot look into {folder} for f1: {why}", done.stderr)
                self.assertNotIn("missing", done.stdout)

    def test_into_a_folder_that_may_not_be_entered(self):
        closed = self.folder / "closed"
        closed.mkdir(mode=0o600)
        (closed / "f1").write_bytes(b"x" * 1000)
        command = ["check", "--format", closed / "f%d", "--range", "1"]
        if os.geteuid() == 0:
            os.chmod(self.folder, 0o755)
            os.chown(closed, NOBODY, NOBODY)
            self.as_nobody(*command)
        else:
            done = self.run_corvan(*command, status=4)
            self.assertIn(f"cannot look into {closed} for f1: Permission denied", done.stderr)

    def as_nobody(self, *command):
        done = subprocess.run(
            [BIN / "corvan", *command],
            env=self.env,
            user=NOBODY,
            group=NOBODY,
            extra_groups=[],
            capture_output=True,
            text=True,
            timeout=PATIENCE,
        )
        self.assertEqual(done.returncode, 4, done)
        self.assertIn("Permission denied", done.stderr)

    def test_but_takes_a_folder_that_does_not_exist_for_one_of_missing_frames(self):
        done = self.run_corvan(
            "check", "--format", self.folder / "none" / "f%d", "--range", "1-3", status=1
        )
        self.assertIn("3 files: 3 missing", done.stdout)


    def test_for_frames_that_single_precision_gives_no_file_and_names_them(self):
        self.pattern = str(self.renders / "f.%d.raw")
        (self.renders / "f.1.raw").write_bytes(b"x" * 1000)
        for frames, files, named in (
            ("1,16777216", "1 file: 1 ok", "16777216"),
            ("20261120", "0 files", "20261120"),
        ):
            done = self.run_corvan("check", "--format", self.pattern, "--range", frames, status=4)
            self.assertIn(files, done.stdout)
            self.assertIn(f"corvan: not looked for: {named}; ", done.stderr)


class Nonsense(CheckedFrames):
    def test_ends_with_two_and_is_named(self):
        given = ["--format", self.pattern, "--range", "1"]
        cases = [
            (["--format", "f%s", "--range", "1"], "f%s"),
            (["--format", "none", "--range", "1"], "none"),
            (["--format", self.pattern, "--range", "1-"], "1-"),
            (["--format", self.pattern, "--range", "one"], "one"),
            (["--format", self.pattern], "--range"),
            (["job", "--range", "1"], "--range"),
            (["job", "--renumber-by", "2"], "--renumber-by"),
            ([*given, "--paths", "--json"], "--paths"),
            ([*given, "--paths", "--watch"], "--watch"),
            ([*given, "-0"], "-0"),
            ([*given, "--sort", "colour"], "--sort"),
        ]
        numbers = {
            "--min-size": ("-1", "1.5", "x", "4294967296", ""),
            "--offset": ("-1", "x", "2147483648"),
            "--variation": ("-1", "nan", "inf", "15%"),
            "--renumber-start": ("x", "1.5", "99999999999"),
            "--renumber-by": ("0", "-1", "x"),
            "--sequence-by": ("0", "-0.5", "nan", "x"),
            "--packet-size": ("0", "-1", "x"),
            "--wait-stable": ("-1", "x", "1e9"),
            "--retry-missing": ("-1", "0.5", "x"),
            "--format-index": ("-1", "x"),
            "--rule": ("mean", "", "Robust"),
        }
        for option, values in numbers.items():
            cases += [([*given, option, value], option) for value in values]
        for arguments, named in cases:
            done = self.run_corvan("check", *arguments, status=2)
            self.assertIn(named, done.stderr, arguments)
            self.assertEqual(done.stdout, "", arguments)


class DeletedFrames(CheckedFrames):
    def delete(self, *arguments, status=0):
        command = ("delete", "--format", self.pattern, "--range", "1-9", *arguments)
        return self.run_corvan(*command, status=status)

    def left(self):
        return sorted(int(re.search(r"\d+", path.name)[0]) for path in self.renders.iterdir())

    def test_takes_the_files_of_bad_frames(self):
        done = self.delete("--bad", "--variation", "5", "--yes")
        self.assertEqual(done.stdout.splitlines(), [str(self.frame(3)), str(self.frame(7))])
        self.assertEqual(self.left(), [1, 2, 5, 6, 8])

    def test_takes_those_that_are_named(self):
        self.delete("--selected", "5-6,9", "--yes")
        self.assertEqual(self.left(), [1, 2, 3, 7, 8])

    def test_asks_first_and_takes_no_answer_for_no(self):
        done = self.delete("--bad", status=1)
        self.assertIn("[y/N]", done.stderr)
        self.assertEqual(self.left(), [1, 2, 3, 5, 6, 7, 8])

    def test_that_there_are_not_are_refused(self):
        done = self.delete("--selected", "10-12", "--yes", status=1)
        self.assertIn("there is no frame 10-12; there are 1-9", done.stderr)
        done = self.delete("--selected", "8,10", "--yes")
        self.assertIn("there is no frame 10; there are 1-9", done.stderr)
        self.assertEqual(done.stdout, f"{self.frame(8)}\n")

    def test_wants_to_know_which(self):
        self.assertIn("--bad", self.delete("--yes", status=2).stderr)
        self.assertEqual(self.left(), [1, 2, 3, 5, 6, 7, 8])


class Plot(CheckedFrames):
    def test_is_a_picture_of_each_pattern(self):
        given = ["--format", self.pattern, "--format", self.pattern, "--range", "1-9"]
        done = self.run_corvan("plot", *given, "-o", "a b.svg")
        self.assertEqual(done.stdout.splitlines(), ["a b.svg", "a b-2.svg"])
        for name in done.stdout.splitlines():
            picture = xml.etree.ElementTree.parse(self.folder / name).getroot()
            texts = [text.text for text in picture.iter("{http://www.w3.org/2000/svg}text")]
            self.assertIn(self.pattern, texts)
            self.assertIn("2 missing", texts)

    def test_goes_to_standard_output_and_into_pipes(self):
        given = ["plot", "--format", self.pattern, "--range", "1-9"]
        for output in ("-", "/dev/stdout"):
            done = self.run_corvan(*given, "-o", output)
            xml.etree.ElementTree.fromstring(done.stdout)
        self.assertEqual([path.name for path in self.folder.glob("-*")], [])
        done = self.run_corvan(*given, "--format", self.pattern, "-o", "-", status=2)
        self.assertEqual(done.stdout, "")
        self.assertIn("2 formats", done.stderr)

    def test_makes_no_folder(self):
        file = self.folder / "nowhere" / "a.svg"
        done = self.run_corvan("plot", "--format", self.pattern, "--range", "1", "-o", file, status=4)
        self.assertIn(f"cannot write {file}: there is no folder {file.parent}", done.stderr)
        self.assertFalse(file.parent.exists())

    def test_that_cannot_be_written_ends_with_four(self):
        done = self.run_corvan(
            "plot", "--format", self.pattern, "--range", "1", "-o", "/proc/none/a.svg", status=4
        )
        self.assertIn("/proc/none/a.svg", done.stderr)


class CheckedJobs(CheckedFrames):
    def setUp(self):
        super().setUp()
        self.start_master()

    def job(self, *arguments):
        return self.submit("exit", "--paused", "--range", "1-9", *arguments)

    def test_are_checked_with_all_their_formats(self):
        other = str(self.folder / "none" / "g.%d.raw")
        job = self.job("--format", self.pattern, "--format", other)
        checked = json.loads(self.corvan("check", "--json", job, status=1))
        self.assertEqual(checked["job"], job)
        self.assertEqual([t["format"] for t in checked["tables"]], [self.pattern, other])
        self.assertEqual(checked["tables"][1]["bad"], "1-9")
        one = json.loads(self.corvan("check", "--json", "--format-index", "1", job, status=1))
        self.assertEqual(one["tables"], checked["tables"][1:])
        self.assertIn("2 formats", self.run_corvan("check", "--format-index", "2", job, status=2).stderr)

    def test_are_judged_by_their_own_rule_unless_another_is_named(self):
        for number in range(1, 10):
            self.frame(number).write_bytes(b"x" * {3: 1000}.get(number, 100_000))
        job = self.job("--format", self.pattern, "--set", "SizeRule=robust")

        def bad(*rule):
            done = self.run_corvan("check", "--json", job, *rule, status=1)
            return json.loads(done.stdout)["tables"][0]["bad"]

        self.assertEqual((bad(), bad("--rule", "neighbours")), ("3", "1-3,7,8"))
        done = self.run_corvan("requeue", "--bad", job)
        self.assertEqual(self.parameter(done.stdout.strip(), "Range"), "3")
        self.corvan("set", job, "SizeRule=neighbours")
        self.assertEqual((bad(), bad("--rule", "robust")), ("1-3,7,8", "3"))

    def test_are_not_requeued_with_a_frame_that_they_have_not(self):
        job = self.job("--format", self.pattern)
        done = self.run_corvan("requeue", "--selected", "10", job, status=1)
        self.assertIn("there is no frame 10; there are 1-9", done.stderr)
        self.assertEqual(len(json.loads(self.corvan("list", "--json"))), 1)
        done = self.run_corvan("requeue", "--selected", "9,10", job)
        self.assertIn("there is no frame 10; there are 1-9", done.stderr)
        self.assertEqual(self.parameter(done.stdout.strip(), "Range"), "9")

    def test_that_are_requeued_are_told_where_the_output_is_closed(self):
        job = self.job("--format", self.pattern)
        done = subprocess.run(
            [BIN / "corvan", "requeue", "--bad", job], env=self.env, stdout=open("/dev/full", "w"),
            stderr=subprocess.PIPE, text=True,
        )
        new = json.loads(self.corvan("list", "--json"))[0]["id"]
        self.assertNotEqual(new, job)
        self.assertEqual(done.returncode, 1)
        self.assertIn(f"; the new job is {new}\n", done.stderr)

    def test_that_are_none_are_wrong_usage(self):
        self.assertIn("no job fits 'nonsense'", self.run_corvan("check", "nonsense", status=2).stderr)

    def test_without_files_to_look_for_cannot_be_looked_at(self):
        self.run_corvan("check", self.job(), status=4)

    def test_are_requeued_with_their_bad_frames(self):
        job = self.job("--format", self.pattern)
        new = self.corvan("requeue", "--bad", "--variation", "5", job).strip()
        shown = self.show(new)
        self.assertNotEqual(new, job)
        self.assertEqual(shown["parameters"]["Range"], "3,4,7,9")
        self.assertEqual(shown["parameters"]["ImageFormat"], self.pattern)
        self.assertEqual(self.parameter(job, "Range"), "1-9")
        self.assertEqual(
            self.parameter(self.corvan("requeue", "--selected", "2,5", job).strip(), "Range"), "2,5"
        )

    def test_that_renumber_are_requeued_with_the_frames_that_write_the_files(self):
        pattern = str(self.folder / "again" / "g.%d")
        job = self.submit(
            'echo "$1" > "$2"', "--range", "11-19", "--format", pattern,
            "--set", "RenumberStart=101", "--set", "RenumberBy=2",
        )
        self.corvan("wait", job)
        good = self.files_of("again")
        self.assertEqual(sorted(good), [f"g.{number}" for number in range(101, 119, 2)])
        for number in (105, 111):
            (self.folder / "again" / f"g.{number}").unlink()
        rules = ["--min-size", "0", "--variation", "50"]
        new = self.corvan("requeue", "--bad", *rules, job).strip()
        self.corvan("wait", new)
        self.assertEqual(self.parameter(new, "Range"), "13,16")
        self.assertEqual(self.files_of("again"), good)

    def files_of(self, folder):
        return {file.name: file.read_text() for file in (self.folder / folder).iterdir()}

    def test_without_a_bad_frame_are_left_alone(self):
        job = self.submit("exit", "--paused", "--range", "1-2", "--format", self.pattern)
        done = self.run_corvan("requeue", "--bad", job)
        self.assertEqual(done.stdout, "")
        self.assertEqual(len(json.loads(self.corvan("list", "--json"))), 1)


if __name__ == "__main__":
    unittest.main()
