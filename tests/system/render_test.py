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

    def test_a_broken_scene_fails_leaves_no_file_and_tells_why(self):
        scene = self.folder / "broken.pov"
        scene.write_text("sphere { nonsense }")
        folder = self.folder / "frames"
        job = self.render(
            "--range", "1", "--format", folder / "f.%d.png", "--set", f"Scene={scene}", status=1
        )
        self.assertEqual(list(folder.iterdir()), [])
        self.assertIn("Parse Error", self.corvan("log", job))


if __name__ == "__main__":
    unittest.main()
