"""`corvan check --pictures`: frames of a render with one fault each are found, and no others.

Run by Debian's own Python, where numpy and OpenImageIO are."""

import json
import pathlib
import shutil
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True
ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "bench"))

import numpy  # noqa: E402

from corpus import pictures, renders, shots  # noqa: E402
from farm import FarmTest  # noqa: E402

LENGTH = 40
# A camera that turns slowly.
SHOT = "room-pan tune room 160x90 png8 Seed=4 Move=1 Speed=0.25"


def setUpModule():
    """Renders the shot once; `FRAMES` are its pictures, linear."""
    global FRAMES
    folder = pathlib.Path(tempfile.mkdtemp(prefix="ordwick-pictures."))
    unittest.addModuleCleanup(shutil.rmtree, folder, ignore_errors=True)
    shot = shots.parse_shot(SHOT)
    FRAMES = renders.Renders(folder, ROOT / "share/corpus", LENGTH, [shot]).frames(shot, range(1, LENGTH + 1))


def black_tile(frame):
    damaged = frame.copy()
    damaged[30:45, 40:60] = 0
    return damaged


def fireflies(frame):
    damaged = frame.copy()
    for y, x in ((21, 33), (37, 118), (44, 61), (60, 90), (71, 20)):
        damaged[y, x] = 8
    return damaged


def ends_of(place):
    return place["x"], place["y"], place["x"] + place["width"], place["y"] + place["height"]


class RenderTest(FarmTest):
    def setUp(self):
        super().setUp()
        self.form = pictures.FORMATS["png8"]
        for number in range(1, LENGTH + 1):
            self.write(number, FRAMES[number - 1])

    def path(self, number):
        return self.folder / f"f.{number:04d}.{self.form.extension}"

    def write(self, number, pixels):
        pictures.write(self.path(number), pixels.astype(numpy.float32), self.form)

    def damage(self):
        """One fault of each kind. Gives state, the beginning of the detail and the place, by frame."""
        self.write(6, black_tile(FRAMES[5]))
        shutil.copy(self.path(10), self.path(11))
        self.write(16, FRAMES[15] * 2 ** (1 / 3))
        self.write(21, fireflies(FRAMES[20]))
        self.write(26, FRAMES[25] / 400)
        stale = FRAMES[30].copy()
        stale[50:70, 60:90] = FRAMES[22][50:70, 60:90]
        self.write(31, stale)
        return {
            6: ("patch", "20x15 pixels at 40,30 are black", (40, 30, 20, 15)),
            11: ("duplicate", "the same pixels as in the frame before", (0, 0, 160, 90)),
            16: ("pop", "0.", (0, 0, 160, 90)),
            21: ("sparks", "", None),
            # By its size it is seen already.
            26: ("outlier", "8.", (0, 0, 160, 90)),
            31: ("patch", "", None),
        }

    def assert_within(self, place, left, top, right, bottom):
        x, y, end, below = ends_of(place)
        self.assertTrue(left <= x and top <= y and end <= right and below <= bottom, place)

    def given(self):
        return ["--format", self.folder / f"f.%04d.{self.form.extension}", "--range", f"1-{LENGTH}"]

    def check(self, *arguments, status=1):
        """The one table of a check, its frames by number."""
        table = json.loads(self.corvan("check", "--json", *arguments, *self.given(), status=status))["tables"][0]
        self.assertEqual(sum(table["counts"].values()), 2 * table["counts"]["files"])
        return table, {row["frame"]: row for row in table["frames"]}


