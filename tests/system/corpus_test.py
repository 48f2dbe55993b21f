"""`bench/verdict`: a small corpus is rendered, damaged and measured, and what it counts with is right.

Run by Debian's own Python, where numpy and OpenImageIO are."""

import concurrent.futures
import dataclasses
import json
import os
import pathlib
import random
import shutil
import subprocess
import sys
import tempfile
import time
import types
import unittest

sys.dont_write_bytecode = True
ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "bench"))

import numpy  # noqa: E402

from corpus import commands, damage, faults, figures, methods, page, pictures, renders, shots  # noqa: E402
from corpus.folders import made_whole  # noqa: E402
from corpus.trouble import Trouble  # noqa: E402

BIN = pathlib.Path(os.environ["ORDWICK_BIN"])
PATIENCE = 280


class FolderTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="verdict-test."))
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)


class Figures(FolderTest):
    def test_wilsons_interval_is_the_published_one(self):
        # Newcombe 1998, "Two-sided confidence intervals for the single proportion", table I, method 3.
        for found, of, low, high in (
            (81, 263, 0.2553, 0.3662), (15, 148, 0.0624, 0.1605), (0, 20, 0.0, 0.1611), (1, 29, 0.0061, 0.1718),
        ):
            with self.subTest(found=found, of=of):
                ends = figures.wilson(found, of)
                self.assertAlmostEqual(ends[0], low, 4)
                self.assertAlmostEqual(ends[1], high, 4)

    def test_where_nothing_was_tried_nothing_is_known(self):
        self.assertEqual(figures.wilson(0, 0), (0, 1))
        self.assertEqual(figures.by_shots([(0, 0)]), (0, 1))

    def test_shots_that_differ_are_less_sure_than_their_frames(self):
        # Half of all frames are found, all of them in half of the shots.
        counts = [(20, 20), (0, 20)] * 5
        low, high = figures.by_shots(counts)
        frames = figures.wilson(100, 200)
        self.assertLess(low, frames[0] - 0.1)
        self.assertGreater(high, frames[1] + 0.1)
        self.assertEqual(figures.by_shots(counts), (low, high))

    def test_shots_that_all_say_the_same_count_once_each(self):
        self.assertEqual(figures.by_shots([(7, 7)] * 20), figures.wilson(20, 20))

    def test_a_table_counts_what_was_found_and_who_was_accused(self):
        tally = figures.Tally()
        truth = [
            {"copy": "copy1", "frame": 3, "fault": "black", "hidden": False, "also": []},
            {"copy": "copy1", "frame": 7, "fault": "duplicate", "hidden": False, "also": [6]},
            {"copy": "copy1", "frame": 9, "fault": "flip", "hidden": True, "also": []},
        ]
        for name, accused in (("a", {"clean": {}, "copy1": {3: "black", 6: "dropped", 1: "x"}}),
                              ("b", {"clean": {5: "x"}, "copy1": {7: "dropped"}})):
            damaged = types.SimpleNamespace(shot=types.SimpleNamespace(name=name), truth=truth, length=10,
                                            patterns={"clean": None, "copy1": None})
            tally.add(damaged, methods.Answer(accused, 0.05, {"copy1": [2]}))
        self.assertEqual((tally.found["black frame"].found, tally.found["black frame"].of), (1, 2))
        # Of a pair either may be taken for the copy.
        self.assertEqual((tally.found["duplicate"].found, tally.found["duplicate"].of), (2, 2))
        self.assertEqual(tally.found["byte flipped"].of, 0)
        self.assertEqual(tally.found["byte flipped" + faults.HIDDEN].of, 2)
        self.assertEqual((tally.accused_clean.found, tally.accused_clean.of), (1, 20))
        self.assertEqual((tally.accused_beside.found, tally.accused_beside.of), (1, 12))
        self.assertEqual((tally.quiet_shots.found, tally.quiet_shots.of), (1, 2))
        self.assertEqual(tally.unknown, 2)

        lines = figures.table({"m": tally}, {"m": "a method"}).splitlines()
        self.assertEqual(lines[0], "|  | faults (shots) | a method |")
        # Of 2 one: 9.5 to 90.5 of 100 by Wilson; a shot with and one without leave everything open.
        self.assertIn("| black frame | 2 (2) | 50 (9-91; 0-100) |", lines)
        self.assertIn("| good frames accused, of 1,000: shots without a fault | 20 (2) | 50.0 (8.9-236.1; 0.0-100.0) |",
                      lines)
        # 0.1 s for 2 shots of 2 copies of 10 frames.
        self.assertEqual(lines[-1], "| milliseconds of a processor a frame | 40 | 2.50 |")
        self.assertFalse([line for line in lines if "exposure" in line])

    def test_a_page_keeps_what_is_beside_the_table(self):
        file = self.folder / "page.md"
        (begin, end), (other_begin, other_end) = map(page.marks, page.HALVES)
        file.write_text(f"before\n{begin}old\n{end}between\n{other_begin}other\n{other_end}after\n")
        for half, text, kept in (
            ("table", "new\n", f"before\n{begin}\nnew\n\n{end}between\n{other_begin}other\n{other_end}after\n"),
            ("table", "newer\n", f"before\n{begin}\nnewer\n\n{end}between\n{other_begin}other\n{other_end}after\n"),
            ("blender", "too\n", f"before\n{begin}\nnewer\n\n{end}between\n{other_begin}\ntoo\n\n{other_end}after\n"),
        ):
            page.put(file, half, text)
            self.assertEqual(file.read_text(), kept)
        text = f"only one place\n{begin}{end}"
        file.write_text(text)
        with self.assertRaises(Trouble) as raised:
            page.put(file, "blender", "new\n")
        self.assertIn(other_begin.strip(), str(raised.exception))
        self.assertEqual(file.read_text(), text)

    def test_the_page_of_the_figures_has_a_place_for_them(self):
        text = (ROOT / "docs/verdict.md").read_text()
        places = [text.find(mark) for half in page.HALVES for mark in page.marks(half)]
        self.assertLess(0, places[0])
        self.assertEqual(places, sorted(set(places)))
        for half in page.HALVES:
            begin, end = page.marks(half)
            self.assertIn(f"\nHalf: {half}. ", text.partition(begin)[2].partition(end)[0])

    def test_the_page_names_every_fault_and_every_method(self):
        text = (ROOT / "docs/verdict.md").read_text().partition(page.marks("table")[0])[0]
        for title, _ in faults.KINDS.values():
            self.assertIn(f"| {title} |", text)
        for method in methods.METHODS.values():
            self.assertIn(f"| {method.title} |", text)


