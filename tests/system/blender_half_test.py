"""`bench/verdict --half blender`: shots that Blender renders, where it is installed, and what is said where not.

Run by Debian's own Python, where numpy and OpenImageIO are."""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True
ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "bench"))

import numpy  # noqa: E402

from corpus import pictures, renders, shots  # noqa: E402

BIN = pathlib.Path(os.environ["ORDWICK_BIN"])
SCENES = ROOT / "share/corpus"
PATIENCE = 280
LENGTH = 24
needs_blender = unittest.skipUnless(shutil.which("blender"), "blender is not installed (Debian package blender)")


class FolderTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="blender-half."))
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)


class BlenderHalf(FolderTest):
    SHOTS = """# A small one of each renderer.
room-a   tune     room   48x27  png8          Seed=3 Count=3
still-b  blender  still  48x27  exr-half-zip  Seed=5 Count=3 Samples=4
hall-c   blender  hall   48x27  png8          Seed=6 Count=3 Samples=4
"""

    def setUp(self):
        super().setUp()
        self.corpus = self.folder / "corpus"
        shutil.copytree(SCENES, self.corpus)
        (self.corpus / "shots.txt").write_text(self.SHOTS)

    def path_of(self, *programs):
        """A PATH on which only these are."""
        folder = self.folder / "-".join(["bin", *programs])
        folder.mkdir()
        for program in programs:
            (folder / program).symlink_to(shutil.which(program))
        return dict(os.environ, PATH=str(folder))

    def verdict(self, *arguments, status=0, env=None):
        done = subprocess.run(
            ["/usr/bin/python3", ROOT / "bench/verdict", "--bin", BIN, "--work", self.folder / "work", "--corpus",
             self.corpus, "--frames", "6", *arguments],
            stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=PATIENCE, env=env or dict(os.environ))
        self.assertEqual(done.returncode, status, done)
        return done

    def test_without_blender_there_is_a_reason_and_no_table(self):
        env = self.path_of("povray", "ffmpeg")
        for arguments in (["--half", "blender"], ["--shots", "still-b"], ["--half", "blender", "--render-only"]):
            with self.subTest(arguments):
                done = self.verdict(*arguments, status=1, env=env)
                self.assertEqual(done.stdout, "")
                self.assertEqual(done.stderr, "verdict: blender is not installed (Debian package blender)\n")
                self.assertFalse((self.folder / "work").exists())

    def test_the_other_halves_do_not_need_blender(self):
        done = self.verdict("--render-only", env=self.path_of("povray"))
        self.assertEqual([pathlib.Path(line).name.rpartition("-")[0] for line in done.stdout.split()], ["room-a"])

    def test_what_is_tuned_on_is_not_written(self):
        done = self.verdict("--half", "tune", "--write", status=2)
        self.assertIn("--write takes the whole half 'table' or 'blender'", done.stderr)

    @needs_blender
    def test_its_shots_are_rendered_damaged_and_measured_without_the_other_renderer(self):
        done = self.verdict("--half", "blender", "--only", "exists", "decode", "opens", env=self.path_of("blender"))
        head, _, table = done.stdout.partition("\n\n")
        version = subprocess.run(["blender", "--version"], capture_output=True, text=True, check=True).stdout
        self.assertRegex(head, r"^Half: blender. 2 shots of 6 frames, \d+ faults, seed 1; ")
        self.assertIn(f", {version.splitlines()[0].strip()}, OpenImageIO", head)
        self.assertNotIn("POV-Ray", head)
        rows = {line.split("|")[1].strip(): line.split("|")[2:-1] for line in table.splitlines()}
        self.assertEqual([cell.split()[0] for cell in rows["file missing or empty"]][1:], ["100"] * 3)
        for row in ("a quarter of the samples", "object gone", "frame of elsewhere"):
            self.assertIn(row, rows)

    @needs_blender
    def test_a_scene_that_fails_is_told_with_its_reason(self):
        (self.corpus / "shots.txt").write_text("a blender still 48x27 png8 Samples=4 Nonsense=1\n")
        done = self.verdict("--half", "blender", "--render-only", status=1)
        self.assertIn("Blender has not rendered a: status 1, 0 frames of 6", done.stderr)
        self.assertIn("no parameter Nonsense", done.stderr)
        (self.corpus / "shots.txt").write_text("a blender still 48x27 png8 Samples=4\n")
        (self.corpus / "still.py").write_text("raise RuntimeError('no such table')\n")
        done = self.verdict("--half", "blender", "--render-only", status=1)
        self.assertIn("Blender has not rendered a: status 1, 0 frames of 6", done.stderr)
        self.assertIn("no such table", done.stderr)
        self.assertEqual(list((self.folder / "work/renders").iterdir()), [])


