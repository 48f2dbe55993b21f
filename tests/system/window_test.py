"""Ordwick's window on real frames and a real Master."""

import signal
import unittest

from window import WindowTest, keep_picture, wait_until

BAD = ("TextGrey", "TextRed", "TextOrange")


class Damage(WindowTest):
    def test_is_counted_and_coloured_row_by_row(self):
        self.frame(3).unlink()
        self.frame(6).write_bytes(b"x" * 100)
        self.frame(9).write_bytes(b"x" * (self.SIZE * 40 // 100))
        window = self.open_window(self.job)
        window.wait_for_status("12 Files | 1 Missing | 1 Too Small")
        window.log.wait_for("Finished scanning 12 files. Will scan again in 200 ms")
        wait_until(lambda: all(window.rows_with(colour) for colour in BAD))
        keep_picture("damage")

        heights = [window.rows_with(colour) for colour in BAD]
        for upper, lower in zip(heights, heights[1:]):
            self.assertLess(max(upper), min(lower))
        # One row each, and three rows from one to the next.
        distances = [min(b) - min(a) for a, b in zip(heights, heights[1:])]
        self.assertLess(abs(distances[0] - distances[1]), 4)
        for rows in heights:
            self.assertLess(max(rows) - min(rows), distances[0] / 3)
        self.assertEqual(window.close(), 0)

    def test_is_seen_while_the_window_is_open_and_so_is_its_repair(self):
        window = self.open_window(self.job)
        window.wait_for_status("12 Files | 0 Missing | 0 Too Small")
        whole = self.frame(5).read_bytes()
        self.frame(5).unlink()
        window.wait_for_status("12 Files | 1 Missing | 0 Too Small")
        self.frame(5).write_bytes(whole[:100])
        window.wait_for_status("12 Files | 0 Missing | 1 Too Small")
        self.frame(5).write_bytes(whole)
        window.log.wait_for("Finished scanning")
        window.wait_for_status("12 Files | 0 Missing | 0 Too Small")
        wait_until(lambda: not any(window.rows_with(colour) for colour in BAD))
        self.assertEqual(window.close(), 0)


class LostMaster(WindowTest):
    def test_is_shown_and_found_again(self):
        self.frame(3).unlink()
        window = self.open_window(self.job)
        window.wait_for_status("12 Files | 1 Missing | 0 Too Small")
        rows = wait_until(lambda: window.steady_rows_with("TextGrey"))

        self.stop_master(signal.SIGKILL)
        wait_until(lambda: window.rows_with("TextGrey") != rows)
        keep_picture("lost-master")

        self.start_master()
        window.log.wait_for("Received Job: frames")
        window.wait_for_status("12 Files | 1 Missing | 0 Too Small")
        wait_until(lambda: window.rows_with("TextGrey") == rows)
        self.assertEqual(window.close(), 0)


class JobChanges(WindowTest):
    def test_of_others_reach_the_window(self):
        window = self.open_window(self.job)
        window.wait_for_status("12 Files | 0 Missing | 0 Too Small")
        self.corvan("set", self.job, "CustomRange=10-15")
        window.wait_for_status("6 Files | 3 Missing | 0 Too Small")
        self.corvan("set", self.job, "CustomRange=")
        window.wait_for_status("12 Files | 0 Missing | 0 Too Small")
        self.corvan("set", self.job, f"ImageFormat={self.folder}/other.%d.raw")
        window.wait_for_status("12 Files | 12 Missing | 0 Too Small")
        self.assertEqual(window.close(), 0)


class WatchedFrames(WindowTest):
    def test_get_one_job_however_often_they_are_watched(self):
        self.frame(4).unlink()
        marks = str(self.pattern).replace("%04d", "####")
        for name, pattern in (("first", str(self.pattern)), ("second", marks)):
            window = self.open_window(pattern, "1-12", name=name)
            window.wait_for_status("12 Files | 1 Missing | 0 Too Small")
            self.assertEqual(window.close(), 0)

        jobs = self.jobs()
        self.assertEqual(len(jobs), 2)
        self.assertEqual((jobs[0]["type"], jobs[0]["status"]), ("Command", "Paused"))
        self.assertEqual(jobs[0]["parameters"]["Range"], "1-12")
        self.assertEqual(jobs[0]["parameters"]["ImageFormat"], str(self.pattern))
        self.assertFalse(self.frame(4).exists())

    def test_are_where_the_commands_own_path_map_says(self):
        options = self.folder / "config" / "Corvan" / "Corvan.ini"
        options.parent.mkdir(parents=True)
        options.write_text(f"[PathMap]\n//server/shots = {self.pattern.parent}\n")
        window = self.open_window(str(self.pattern), "1-12", options=None)
        window.wait_for_status("12 Files | 0 Missing | 0 Too Small")
        self.assertEqual(window.close(), 0)
        self.assertEqual(self.jobs()[0]["parameters"]["ImageFormat"], "//server/shots/f.%04d.raw")

    def test_may_begin_below_zero(self):
        window = self.open_window(str(self.folder / "none.%d.raw"), "-5-4")
        window.log.wait_for("Displaying:")
        window.wait_for_status("10 Files | 10 Missing")
        self.assertEqual(window.close(), 0)


if __name__ == "__main__":
    unittest.main()