class Methods(FolderTest):
    def test_sizes_are_judged_by_floor_and_by_mean(self):
        for what, sizes, by_floor, by_mean in (
            ("all alike", [1000, 1000, 1000], {}, {}),
            ("missing", [1000, None, 1000], {2: "missing"}, {2: "missing"}),
            ("at the floor", [500, 499, 500], {2: "too small"}, {2: "too small"}),
            ("half of the mean", [1500, 1500, 500, 500], {}, {}),
            ("a little less than half", [2000] * 9 + [900], {}, {10: "other size"}),
            ("more than half above", [1000, 1000, 1000, 4000], {}, {4: "other size"}),
            ("nothing there", [None], {1: "missing"}, {1: "missing"}),
        ):
            with self.subTest(what):
                of_frame = dict(enumerate(sizes, 1))
                self.assertEqual(methods.exists(of_frame), by_floor)
                self.assertEqual(methods.half_from_mean(of_frame), by_mean)

    def test_what_ffmpeg_prints_is_read(self):
        # The third and the fourth of 24 in a second.
        text = "[blackdetect @ 0x5] black_start:0.0833333 black_end:0.166667 black_duration:0.0833333\n"
        self.assertEqual(methods.read_black(text), {2: "black", 3: "black"})
        shown = "[Parsed_showinfo_{} @ 0x5] n:   {} pts:      {} pts_time:{} duration:      1 fmt:rgb24\n"
        text = "".join(shown.format(0, at, at, round(at / 24, 6)) for at in range(4))
        text += "".join(shown.format(2, place, at, round(at / 24, 6)) for place, at in enumerate((0, 1, 3)))
        self.assertEqual(methods.read_dropped(text), {2: "dropped"})