@needs_blender
class BlenderScenes(FolderTest):
    def frames(self, line, numbers, **more):
        shot = shots.parse_shot(f"a blender {line}")
        made = renders.Renders(self.folder / "renders", SCENES, LENGTH, [shot])
        return made.frames(shot, numbers, **more)

    def test_every_scene_shows_something_that_moves_and_a_prop_that_can_go(self):
        for scene in ("still", "hall", "meadow"):
            with self.subTest(scene):
                line = f"{scene} 80x45 exr-half-zip Seed=4 Samples=8 NoiseFixed=1"
                first, last = self.frames(line, [1, LENGTH])
                self.assertEqual(first.shape, (45, 80, 3))
                light = first.mean(axis=2)
                self.assertTrue(numpy.isfinite(first).all())
                # Neither black nor burnt out, and not the same all over.
                self.assertGreater(numpy.median(light), 0.01)
                self.assertLess(numpy.median(light), 0.9)
                self.assertGreater(light.std(), 0.03)
                form = pictures.FORMATS["exr-half-zip"]
                self.assertGreater(pictures.changed(first, last, form).mean(), 0.015)
                gone, = self.frames(line, [1], is_gone=True)
                self.assertGreater(pictures.changed(first, gone, form).mean(), 0.01)

    def test_a_frame_is_the_same_among_others_and_alone(self):
        for scene in ("still", "hall", "meadow"):
            with self.subTest(scene):
                line = f"{scene} 48x27 exr-half-zip Seed=4 Samples=4 Shutter=0.5 Aperture=60 Move=4 Denoise=1"
                among = self.frames(line, [1, 2, 3, 9])[3]
                alone, = self.frames(line, [9])
                self.assertLess(numpy.abs(among - alone).max(), 0.01)

    def test_fewer_samples_are_more_noise(self):
        # Nothing moves, so that all that differs is noise.
        line = "still 80x45 exr-half-zip Seed=4 Kind=1 Samples=16"
        fine, coarse = (self.frames(line, [1, 2], is_coarse=is_coarse) for is_coarse in (False, True))
        noise = [numpy.median(numpy.abs(one - other)) for one, other in (fine, coarse)]
        self.assertGreater(noise[0], 0)
        # Twice as much; where the light does not come by chance there is none.
        self.assertGreater(noise[1], 1.5 * noise[0])
        self.assertLess(noise[1], 3 * noise[0])
        smoothed = self.frames(line + " Denoise=1", [1, 2])
        self.assertLess(numpy.median(numpy.abs(smoothed[0] - smoothed[1])), 0.6 * noise[0])
        fixed = self.frames(line + " NoiseFixed=1", [1, 2])
        self.assertLess(numpy.abs(fixed[0] - fixed[1]).max(), 0.001)

    def test_time_light_and_cut_are_as_the_shot_says(self):
        line = "meadow 48x27 exr-half-zip Seed=4 Samples=4 NoiseFixed=1 Count=30"
        held = self.frames(line + " Hold=2 Shutter=0.5", [1, 2, 3])
        self.assertLess(numpy.abs(held[0] - held[1]).max(), 0.001)
        self.assertGreater(numpy.abs(held[1] - held[2]).max(), 0.01)
        faded = self.frames(line + " FadeIn=10", [1, 6, 12])
        self.assertEqual(faded[0].max(), 0)
        self.assertLess(faded[1].mean(), 0.7 * faded[2].mean())
        cut = self.frames(line + " Cut=12", [10, 11, 12, 13])
        steps = [numpy.abs(one - other).mean() for one, other in zip(cut, cut[1:])]
        self.assertGreater(steps[1], 2 * max(steps[0], steps[2]))

    def test_motion_and_what_is_out_of_focus_are_blurred(self):
        def detail(frame):
            return numpy.abs(numpy.diff(frame, axis=1)).mean()

        line = "meadow 80x45 exr-half-zip Seed=4 Samples=32 Move=1 Speed=3"
        sharp, blurred = (self.frames(f"{line} Shutter={frames}", [12])[0] for frames in (0, 1))
        self.assertLess(detail(blurred), 0.85 * detail(sharp))
        line = "still 80x45 exr-half-zip Seed=4 Samples=32"
        sharp, unfocused = (self.frames(f"{line} Aperture={width}", [12])[0] for width in (0, 900))
        # The squares of the wall.
        self.assertLess(detail(unfocused[:10]), 0.7 * detail(sharp[:10]))

    def test_a_shot_with_depth_has_distances(self):
        frame, = self.frames("still 48x27 exr-float-z Seed=4 Samples=4", [1])
        self.assertEqual(frame.shape, (27, 48, 4))
        # The table in front is nearer than the wall behind.
        self.assertLess(frame[-1, 24, 3], frame[0, 24, 3])
        self.assertGreater(frame[:, :, 3].min(), 0.5)


if __name__ == "__main__":
    unittest.main()
