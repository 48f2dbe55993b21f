"""A wrangler's round with the keyboard alone: bad frames are selected, rendered again, and whole."""

import unittest

from farm import SHARE
from window import WindowTest, keep_picture, wait_until

BAD = ("TextGrey", "TextRed", "TextOrange")


def bands(rows):
    """The first of each run of heights that follow each other."""
    return [row for row in rows if row - 1 not in rows]


class Repair(WindowTest):
    def damage(self):
        self.frame(3).unlink()
        self.frame(6).write_bytes(b"x" * 100)
        size = self.frame(9).stat().st_size
        self.frame(9).write_bytes(self.frame(9).read_bytes()[: size * 40 // 100])

    def open_on_damage(self):
        self.damage()
        window = self.open_window(self.job)
        window.wait_for_status("12 Files | 1 Missing | 1 Too Small")
        wait_until(lambda: all(window.rows_with(colour) for colour in BAD))
        return window

    def select_bad(self, window):
        """Returns once the three bad rows, and no other, are shown as selected."""
        bad = [min(window.rows_with(colour)) for colour in BAD]
        window.press("ctrl+s")
        wait_until(lambda: len(bands(window.rows_with("ListSelection"))) == len(bad))
        for text, row in zip(bad, bands(window.rows_with("ListSelection"))):
            self.assertLess(abs(text - row), 21)

    def check_repaired(self, window):
        """Waits for the job that the window sent, and for the window to find all frames whole."""
        job = self.jobs()[0]["id"]
        self.corvan("wait", job)
        window.wait_for_status("12 Files | 0 Missing | 0 Too Small")
        wait_until(lambda: not any(window.rows_with(colour) for colour in BAD))
        self.assertEqual(len(self.jobs()), 2)
        return job

    def requeue(self, window, *keys):
        window.press(*keys)
        window.log.wait_for(" + Requeue range: 3-9x3")
        wait_until(lambda: len(self.jobs()) == 2)

    def test_of_bad_frames_is_selected_requeued_and_seen(self):
        before = self.show(self.job)
        window = self.open_on_damage()
        self.select_bad(window)
        keep_picture("bad-selected")
        self.requeue(window, "ctrl+b")
        requeued = self.show(self.check_repaired(window))

        self.assertEqual(self.show(self.job), before)
        self.assertNotEqual(requeued["id"], before["id"])
        self.assertEqual(requeued["name"], before["name"])
        # The Master counts and times each job's tasks for itself.
        counted = {"Created", "TasksDone", "TasksTotal", "FrameSeconds", "FrameSecondsSlowest"}
        counted |= {"FramesPerHour", "ExpectedEnd"}
        settings = dict(before["parameters"], Range="3-9x3", RequeueOf=before["id"])
        for name in settings.keys() - counted | requeued["parameters"].keys() - counted:
            self.assertEqual(requeued["parameters"].get(name), settings.get(name), name)
        self.assertEqual([task["firstFrame"] for task in requeued["tasks"]], [3, 6, 9])
        self.assertEqual(window.close(), 0)

    def test_of_selected_frames_does_the_same(self):
        window = self.open_on_damage()
        self.select_bad(window)
        self.requeue(window, "ctrl+r")
        self.check_repaired(window)
        self.assertEqual(window.close(), 0)

    def test_can_be_followed_in_both_logs(self):
        window = self.open_on_damage()
        window.press("ctrl+b")
        window.log.wait_for("Requeue bad frames...")
        window.log.wait_for(" + Requeue range: 3-9x3")
        sent = window.log.wait_for("sending job ").split("sending job ")[1].split()[0]
        self.assertEqual(self.check_repaired(window), sent)
        wait_until(lambda: f"new job {sent}" in self.master_log())

    def test_of_nothing_sends_nothing(self):
        window = self.open_window(self.job)
        # A frame that the first pass has not come to is missing.
        window.log.wait_for("Finished scanning")
        window.wait_for_status("12 Files | 0 Missing | 0 Too Small")
        window.press("ctrl+b")
        window.log.wait_for("Requeue bad frames...")
        window.press("ctrl+r")
        window.log.wait_for("   Nothing selected")
        self.assertEqual(window.close(), 0)
        self.assertEqual(len(self.jobs()), 1)


class RepairOfPackets(WindowTest):
    """Of a job whose commands write five frames each."""

    def make_job(self):
        self.pattern = self.folder / "frames" / "f.%04d.raw"
        script = f'for file; do head -c {self.SIZE} /dev/zero > "$file"; done'
        self.job = self.corvan(
            *("submit", "Command", "--set", "Program=sh", "--set", "PacketSize=5", "--name", "frames"),
            *("--set", f"Arguments=-c\n{script}\nscript\n{{Outputs}}"),
            *("--range", f"1-{self.COUNT}", "--format", self.pattern),
        ).strip()
        self.corvan("wait", self.job)

    def damage(self):
        """Gives when the good frames beside them were written."""
        for number in (2, 6, 12):
            self.frame(number).unlink()
        return {number: self.frame(number).stat().st_mtime_ns for number in (1, 3, 4, 5, 7, 11)}

    def rewritten(self, before):
        return [number for number in before if self.frame(number).stat().st_mtime_ns != before[number]]

    def test_tells_how_many_good_frames_are_rendered_again(self):
        before = self.damage()
        window = self.open_window(self.job)
        window.wait_for_status("12 Files | 3 Missing | 0 Too Small")
        window.press("ctrl+b")
        window.log.wait_for("+ Requeue range: 2,6,12")
        line = window.log.wait_for("packets are rendered whole")
        self.assertTrue(line.endswith("good frames that are rendered again: 3"), line)
        window.log.wait_for("wxCorvanFrame::ShowNotice")
        keep_picture("requeue-packets")
        window.wait_for_status("12 Files | 0 Missing | 0 Too Small")
        job = self.jobs()[0]["id"]
        self.corvan("wait", job)
        tasks = [(task["firstFrame"], task["lastFrame"]) for task in self.show(job)["tasks"]]
        self.assertEqual(tasks, [(2, 6), (12, 12)])
        self.assertEqual(self.rewritten(before), [3, 4, 5])
        self.assertEqual(window.close(), 0)

    def test_by_the_command_tells_the_same_and_spares_them_where_it_is_exact(self):
        before = self.damage()
        told = self.run_corvan("requeue", "--bad", self.job)
        self.assertEqual(
            told.stderr,
            "good frames that are rendered again: 3; packets are rendered whole, with --exact it is 0\n",
        )
        self.corvan("wait", told.stdout.strip())
        self.assertEqual(self.rewritten(before), [3, 4, 5])

        before = self.damage()
        told = self.run_corvan("requeue", "--bad", "--exact", self.job)
        self.assertEqual(told.stderr, "")
        job = told.stdout.strip()
        self.corvan("wait", job)
        self.assertEqual(self.rewritten(before), [])
        self.assertEqual(self.parameter(job, "PacketSize"), "1")
        self.assertEqual(self.parameter(self.job, "PacketSize"), "5")
        self.corvan("check", self.job)


class RepairOfRender(Repair):
    """The same with images that POV-Ray renders."""

    def make_job(self):
        self.pattern = self.folder / "frames" / "f.%04d.png"
        self.job = self.corvan(
            *("submit", "POV-Ray", "--range", "1-12", "--format", self.pattern, "--name", "frames"),
            *("--set", f"Scene={SHARE / 'demo' / 'clockwork.pov'}"),
            *("--set", "Width=96", "--set", "Height=54"),
        ).strip()
        self.corvan("wait", self.job)


if __name__ == "__main__":
    unittest.main()