class Commands(FolderTest):
    def is_over(self, process):
        """Also where nobody has asked for its status yet."""
        try:
            stat = pathlib.Path(f"/proc/{process}/stat").read_text()
        except OSError:
            return True
        return stat.rpartition(")")[2].split()[0] == "Z"

    def wait_until_over(self, process):
        """One that was killed takes a moment to go, on a machine that has much to do a longer one."""
        end = time.monotonic() + PATIENCE
        while not self.is_over(process):
            self.assertLess(time.monotonic(), end, "it goes on")
            time.sleep(0.01)

    def test_what_takes_too_long_is_ended_with_all_that_it_started(self):
        file = self.folder / "started"
        with self.assertRaises(Trouble) as raised:
            commands.run(["sh", "-c", f"sleep 300 & echo $! > {file}.new; mv {file}.new {file}; wait"], 3)
        self.assertIn("sh has not ended after 3 seconds", str(raised.exception))
        self.wait_until_over(int(file.read_text()))

    def test_any_status_is_an_answer_and_the_processor_time_is_counted(self):
        count = "i=0; while [ $i -lt 30000 ]; do i=$((i+1)); done"
        done = commands.run(["sh", "-c", f"{count}; echo out; echo err >&2; exit 7"], PATIENCE)
        self.assertEqual((done.status, done.output, done.errors), (7, "out\n", "err\n"))
        self.assertGreater(done.processor_s, 0)
        self.assertEqual(commands.run(["sh", "-c", "kill -9 $$"], PATIENCE).status, -9)

    def test_what_is_not_there_is_told(self):
        with self.assertRaises(Trouble) as raised:
            commands.run(["/nowhere/program"], PATIENCE)
        self.assertIn("/nowhere/program cannot be started: No such file or directory", str(raised.exception))

    def test_whoever_ends_it_all_ends_what_other_threads_run(self):
        self.addCleanup(commands.IS_OVER.clear)
        pipe = self.folder / "pipe"
        os.mkfifo(pipe)
        with concurrent.futures.ThreadPoolExecutor(1) as pool:
            task = pool.submit(commands.run, ["sh", "-c", f"echo runs > {pipe}; exec sleep 300"], PATIENCE)
            self.assertEqual(pipe.read_text(), "runs\n")
            commands.end_all()
            self.assertEqual(task.result(PATIENCE).status, -9)
        with self.assertRaises(Trouble):
            commands.run(["true"], PATIENCE)

    def test_a_folder_that_is_not_made_whole_is_not_there(self):
        place = self.folder / "place"
        with self.assertRaises(Trouble), made_whole(place) as work:
            (work / "half").touch()
            raise Trouble("the disk is full")
        self.assertEqual(list(self.folder.iterdir()), [])
        with made_whole(place) as work, made_whole(place) as other:
            (work / "first").touch()
            (other / "second").touch()
        # Both were alike; the one that was ready first stays.
        self.assertEqual([path.name for path in self.folder.iterdir()], ["place"])
        self.assertEqual([path.name for path in place.iterdir()], ["second"])


