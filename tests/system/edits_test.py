"""The job's range and image formats, edited in one window and seen in another."""

import unittest

from window import DONE_MENU, JOB_EDITS, WindowTest, keep_picture, press, write


class Edits(WindowTest):
    def setUp(self):
        super().setUp()
        self.first = self.open_window(self.job, name="first")
        self.second = self.open_window(self.job, name="second", place=(640, 0))
        self.wait_for_both("12 Files | 0 Missing | 0 Too Small")

    def wait_for_both(self, text):
        self.first.wait_for_status(text)
        self.second.wait_for_status(text)

    def close_both(self):
        self.assertEqual(self.first.close(), 0)
        self.assertEqual(self.second.close(), 0)

    def edit_range(self, *keys, text=""):
        self.first.choose("Edit Custom Range", *DONE_MENU)
        self.first.wait_for_dialog("Custom Range")
        press("ctrl+a", "Delete")
        write(text)
        press(*keys)
        self.first.log.wait_for("Sending updated custom range")

    def test_of_the_range_reach_both_windows(self):
        self.edit_range("Return", text="10-15")
        self.wait_for_both("6 Files | 3 Missing | 0 Too Small")
        self.assertEqual(self.parameter(self.job, "CustomRange"), "10-15")
        self.edit_range("Return")
        self.wait_for_both("12 Files | 0 Missing | 0 Too Small")
        self.close_both()

    def test_that_the_master_refuses_are_told_to_who_asked_alone(self):
        self.edit_range("Return", text="abc")
        line = self.first.log.wait_for("the Master refused")
        self.assertIn('the Master refused JobParameter: CustomRange: cannot use the range "abc"', line)
        self.first.log.wait_for("wxCorvanFrame::ShowNotice")
        keep_picture("refused-range")
        self.assertFalse(self.parameter(self.job, "CustomRange"))

        # What comes after it has come to the other window as well.
        self.edit_range("Return", text="1-3")
        self.wait_for_both("3 Files | 0 Missing | 0 Too Small")
        told = [line for line in self.second.log.seen if "refused" in line or "ShowNotice" in line]
        self.assertEqual(told, [])
        self.close_both()

    def test_that_are_cancelled_send_the_range_as_it_was(self):
        self.edit_range("Return", text="1-5")
        self.wait_for_both("5 Files | 0 Missing | 0 Too Small")
        self.edit_range("Escape", text="7")
        self.second.log.wait_for("Received Job parameter 'CustomRange' = 1-5")
        self.close_both()

    def test_of_the_image_formats_reach_both_windows(self):
        other = f"{self.folder}/other.%d.raw"
        self.first.choose("Edit Image Formats", *DONE_MENU)
        self.first.wait_for_dialog("Edit Image Formats")
        # A dialog may be in front before its list has the keyboard.
        press("Down")
        while not self.first.log.has("PathsDlg::SelectionChanged"):
            self.assertEqual(self.first.dialog(), "Edit Image Formats")
            press("Down")
        # Behind the list come Add, Edit and Remove, then Cancel and OK.
        press("Tab", "Tab", "space")
        self.first.wait_for_dialog("Edit Image Format")
        press("ctrl+a", "Delete")
        write(other)
        press("Return")
        self.first.wait_for_dialog("Edit Image Formats")
        press("Tab", "Tab", "Tab", "space")
        self.first.log.wait_for("Sending updated image format")
        self.wait_for_both("12 Files | 12 Missing | 0 Too Small")
        self.assertEqual(self.parameter(self.job, "ImageFormat"), other)
        self.close_both()


class EditsOfTranslatedFormats(WindowTest):
    """Of a job whose formats this machine writes in another way than the farm does."""

    def make_job(self):
        self.formats = "//server/shots/f.%04d.raw;//server/shots/g.%04d.raw"
        self.job = self.submit(
            "exit", "--paused", "--range", "1-3", "--format", self.formats.split(";")[0], "--name", "frames"
        )
        self.corvan("set", self.job, f"ImageFormat={self.formats}")
        self.shots = self.folder / "50%done"
        self.shots.mkdir()
        for number in (1, 2, 3):
            (self.shots / f"f.{number:04}.raw").write_bytes(b"x" * self.SIZE)

    def test_without_an_edit_leave_the_job_as_it_is_and_with_one_go_out_in_the_farms_notation(self):
        options = f"[PathMap]\n//server/shots = {self.shots}\n"
        window = self.open_window(self.job, options=options)
        window.wait_for_status("3 Files | 0 Missing | 0 Too Small")

        window.choose("Edit Image Formats", *JOB_EDITS)
        window.wait_for_dialog("Edit Image Formats")
        press("Return")
        window.log.wait_for("Sending updated image format")
        line = window.log.wait_for("Received Job parameter 'ImageFormat'")
        self.assertTrue(line.endswith(f"= {self.formats}"), line)
        self.assertEqual(self.parameter(self.job, "ImageFormat"), self.formats)

        window.choose("Edit Image Formats", *JOB_EDITS)
        window.wait_for_dialog("Edit Image Formats")
        press("Tab", "space")
        window.wait_for_dialog("Edit Image Format")
        write(f"{self.folder}/50%%done/h.%d")
        press("Return")
        window.wait_for_dialog("Edit Image Formats")
        press("Tab", "Tab", "space")  # From Add over Cancel to OK; the others are disabled.
        window.log.wait_for("Sending updated image format")
        window.log.wait_for("Received Job parameter 'ImageFormat'")
        self.assertEqual(self.parameter(self.job, "ImageFormat"), self.formats + ";//server/shots/h.%d")
        told = [line for line in window.log.seen if "ShowNotice" in line or "read back" in line]
        self.assertEqual(told, [])
        self.assertEqual(window.close(), 0)


if __name__ == "__main__":
    unittest.main()
