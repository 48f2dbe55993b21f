"""Real renders with POV-Ray."""

import unittest

from farm import SHARE, FarmTest

PNG = b"\x89PNG\r\n\x1a\n"


class Rendering(FarmTest):
    def setUp(self):
        super().setUp()
        self.start_master("--slots", "2")

    def render(self, *arguments, status=0):
        job = self.corvan("submit", "POV-Ray", "--set", "Width=48", "--set", "Height=27", *arguments)
        self.corvan("wait", job.strip(), status=status)
        return job.strip()

    def test_writes_whole_images_of_the_pattern_into_a_folder_of_any_name(self):
        folder = self.folder / "ein Ordner's \"$(name)\" ü"
        scene = self.folder / "Szene ö.pov"
        scene.write_bytes((SHARE / "demo" / "clockwork.pov").read_bytes())
        self.render("--range", "1-3", "--format", folder / "f.%04d.png", "--set", f"Scene={scene}")
        files = sorted(folder.iterdir())
        self.assertEqual([f.name for f in files], ["f.0001.png", "f.0002.png", "f.0003.png"])
        images = [f.read_bytes() for f in files]
        self.assertEqual(len(set(images)), 3)
        for image in images:
            self.assertTrue(image.startswith(PNG) and image.endswith(b"IEND\xaeB`\x82"))

    def test_of_packets_and_of_single_frames_gives_the_same_images(self):
        scene = f"Scene={SHARE / 'demo' / 'clockwork.pov'}"
        common = ["--range", "1-5", "--set", scene, "--set", "RenumberStart=11"]
        for size in (1, 3):
            pattern = self.folder / str(size) / "f.%d.png"
            self.render(*common, "--format", pattern, "--set", f"PacketSize={size}")
        for number in range(11, 16):
            files = [self.folder / size / f"f.{number}.png" for size in "13"]
            # What stands before tells when it was rendered.
            images = [f.read_bytes().partition(b"IDAT")[2] for f in files]
            self.assertEqual(images[0], images[1])
        self.assertEqual(len(list((self.folder / "3").iterdir())), 5)

    def test_a_job_without_image_format_fails_and_tells_why(self):
        job = self.render("--range", "1", "--set", "Scene=none.pov", status=1)
        self.assertIn("no image format", self.corvan("log", job))

    def test_a_broken_scene_fails_leaves_no_file_and_tells_why(self):
        scene = self.folder / "broken.pov"
        scene.write_text("sphere { nonsense }")
        folder = self.folder / "frames"
        job = self.render(
            "--range", "1", "--format", folder / "f.%d.png", "--set", f"Scene={scene}", status=1
        )
        self.assertEqual(list(folder.iterdir()), [])
        self.assertIn("Parse Error", self.corvan("log", job))


# What the command of the type Blender uses of its program: it notes each frame as a file.
BLENDER = """#!/usr/bin/env python3
import sys, types

class Scene:
    def __init__(self):
        self.render = types.SimpleNamespace(use_file_extension=True, filepath="")

    def frame_set(self, frame, subframe=0.0):
        self.frame = frame + subframe

def render(write_still):
    scene = bpy.context.scene
    assert write_still and not scene.render.use_file_extension
    with open(scene.render.filepath, "w") as file:
        file.write(str(scene.frame))

bpy = types.ModuleType("bpy")
bpy.context = types.SimpleNamespace(scene=Scene())
bpy.ops = types.SimpleNamespace(render=types.SimpleNamespace(render=render))
sys.modules["bpy"] = bpy
assert sys.argv[1:3] == ["--background", "a scene.blend"], sys.argv
exec(sys.argv[sys.argv.index("--python-expr") + 1], {})
"""


class Blender(FarmTest):
    def test_is_told_each_frame_and_the_exact_name_of_its_file(self):
        program = self.folder / "bin" / "blender"
        program.parent.mkdir()
        program.write_text(BLENDER)
        program.chmod(0o755)
        self.env["PATH"] = f"{program.parent}:{self.env['PATH']}"
        self.start_master()

        job = self.corvan(
            *("submit", "Blender", "--range=-1-2", "--format", self.folder / "frames" / "f %02d.x"),
            *("--set", "Scene=a scene.blend", "--set", "PacketSize=2", "--set", "SequenceBy=0.5"),
        ).strip()
        self.corvan("wait", job)
        files = {f.name: f.read_text() for f in (self.folder / "frames").iterdir()}
        frames = ["-1.0", "-0.5", "0.0", "0.5", "1.0", "1.5", "2.0", "2.5"]
        self.assertEqual(files, {f"f {n:02d}.x": frame for n, frame in enumerate(frames, -1)})


if __name__ == "__main__":
    unittest.main()