class Pictures(FolderTest):
    def test_what_somebody_could_tell_apart_has_changed(self):
        for what, before, after, form, is_changed in (
            ("the same", 0.3, 0.3, "png8", False),
            ("a twentieth of a stop", 0.3, 0.31, "png8", False),
            ("a third of a stop", 0.3, 0.378, "png8", True),
            ("both next to black", 0.0, 0.001, "exr-float-zip", False),
            ("beyond white, cut off", 1.0, 5.0, "png8", False),
            ("beyond white, kept", 1.0, 5.0, "exr-half-zip", True),
            ("not a number", 0.3, numpy.nan, "exr-half-zip", True),
            ("infinite", 0.3, numpy.inf, "exr-half-zip", True),
            ("below zero", 0.0, -0.01, "exr-half-zip", True),
        ):
            with self.subTest(what):
                one, other = (numpy.full((1, 1, 3), value, numpy.float32) for value in (before, after))
                self.assertEqual(bool(pictures.changed(one, other, pictures.FORMATS[form])[0, 0]), is_changed)

    def test_every_format_gives_back_what_was_written(self):
        chance = numpy.random.default_rng(1)
        smooth = numpy.add.outer(numpy.arange(24), numpy.arange(32))[:, :, None] / 60 * [1, 0.8, 0.5]
        for name, form in pictures.FORMATS.items():
            pixels = smooth + chance.uniform(0, 0.001, smooth.shape)
            if "Z" in form.channels:
                pixels = numpy.dstack([pixels, 10 * pixels[:, :, 0]])
            file = self.folder / f"{name}.{form.extension}"
            pictures.write(file, pixels.astype(numpy.float32), form)
            stored = pixels if form.is_linear else pictures.to_srgb(pixels)
            difference = numpy.abs(pictures.read(file) - stored).max()
            self.assertLess(difference, {"jpeg90": 0.05, "exr-half-dwaa": 0.02}.get(name, 0.005), name)

    def test_what_cannot_be_read_or_written_is_told(self):
        (self.folder / "x.png").write_bytes(b"no picture")
        for path in (self.folder / "x.png", self.folder / "none.exr"):
            with self.assertRaises(Trouble) as raised:
                pictures.read(path)
            self.assertIn(str(path), str(raised.exception))
        with self.assertRaises(Trouble):
            pictures.write(self.folder / "no/x.png", numpy.zeros((2, 2, 3), numpy.float32), pictures.FORMATS["png8"])


def moving_takes(folder, form, length=30):
    """Frames of a picture that moves, with its files; what else faults are made of is other frames of it."""
    shot = shots.Shot("moving", "tune", "none", 64, 48, form, (("Grain", "0.2"),))
    chance = numpy.random.default_rng(1)
    places = numpy.add.outer(numpy.arange(48) * 3.0, numpy.arange(64) * 2.0)
    frames, files = [], []
    for number in range(1, length + 1):
        pixels = numpy.stack([0.3 + 0.2 * numpy.sin(places / 9 + number * (0.5 + channel)) for channel in range(3)], 2)
        if "Z" in pictures.FORMATS[form].channels:
            pixels = numpy.dstack([pixels, 5 + numpy.sin(places / 20 + number)])
        frames.append((pixels + chance.uniform(0, 0.01, pixels.shape)).astype(numpy.float32))
        files.append(folder / f"moving.{number:04d}.{pictures.FORMATS[form].extension}")
        pictures.write(files[-1], frames[-1], pictures.FORMATS[form])

    def without_prop(number):
        pixels = frames[number - 1].copy()
        pixels[10:20, 30:42] = 0.05
        # What it was mirrored in, too faint for anybody.
        pixels[40, 60] *= 1.002
        return pixels

    def coarse(number):
        rough = chance.normal(1, 0.3, frames[number - 1].shape)
        return (frames[number - 1] * rough).astype(numpy.float32)

    return faults.Takes(shot, frames, files, without_prop, coarse, lambda number: (frames[number - 1][:, ::-1], "x 1"))