class RenderedFaults(RenderTest):
    def test_that_are_good_are_not_accused(self):
        table, rows = self.check("--pictures", status=0)
        self.assertEqual(table["counts"]["ok"], LENGTH)
        self.assertFalse([row for row in rows.values() if "detail" in row or "place" in row])

    def test_with_a_fault_are_told_by_state_detail_and_place(self):
        expected = self.damage()
        _, rows = self.check("--pictures")
        self.assertEqual({number for number, row in rows.items() if row["state"] != "ok"}, set(expected))
        for number, (state, detail, place) in expected.items():
            row = rows[number]
            self.assertEqual(row["state"], state, row)
            self.assertTrue(row["detail"].startswith(detail), row)
            told = tuple(row["place"][name] for name in ("x", "y", "width", "height"))
            if place:
                self.assertEqual(told, place, row)
        self.assertRegex(rows[31]["detail"], r"^\d+x\d+ pixels at \d+,\d+ have the very pixels of the frame 8 before it, not")
        # Within the block, or of the tiles that touch it.
        self.assert_within(rows[31]["place"], 55, 45, 95, 75)
        self.assertRegex(rows[21]["detail"], r"^\d bright pixels that no frame beside has, within \d+x\d+ pixels at ")
        # A glint of the render may be counted, too.
        self.assert_within({"x": 33, "y": 21, "width": 86, "height": 40}, *ends_of(rows[21]["place"]))
        self.assertRegex(rows[16]["detail"], r"^0\.[23]\d stops brighter than the frames before and after, 0\.0")

    def test_are_not_held_against_each_other_unasked(self):
        self.damage()
        _, rows = self.check("--decode")
        self.assertEqual([number for number, row in rows.items() if row["state"] != "ok"], [26])
        self.assertFalse([row for row in rows.values() if "detail" in row or "place" in row])


class OddNumbers(RenderTest):
    """EXR of which one holds three values that are no numbers, and one two negative ones."""

    def setUp(self):
        super().setUp()
        self.form = pictures.FORMATS["exr-half-zip"]
        for number in range(1, LENGTH + 1):
            self.write(number, FRAMES[number - 1])
        wild = FRAMES[7].copy()
        for y, x in ((3, 5), (40, 80), (77, 150)):
            wild[y, x, 1] = numpy.nan
        self.write(8, wild)
        negative = FRAMES[19].copy()
        negative[12, 34, 0] = negative[50, 60, 2] = -0.01
        self.write(20, negative)

    def bad(self, *arguments, status=1):
        _, rows = self.check(*arguments, status=status)
        return {number: row["state"] for number, row in rows.items() if row["state"] != "ok"}

    def test_that_are_none_may_be_so_many(self):
        for depth in ("--decode", "--pictures"):
            with self.subTest(depth):
                self.assertEqual(self.bad(depth), {8: "nan"})
                self.assertEqual(self.bad(depth, "--nan-limit", "2"), {8: "nan"})
                self.assertEqual(self.bad(depth, "--nan-limit", "3", status=0), {})
                self.assertEqual(self.bad(depth, "--nan-limit", "5", status=0), {})

    def test_that_are_negative_are_let_pass_or_not(self):
        for depth in ("--decode", "--pictures"):
            with self.subTest(depth):
                self.assertEqual(self.bad(depth, "--no-negative"), {8: "nan", 20: "nan"})
                self.assertEqual(self.bad(depth, "--no-negative", "--nan-limit", "5"), {20: "nan"})
        _, rows = self.check("--decode", "--no-negative")
        self.assertIn("2 ", rows[20]["detail"])
        self.assertIn("negative", rows[20]["detail"])

    def test_make_sense_or_are_refused(self):
        for arguments, said in (
            (["--decode", "--nan-limit", "x"], "corvan: --nan-limit: 'x' is not a whole number from 0 to "),
            (["--decode", "--nan-limit", "-1"], "corvan: --nan-limit: '-1' is not a whole number from 0 to "),
            (["--nan-limit", "3"], "corvan: --nan-limit goes with --decode or --pictures\n"),
            (["--no-negative"], "corvan: --no-negative goes with --decode or --pictures\n"),
        ):
            with self.subTest(arguments):
                told = self.run_corvan("check", "--json", *arguments, *self.given(), status=2)
                self.assertIn(said, told.stderr)
                self.assertEqual(told.stdout, "")


if __name__ == "__main__":
    unittest.main()
