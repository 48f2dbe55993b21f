"""Jobs that look after themselves: their frames are judged, and bad ones are rendered again."""

import json
import os
import signal
import time
import unittest

from farm import FarmTest, read_pipe, wait_until

COUNT = 6
GOOD = 1000


class Looked(FarmTest):
    def setUp(self):
        super().setUp()
        self.start_master()
        self.pattern = self.folder / "frames" / "f.%04d.raw"

    def frame(self, number):
        return self.folder / "frames" / f"f.{number:04d}.raw"

    def render(self, sizes, **settings):
        """A job whose frames get the size that the shell text `sizes` leaves in $size."""
        settings = {"CheckFrames": "sizes", "QuietSeconds": 1} | settings
        return self.submit(
            f'size={GOOD}\n{sizes}\nhead -c $size /dev/zero > "$2"'.replace("\n", "; "),
            *("--name", "shot", "--range", f"1-{COUNT}", "--format", self.pattern),
            *(word for name, value in settings.items() for word in ("--set", f"{name}={value}")),
        )

    def once(self, name, commands):
        """Shell text that does something the first time."""
        return f"if mkdir {self.folder}/{name} 2> {self.folder}/mkdir.txt; then {commands}; fi"

    def checked(self, job):
        return self.parameter(job, "FramesChecked")

    def wait_for_check(self, job, state="done"):
        wait_until(lambda: self.checked(job) == state)
        return self.show(job)["parameters"]

    def requeues(self):
        """Those that there are, oldest first."""
        jobs = json.loads(self.corvan("list", "--json"))
        return [job for job in reversed(jobs) if "RequeueOf" in job["parameters"]]


class LookedAfter(Looked):
    """By one Master."""

    def test_frames_that_were_bad_the_first_time_are_rendered_again(self):
        job = self.render(f'case $1 in 3) {self.once("bad", "size=10")};; esac', AutoRequeue=2)
        told = self.wait_for_check(job)
        self.assertEqual((told["FramesBad"], told["FrameCounts"]), ("0", f"ok {COUNT}"))
        self.assertNotIn("FramesBadRange", told)
        self.assertEqual(self.frame(3).stat().st_size, GOOD)
        (requeue,) = self.requeues()
        self.assertEqual(requeue["parameters"]["RequeueOf"], job)
        self.assertEqual(requeue["parameters"]["Range"], "3")
        self.assertEqual(requeue["parameters"]["Owner"], told["Owner"])
        self.assertNotIn("FramesChecked", requeue["parameters"])
        self.assertEqual(told["Status"], "2")

    def test_frames_that_fade_to_black_stay_as_they_are(self):
        job = self.render("case $1 in 5|6) size=100;; esac", AutoRequeue=5)
        told = self.wait_for_check(job)
        self.assertEqual((told["FramesBad"], told["FramesBadRange"]), ("2", "5,6"))
        self.assertEqual(told["FrameCounts"], "ok 4, too-small 2")
        self.assertEqual(len(self.requeues()), 1)
        # The log's file is written by a thread of its own.
        wait_until(lambda: f"frames of job {job} stay bad after round 1: 5,6" in self.master_log())
        self.assertIn("shot (2 frames bad)", self.corvan("list"))
        self.assertRegex(self.corvan("show", job), r"(?m)^FramesBadRange +5,6$")

    def test_frames_are_judged_by_the_rule_of_the_job(self):
        job = self.render("size=100000; case $1 in 3) size=1000;; esac", SizeRule="robust")
        self.assertEqual(self.wait_for_check(job)["FramesBadRange"], "3")
        self.corvan("set", job, "SizeRule=neighbours")
        wait_until(lambda: self.parameter(job, "FramesBadRange") == f"1-{COUNT}")
        self.wait_for_check(job)

    def test_frames_are_only_told_of_unless_they_are_to_be_rendered_again(self):
        job = self.render("case $1 in 2) size=10;; esac")
        self.assertEqual(self.wait_for_check(job)["FramesBadRange"], "2")
        self.assertEqual(self.requeues(), [])
        self.frame(2).write_bytes(bytes(GOOD))
        self.corvan("set", job, "AutoRequeue=1")
        self.assertEqual(self.wait_for_check(job)["FramesBad"], "0")
        self.assertEqual(self.requeues(), [])

    def test_frames_are_rendered_again_no_more_often_than_the_job_says(self):
        again = f"size=$(ls {self.folder}/tries | wc -l)"
        job = self.render(
            f"mkdir -p {self.folder}/tries; case $1 in 4) mktemp -p {self.folder}/tries; {again};; esac",
            AutoRequeue=2,
        )
        told = self.wait_for_check(job)
        self.assertEqual((told["FramesBad"], told["FramesBadRange"]), ("1", "4"))
        self.assertEqual(len(self.requeues()), 2)
        self.assertEqual(self.frame(4).stat().st_size, 3)

    def test_frames_stay_without_a_verdict_where_the_share_is_away(self):
        job = self.render(":", CheckFrames="none", AutoRequeue=3)
        self.corvan("wait", job)
        away = self.folder / "away"
        self.frame(1).parent.rename(away)
        self.corvan("set", job, "CheckFrames=sizes")
        why = f"could not look: the folder {self.folder}/frames is not there"
        self.wait_for_check(job, why)
        # Mounted, and empty.
        self.frame(1).parent.mkdir()
        why = f"could not look: of {COUNT} files that were rendered, {self.folder}/frames has none"
        self.wait_for_check(job, why)
        self.assertIn("(frames: could not look: ", self.corvan("list"))
        self.frame(1).parent.rmdir()
        away.rename(self.frame(1).parent)
        self.assertEqual(self.wait_for_check(job)["FramesBad"], "0")
        self.assertEqual(self.requeues(), [])

    def test_frames_are_judged_once_they_stand_still_whatever_their_dates_say(self):
        job = self.render(":", CheckFrames="none")
        self.corvan("wait", job)
        # Of a machine whose clock is ahead, and of one that is behind.
        os.utime(self.frame(1), (time.time() + 86400, time.time() + 86400))
        os.utime(self.frame(2), (1, 1))
        self.corvan("set", job, "CheckFrames=sizes")
        self.assertEqual(self.wait_for_check(job)["FramesBad"], "0")

    def test_frames_are_looked_at_again_after_a_requeue_of_somebody(self):
        job = self.render(f'case $1 in 3) {self.once("bad", "size=10")};; esac')
        self.assertEqual(self.wait_for_check(job)["FramesBad"], "1")
        self.corvan("wait", self.corvan("requeue", "--bad", job).strip())
        wait_until(lambda: self.parameter(job, "FramesBad") == "0")
        self.wait_for_check(job)
        self.assertEqual(len(self.requeues()), 1)

    def test_a_job_after_good_frames_begins_when_they_are_good(self):
        job = self.render(f'case $1 in 3) {self.once("bad", "size=10")};; esac', AutoRequeue=1)
        after = self.submit(
            'echo rendered > "$2"',
            *("--name", "comp", "--range", "1", "--format", self.folder / "comp" / "c.%d"),
            *("--after-good", job),
        )
        self.corvan("wait", after)
        told = self.show(job)["parameters"]
        self.assertEqual((told["FramesChecked"], told["FramesBad"]), ("done", "0"))
        self.assertEqual(len(self.requeues()), 1)

    def test_frames_are_read_as_images_where_the_job_says_so(self):
        job = self.render(":", CheckFrames="decode")
        told = self.wait_for_check(job)
        self.assertEqual(told["FrameCounts"], f"ok 0, undecodable {COUNT}")