class Faults(FolderTest):
    # What has pixels of its own; the others damage the file, or take another's.
    OF_FILES = ("missing", "cut", "hole", "flip", "duplicate")
    OF_NUMBERS = ("nan", "negative")

    def damaged(self, takes, kind, chance):
        """A copy with one fault. Gives its line of the truth and its file, that of the clean frame, and pixels
        of both where they can be read."""
        made = {}
        self.assertTrue(damage.put(takes, kind, made, chance, set()), kind)
        lines = []
        copy = f"{kind}-{chance.random()}"
        folder = takes.files[0].parent
        damage.write_copy(takes, folder, copy, made, lines)
        self.assertEqual(len(lines), 1)
        line = json.loads(json.dumps(lines[0]))
        self.assertEqual((line["copy"], line["fault"]), (copy, kind))
        clean = takes.files[line["frame"] - 1]
        for other in takes.files:
            if other != clean:
                self.assertTrue(other.samefile(folder / copy / other.name), "a good frame is another file")
        return line, folder / copy / clean.name, clean

    def each(self, form, kinds, repeats=6):
        folder = self.folder / form
        folder.mkdir()
        takes = moving_takes(folder, form)
        for kind in kinds:
            for repeat in range(repeats):
                with self.subTest(form=form, kind=kind, repeat=repeat):
                    yield takes, *self.damaged(takes, kind, random.Random(f"{kind} {repeat}"))

    def test_a_fault_of_pixels_differs_where_the_truth_says_and_nowhere_else(self):
        of_pixels = [kind for kind in faults.KINDS if kind not in self.OF_FILES]
        for form in ("exr-float-zip", "exr-float-z", "exr-half-zip", "png8", "png16"):
            is_linear = pictures.FORMATS[form].is_linear
            kinds = [kind for kind in of_pixels if is_linear or kind not in self.OF_NUMBERS]
            for takes, line, file, clean in self.each(form, kinds):
                before, after = pictures.read(clean), pictures.read(file)
                differs = ~((before == after) | (numpy.isnan(before) & numpy.isnan(after))).all(axis=2)
                self.assertTrue(differs.any())
                if line["fault"] == "gone":
                    self.assertEqual(line["place"], [30, 10, 12, 10])
                    differs[40, 60] = False
                if line["place"]:
                    x, y, width, height = line["place"]
                    differs[y:y + height, x:x + width] = False
                    self.assertFalse(differs.any(), "it differs elsewhere, too")
                elif "pixels" in line:
                    self.assertEqual({(x, y) for y, x in zip(*map(list, numpy.nonzero(differs)))},
                                     {(x, y) for x, y in line["pixels"]})
                else:
                    self.assertGreater(differs.mean(), 0.1)
                self.assertGreater(line["changed"], 0)

    def test_each_fault_of_pixels_is_what_it_is_called(self):
        for takes, line, file, clean in self.each("exr-float-zip", [k for k in faults.KINDS if k not in self.OF_FILES]):
            kind, number = line["fault"], line["frame"]
            before, after = pictures.read(clean), pictures.read(file)
            x, y, width, height = line["place"] or (0, 0, 64, 48)
            inside = after[y:y + height, x:x + width]
            if kind in ("black-tile", "black-band"):
                self.assertEqual(numpy.abs(inside).max(), 0)
            elif kind == "black":
                self.assertLess(after.max(), 0.01)
            elif kind == "stale-block":
                then = pictures.read(takes.files[line["from"] - 1])
                self.assertIn(number - line["from"], range(2, 13))
                self.assertTrue((inside == then[y:y + height, x:x + width]).all())
            elif kind == "exposure":
                self.assertTrue(numpy.allclose(after, before * 2 ** line["stops"], rtol=0.001))
                self.assertAlmostEqual(abs(line["stops"]), 1 / 3, 2)
            elif kind == "fireflies":
                self.assertTrue(all(after[y, x].min() > 4 * before[y, x].max() for x, y in line["pixels"]))
            elif kind == "nan":
                self.assertTrue(all(not numpy.isfinite(after[y, x]).all() for x, y in line["pixels"]))
            elif kind == "negative":
                self.assertTrue(all(after[y, x].min() < 0 for x, y in line["pixels"]))
                self.assertTrue(numpy.isfinite(after).all())
            else:
                self.assertIn(kind, ("elsewhere", "samples", "gone"))

    def test_each_fault_of_files_is_what_it_is_called(self):
        for form in ("exr-half-zip", "png8", "jpeg90", "exr-half-none"):
            for takes, line, file, clean in self.each(form, self.OF_FILES):
                kind, before = line["fault"], clean.read_bytes()
                if kind == "missing":
                    self.assertTrue(line["file"] == "missing" and not file.exists()
                                    or line["file"] == "empty" and file.read_bytes() == b"")
                    continue
                after = file.read_bytes()
                self.assertNotEqual(before, after)
                if kind == "cut":
                    self.assertEqual(after, before[:line["bytes"]])
                    self.assertEqual(len(before), line["of"])
                elif kind == "hole":
                    start, end = line["from"], line["from"] + line["bytes"]
                    self.assertEqual(after, before[:start] + bytes(len(before[start:end])) + before[end:])
                elif kind == "flip":
                    self.assertEqual([at for at in range(len(before)) if before[at] != after[at]], [line["at"]])
                    self.assertEqual(line["hidden"], form in ("jpeg90", "exr-half-none"))
                else:
                    self.assertEqual(line["also"], [line["of"]])
                    self.assertEqual(after, takes.files[line["of"] - 1].read_bytes())

    def test_a_fault_that_nobody_could_see_is_none(self):
        takes = moving_takes(self.folder, "exr-float-zip")
        dark = faults.Takes(takes.shot, [numpy.zeros_like(frame) for frame in takes.frames], takes.files,
                            lambda number: None, lambda number: None, lambda number: None)
        for kind in ("black-tile", "black-band", "black", "stale-block", "duplicate", "exposure", "gone", "samples",
                     "elsewhere"):
            self.assertFalse(damage.put(dark, kind, {}, random.Random(1), set()), kind)

    def test_where_light_comes_by_chance_single_pixels_are_no_object_that_is_gone(self):
        takes = moving_takes(self.folder, "exr-float-zip")
        object_gone = takes.without_prop

        def scattered(pixels):
            changed = pixels.copy()
            changed[::5, ::5] *= 3
            return changed

        for what, parameters, without_prop, place in (
            ("out of sight", (("Samples", "8"),), lambda number: scattered(takes.frame(number)), None),
            ("in sight", (("Samples", "8"),), lambda number: scattered(object_gone(number)), (30, 10, 12, 10)),
            # Elsewhere each pixel counts, even one.
            ("rays", (), lambda number: scattered(takes.frame(number)), (0, 0, 61, 46)),
        ):
            with self.subTest(what):
                shot = dataclasses.replace(takes.shot, parameters=parameters)
                made = faults.Takes(shot, takes.frames, takes.files, without_prop, None, None)
                fault = faults.object_gone(made, 7, random.Random(1))
                self.assertEqual(fault and fault.place, place)

    def test_the_frames_of_faults_lie_apart_and_anywhere(self):
        takes = moving_takes(self.folder, "exr-float-zip")
        seen = set()
        for seed in range(6):
            copies = damage.plan(takes, random.Random(seed))
            self.assertGreaterEqual(sum(map(len, copies)), 30)
            of_kind = [(kind, number) for made in copies for number, (kind, _) in made.items()]
            self.assertEqual(len(of_kind), len(set(of_kind)), "a fault is there twice")
            for made in copies:
                numbers = sorted(made)
                seen.update(numbers)
                self.assertTrue(all(b - a >= damage.APART for a, b in zip(numbers, numbers[1:])))
        self.assertEqual(seen, set(range(1, 31)))


