"""`corvan check --pictures --crops`: small pictures of what was found, as files."""

import json
import os
import struct
import subprocess
import unittest

from farm import BIN, FarmTest, PATIENCE, moving_picture, wait_until

STATES = {"duplicate", "black", "patch", "pop", "sparks"}
# All but one pixel: a picture of one colour would be blank.
BLACK = b"P6\n64 36\n255\n" + bytes(64 * 36 * 3 - 3) + b"\1\1\1"


def size_of(jpeg):
    """Width and height of a JPEG as this program writes them."""
    at = jpeg.index(b"\xff\xc0")
    height, width = struct.unpack(">HH", jpeg[at + 5:at + 9])
    return width, height


class CropsTest(FarmTest):
    """Twenty moving pictures, of which the tenth is black."""

    def setUp(self):
        super().setUp()
        self.crops = self.folder / "made" / "for" / "crops"
        for frame in range(1, 21):
            self.write(frame, moving_picture(frame))
        self.write(10, BLACK)
        self.pattern = self.folder / "f.%03d.ppm"
        self.given = ["--pictures", "--range", "1-20", "--format", self.pattern]

    def write(self, frame, content, name="f"):
        """Whole at once, for who is watching."""
        whole = self.folder / "whole"
        whole.write_bytes(content)
        whole.rename(self.folder / f"{name}.{frame:03d}.ppm")

    def names(self):
        return sorted(os.listdir(self.crops))


class Crops(CropsTest):
    def test_show_each_frame_in_which_pictures_found_something(self):
        said = self.corvan("check", "--crops", self.crops, *self.given, status=1)
        self.assertTrue(said.endswith(f"1 crop in {self.crops}\n"), said)
        self.assertEqual(self.names(), ["f.010.black.jpg"])
        # The whole picture, thrice, enlarged seven times.
        self.assertEqual(size_of((self.crops / "f.010.black.jpg").read_bytes()), (3 * 448 + 16, 252))

    def test_leave_to_programs_what_they_read(self):
        plain = self.corvan("check", "--json", *self.given, status=1)
        with_crops = self.corvan("check", "--json", "--crops", self.crops, *self.given, status=1)
        self.assertEqual(with_crops, plain)
        found = {
            f"f.{row['frame']:03d}.{row['state']}.jpg"
            for row in json.loads(plain)["tables"][0]["frames"]
            if row["state"] in STATES
        }
        self.assertEqual(self.names(), sorted(found))
        self.assertEqual(
            self.corvan("check", "--paths", "--crops", self.crops, *self.given, status=1),
            f"{self.folder}/f.010.ppm\n",
        )

    def test_of_two_folders_do_not_meet(self):
        other = self.folder / "other"
        other.mkdir()
        for file in self.folder.glob("f.*.ppm"):
            (other / file.name).write_bytes(file.read_bytes())
        self.corvan("check", "--crops", self.crops, *self.given, "--format", other / "f.%03d.ppm", status=1)
        self.assertEqual(self.names(), ["f-2.010.black.jpg", "f.010.black.jpg"])

    def test_are_not_made_where_nothing_was_found(self):
        self.write(10, moving_picture(10))
        said = self.corvan("check", "--crops", self.crops, *self.given)
        self.assertNotIn("crop", said)
        self.assertEqual(self.names(), [])

    def test_go_with_pictures(self):
        told = self.run_corvan(
            "check", "--decode", "--crops", self.crops, "--range", "1", "--format", self.pattern, status=2
        )
        self.assertIn("--crops goes with --pictures", told.stderr)
        self.assertFalse(self.crops.exists())


class CropsInTheWay(CropsTest):
    """The report comes first, whatever becomes of the folder."""

    def expect_report_and(self, why, *before):
        done = subprocess.run(
            [*before, BIN / "corvan", "check", "--crops", self.crops, *self.given],
            env=self.env, capture_output=True, text=True, timeout=PATIENCE,
        )
        self.assertEqual(done.returncode, 4, done)
        self.assertIn("20 files: 19 ok, 1 black", done.stdout)
        self.assertEqual(done.stderr, f"corvan: {why}\n")

    def test_name_a_folder_that_cannot_be_made(self):
        (self.folder / "made").write_text("not a folder")
        self.expect_report_and(
            f"cannot make the folder {self.crops} for crops: Not a directory; name another one by --crops"
        )

    def test_name_a_file_that_is_no_crop(self):
        self.crops.mkdir(parents=True)
        file = self.crops / "f.010.black.jpg"
        file.write_text("a painting")
        self.expect_report_and(
            f"cannot write the crop {file}: there is a file of this name that is no crop; "
            "move it away, or name another folder by --crops"
        )
        self.assertEqual(file.read_text(), "a painting")

    def test_tell_of_a_disk_that_is_full(self):
        self.crops.mkdir(parents=True)
        small = f"mount -t tmpfs -o size=4k small '{self.crops}' && exec \"$0\" \"$@\""
        inside = ["unshare", "--user", "--map-root-user", "--mount", "sh", "-c", small]
        if subprocess.run([*inside, "true"], env=self.env, capture_output=True).returncode != 0:
            self.skipTest("nobody may mount anything here")
        file = self.crops / "f.010.black.jpg"
        self.expect_report_and(
            f"cannot write {file}: No space left on device; make room or name another folder by --crops", *inside
        )


class CropsWatched(CropsTest):
    def test_are_added_as_frames_become_bad(self):
        options = self.folder / "options.ini"
        options.write_text("[Analysis]\nRefresh = 20\n")
        process = self.start_corvan("check", "--watch", "--crops", self.crops, *self.given, "--options", options)
        wait_until(lambda: self.crops.exists() and self.names() == ["f.010.black.jpg"], process)
        first = (self.crops / "f.010.black.jpg").stat()
        self.write(15, BLACK)
        wait_until(lambda: self.names() == ["f.010.black.jpg", "f.015.black.jpg"], process)
        self.assertEqual((self.crops / "f.010.black.jpg").stat().st_ino, first.st_ino, "it is not made anew")


if __name__ == "__main__":
    unittest.main()