class LookedAfterByTheNext(Looked):
    """Masters that are killed, whatever they are at; the next one goes on."""

    def kill_and_start(self):
        self.stop_master(signal.SIGKILL)
        self.start_master()

    def bad_once(self, **settings):
        return self.render(f'case $1 in 3) {self.once("bad", "size=10")};; esac', **settings)

    def test_while_the_files_are_to_stand_still(self):
        job = self.bad_once(AutoRequeue=1, QuietSeconds=3600)
        self.corvan("wait", job)
        self.wait_for_check(job, "waiting")
        self.kill_and_start()
        self.assertEqual(self.checked(job), "waiting")
        self.corvan("set", job, "QuietSeconds=0")
        self.assertEqual(self.wait_for_check(job)["FramesBad"], "0")
        self.assertEqual(len(self.requeues()), 1)

    def test_while_frames_are_rendered_again(self):
        begun, goes_on = self.folder / "begun", self.folder / "goes-on"
        os.mkfifo(begun)
        os.mkfifo(goes_on)
        again = f"else echo again > {begun}; cat {goes_on}; fi"
        first = self.once("bad", "size=10").removesuffix("fi") + again
        job = self.render(f"case $1 in 3) {first};; esac", AutoRequeue=3)
        self.assertEqual(read_pipe(begun), "again\n")
        self.assertEqual(self.checked(job), "waiting")
        self.assertEqual(self.parameter(job, "FramesBad"), "1")
        self.kill_and_start()
        # The command was ended, and begins anew.
        self.assertEqual(read_pipe(begun), "again\n")
        goes_on.write_text("")
        self.assertEqual(self.wait_for_check(job)["FramesBad"], "0")
        self.assertEqual(len(self.requeues()), 1)

    def test_while_they_cannot_be_looked_at(self):
        job = self.bad_once(CheckFrames="none", AutoRequeue=1)
        self.corvan("wait", job)
        away = self.folder / "away"
        self.frame(1).parent.rename(away)
        self.corvan("set", job, "CheckFrames=sizes")
        wait_until(lambda: self.checked(job).startswith("could not look"))
        self.kill_and_start()
        self.assertTrue(self.checked(job).startswith("could not look"))
        away.rename(self.frame(1).parent)
        self.assertEqual(self.wait_for_check(job)["FramesBad"], "0")
        self.assertEqual(len(self.requeues()), 1)

    def test_once_all_is_over_does_nothing_again(self):
        job = self.render("case $1 in 3) size=10;; esac", AutoRequeue=1)
        before = self.wait_for_check(job)
        self.kill_and_start()
        self.assertEqual(self.show(job)["parameters"], before)
        self.assertEqual(len(self.requeues()), 1)


if __name__ == "__main__":
    unittest.main()