class Corpus(FolderTest):
    SHOTS = """# Two small ones.
room-a  tune   room  48x27  exr-float-zip  Seed=3 Grain=0.2 Move=1 Count=4
land-b  tune   land  48x27  png8           Seed=5 Move=1 Speed=2 Count=4
"""

    def setUp(self):
        super().setUp()
        self.corpus = self.folder / "corpus"
        shutil.copytree(ROOT / "share/corpus", self.corpus)
        (self.corpus / "shots.txt").write_text(self.SHOTS)

    def verdict(self, *arguments, status=0, env=None):
        done = subprocess.run(
            ["/usr/bin/python3", ROOT / "bench/verdict", "--bin", BIN, "--work", self.folder / "work", "--corpus",
             self.corpus, "--frames", "12", *arguments],
            stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=PATIENCE, env=env or dict(os.environ),
        )
        self.assertEqual(done.returncode, status, done)
        return done

    def test_a_corpus_is_rendered_damaged_and_measured(self):
        records = self.folder / "records.jsonl"
        done = self.verdict("--only", "exists", "neighbours", "robust", "decode", "opens", "--records", records,
                            "--jobs", "2")
        heads = [cell.strip() for cell in done.stdout.split("\n\n")[1].splitlines()[0].split("|")[3:-1]]
        self.assertEqual(heads, ["exists and size floor", "`check`", "`check --rule robust`", "`check --decode`",
                                 "the library opens it"])
        rows = {line.split("|")[1].strip(): [cell.split()[0] for cell in line.split("|")[3:-1]]
                for line in done.stdout.splitlines() if line.startswith("| ")}
        self.assertEqual(rows["file missing or empty"], ["100"] * 5)
        self.assertEqual(rows["byte flipped"][3], "100")
        self.assertEqual(rows["not a number, infinite"][3:], ["100", "0"])
        self.assertEqual(rows["shots without a fault and without an accused frame, of 100"][3:], ["100", "100"])

        lines = [json.loads(line) for line in records.read_text().splitlines()]
        truth = [line for line in lines if line["fault"]]
        self.assertIn(f"{len(truth)} faults, seed 1", done.stdout)
        for line in truth:
            file = pathlib.Path(line["path"])
            clean = file.parents[1] / "clean" / file.name
            self.assertTrue(not file.exists() or file.read_bytes() != clean.read_bytes(), line)
            if line["fault"] in ("nan", "flip"):
                self.assertTrue(line["said"]["decode"], line)
                self.assertFalse(line["said"]["exists"], line)
        # Once more: the same copies, found where they are.
        again = self.verdict("--only", "exists")
        self.assertEqual(len(list((self.folder / "work/shots").iterdir())), 2)
        self.assertIn(f"{len(truth)} faults", again.stdout)

    def test_a_corpus_that_cannot_be_rendered_is_a_failure_with_its_reason(self):
        empty = self.folder / "empty"
        empty.mkdir()
        done = self.verdict(status=1, env=dict(os.environ, PATH=str(empty)))
        self.assertEqual(done.stdout, "")
        self.assertIn("povray is not installed (Debian package povray)", done.stderr)

        (self.corpus / "room.pov").write_text('#include "set.inc"\nsphere { nonsense }\n')
        done = self.verdict("--shots", "room-a", "--only", "exists", status=1)
        self.assertEqual(done.stdout, "")
        self.assertIn("POV-Ray has not rendered room-a: status 1, 0 frames of 12", done.stderr)
        self.assertIn("nonsense", done.stderr)
        self.assertEqual(list((self.folder / "work/renders").iterdir()), [])

    def test_what_cannot_be_asked_for_is_told(self):
        for arguments, status, say in (
            (["--shots", "nobody"], 1, "there is no shot nobody"),
            (["--only", "luck"], 2, "invalid choice: 'luck'"),
            (["--half", "both"], 2, "invalid choice: 'both'"),
            (["--write"], 2, "--write takes the whole half 'table'"),
            (["--frames", "0"], 2, "--frames has to be 1 or more"),
            (["--jobs", "0"], 2, "--jobs has to be 1 or more"),
            (["--bin", "/nowhere", "--shots", "room-a"], 1, "/nowhere/corvan cannot be started"),
        ):
            with self.subTest(arguments):
                done = self.verdict(*arguments, status=status)
                self.assertIn(say, done.stderr)
                self.assertEqual(done.stdout, "")

    def test_a_table_of_shots_that_is_wrong_is_told_with_its_line(self):
        for line, say in (
            ("a tune room 48x27", "it needs name, half, scene, size and format"),
            ("a both room 48x27 png8", "'both' is no half"),
            ("a tune room 48 png8", "'48' is no size"),
            ("a tune room 48x27 gif", "'gif' is no format"),
            ("a tune room 48x27 png8 Seed", "'Seed' is no parameter"),
            ("a tune attic 48x27 png8", "there is no scene attic.pov"),
            # Each half has its renderer.
            ("a blender room 48x27 png8", "there is no scene room.py"),
            ("a table still 48x27 png8", "there is no scene still.pov"),
            ("room-a tune room 48x27 png8", "there is a shot room-a already"),
        ):
            (self.corpus / "shots.txt").write_text(f"{self.SHOTS}{line}\n")
            with self.subTest(line), self.assertRaises(Trouble) as raised:
                shots.read_shots(self.corpus)
            self.assertIn("shots.txt, line 4: " + say, str(raised.exception))

    def test_the_corpus_has_shots_for_both_halves(self):
        every = shots.read_shots(ROOT / "share/corpus")
        halves = {half: [shot for shot in every if shot.half == half] for half in shots.HALVES}
        self.assertGreaterEqual(len(halves["tune"]), 20)
        self.assertGreaterEqual(len(halves["table"]), 40)
        self.assertGreaterEqual(len(halves["blender"]), 10)
        told = {half: {(shot.scene, shot.parameter("Seed")) for shot in halves[half]} for half in halves}
        self.assertFalse(told["tune"] & (told["table"] | told["blender"]))
        # A quarter of the samples is a fault.
        self.assertFalse([shot.name for shot in halves["blender"]
                          if not shot.parameter("Samples") or shot.parameter("Samples") % 4])
        self.assertTrue({shot.scene for shot in halves["table"]} - {shot.scene for shot in halves["tune"]})
        said = (ROOT / "docs/verdict.md").read_text(encoding="utf-8")
        self.assertIn(f"{len(halves['tune'])} of them are for finding rules and thresholds, {len(halves['table'])} for "
                      "this table alone", said)


