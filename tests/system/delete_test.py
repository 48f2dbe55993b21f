"""Files that are deleted from the File menu, with the keyboard alone."""

import unittest

from window import FILE_MENU, WindowTest


class Delete(WindowTest):
    def test_of_bad_frames_takes_their_files_alone_and_the_next_pass_misses_them(self):
        self.frame(2).unlink()
        self.frame(6).write_bytes(b"x" * 100)
        self.frame(9).write_bytes(b"x" * (self.SIZE * 40 // 100))
        window = self.open_window(self.job)
        window.wait_for_status("12 Files | 1 Missing | 1 Too Small")
        window.log.wait_for("Finished scanning")

        window.choose("Delete Bad/Missing Frames", *FILE_MENU)
        window.log.wait_for("Delete bad frames...")
        for number in (2, 6, 9):
            window.log.wait_for(f"  Delete: {self.frame(number)}")
        window.wait_for_status("12 Files | 3 Missing | 0 Too Small")
        left = {file.name for file in self.frame(1).parent.iterdir()}
        self.assertEqual(left, {self.frame(n).name for n in range(1, 13) if n not in (2, 6, 9)})
        self.assertEqual(window.close(), 0)

    def test_of_selected_frames_takes_those_that_are_bad_no_more_too(self):
        whole = self.frame(2).read_bytes()
        for number in (2, 3):
            self.frame(number).write_bytes(b"x")
        window = self.open_window(self.job)
        window.wait_for_status("12 Files | 0 Missing | 2 Too Small")
        window.press("ctrl+s")
        window.log.wait_for("FileList::SelectBad")
        for number in (2, 3):
            self.frame(number).write_bytes(whole)
        window.log.wait_for("Finished scanning")
        window.wait_for_status("12 Files | 0 Missing | 0 Too Small")

        window.choose("Delete Selected", *FILE_MENU)
        window.log.wait_for("Delete selected frames...")
        for number in (2, 3):
            window.log.wait_for(f"  Delete: {self.frame(number)}")
        window.wait_for_status("12 Files | 2 Missing | 0 Too Small")
        self.assertEqual(len(list(self.frame(1).parent.iterdir())), 10)
        self.assertEqual(window.close(), 0)

    def test_passes_over_what_is_no_file(self):
        self.frame(4).unlink()
        self.frame(4).mkdir()
        self.frame(5).write_bytes(b"")
        window = self.open_window(self.job)
        window.log.wait_for("Finished scanning")
        window.choose("Delete Bad/Missing Frames", *FILE_MENU)
        window.log.wait_for(f"  Delete: {self.frame(5)}")
        window.log.wait_for("Finished scanning")
        self.assertTrue(self.frame(4).is_dir())
        self.assertFalse(self.frame(5).exists())
        self.assertEqual(window.close(), 0)


if __name__ == "__main__":
    unittest.main()