class Scenes(FolderTest):
    def frames(self, scene, numbers, size, parameters, is_gone=False):
        shot = shots.Shot(scene, "tune", scene, *size, "exr-float-zip", parameters)
        made = renders.Renders(self.folder, ROOT / "share/corpus", 72, [shot])
        return made.frames(shot, numbers, is_gone=is_gone)

    def test_a_scene_shows_something_that_its_prop_is_a_part_of(self):
        for file in sorted((ROOT / "share/corpus").glob("*.pov")):
            with self.subTest(file.stem):
                seen = self.frames(file.stem, [12, 40], (64, 36), (("Seed", "4"),))
                without = self.frames(file.stem, [12, 40], (64, 36), (("Seed", "4"),), is_gone=True)
                for pixels, rest in zip(seen, without):
                    self.assertGreater(pixels.std(), 0.01)
                    differs = pictures.changed(pixels, rest, pictures.FORMATS["exr-float-zip"])
                    self.assertGreater(differs.mean(), 0.001)

    def test_lightning_lights_more_than_one_frame(self):
        seen = self.frames("sea", range(1, 43), (16, 9), (("Seed", "5"), ("Kind", "1"), ("Count", "1")))
        light = numpy.array([pixels.mean() for pixels in seen])
        is_lit = "".join("x" if bright else " " for bright in light > 2 * numpy.median(light))
        strikes = is_lit.split()
        self.assertGreaterEqual(len(strikes), 2)
        self.assertEqual({len(strike) for strike in strikes} - {2, 3}, set(), is_lit)


if __name__ == "__main__":
    unittest.main()
