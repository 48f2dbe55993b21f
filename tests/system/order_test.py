"""What begins when: jobs after others, and the frames of one, against a real Master."""

import os
import signal
import unittest

from farm import FarmTest, read_pipe, wait_until


class After(FarmTest):
    """A job that waits for one which waits for the test."""

    def setUp(self):
        super().setUp()
        self.start_master("--slots", "2")
        os.mkfifo(self.folder / "gate")
        self.tower = self.submit(f"cat {self.folder}/gate", "--range", "1", "--name", "tower")
        self.night = self.submit(
            f"echo night >> {self.folder}/order", "--range", "1", "--name", "night", "--after", "tower"
        )
        self.name = f"tower ({self.tower[:8]})"

    def open_gate(self):
        (self.folder / "gate").write_text("")

    def begun(self):
        file = self.folder / "order"
        return file.read_text().split() if file.exists() else []

    def waiting(self, job):
        return self.parameter(job, "Waiting")

    def test_begins_when_the_other_is_done_and_says_so_until_then(self):
        self.assertEqual(self.waiting(self.night), f"for {self.name}")
        self.assertEqual(self.parameter(self.night, "After"), self.tower)
        self.assertIn(f"night (waits: for {self.name})\n", self.corvan("list"))
        self.assertRegex(self.corvan("show", self.night), rf"\nWaiting +for tower \({self.tower[:8]}\)\n")
        waiter = self.start_corvan("wait", "night")
        self.assertEqual(waiter.stderr.readline(), f"the job waits: for {self.name}\n")
        self.assertEqual(self.begun(), [])
        self.open_gate()
        self.assertEqual(waiter.communicate()[0], "Done\n")
        self.assertEqual(self.begun(), ["night"])
        self.assertIsNone(self.waiting(self.night))

    def test_waits_over_a_master_that_is_killed(self):
        self.stop_master(signal.SIGKILL)
        self.start_master("--slots", "2")
        self.assertEqual(self.waiting(self.night), f"for {self.name}")
        self.open_gate()
        self.assertEqual(self.corvan("wait", self.night), "Done\n")

    def test_goes_on_waiting_for_one_that_was_cancelled_until_it_is_let_go(self):
        self.corvan("cancel", "tower")
        self.assertEqual(self.waiting(self.night), f"for {self.name}, which was cancelled")
        self.corvan("remove", "tower")
        self.assertEqual(
            self.waiting(self.night),
            f"for {self.name}, which was removed before it was done; take it out of After to have "
            "this job begin",
        )
        self.corvan("set", "night", "After=")
        self.assertEqual(self.corvan("wait", "night"), "Done\n")

    def test_is_set_by_names(self):
        gate = self.submit("true", "--range", "1", "--name", "gate", "--paused")
        self.corvan("set", "night", f"After=tower, {gate[:8]}")
        self.assertEqual(self.parameter(self.night, "After"), f"{self.tower},{gate}")
        self.assertEqual(
            self.waiting(self.night), f"for gate ({gate[:8]}), which is paused; and for 1 other"
        )
        both = self.submit("true", "--range", "1", "--after", "tower", "gate")
        self.assertEqual(self.parameter(both, "After"), f"{self.tower},{gate}")
        self.open_gate()
        self.corvan("set", "gate", "Status=queued")
        self.assertEqual(self.corvan("wait", both), "Done\n")

    def test_refuses_what_cannot_be_waited_for(self):
        command = ["submit", "Command", "--set", "Program=true", "--range", "1"]
        cases = [
            ([*command, "--after", "bridge"], 2, "no job fits 'bridge'"),
            ([*command, "--after", "0" * 8 + self.tower[8:]], 1, "After: there is no job "),
            ([*command, "--after-good", "tower"], 1, f"nobody checks the frames of {self.name}"),
            (["set", "tower", "After=night"], 1, "waits for this job"),
            (["set", "tower", "After=tower"], 1, "a job cannot wait for itself"),
            ([*command, "--order", "backwards"], 1, "FrameOrder: \"backwards\" is no order"),
        ]
        for arguments, status, reason in cases:
            told = self.run_corvan(*arguments, status=status).stderr
            self.assertIn(reason, told, arguments)
        self.open_gate()


class FrameOrder(FarmTest):
    def setUp(self):
        super().setUp()
        self.start_master("--slots", "1")

    def rendered(self, job):
        self.assertEqual(self.corvan("wait", job), "Done\n")
        return [int(line) for line in (self.folder / "order").read_text().split()]

    def test_is_that_in_which_frames_are_rendered(self):
        script = f"echo $1 >> {self.folder}/order"
        job = self.submit(script, "--range", "1-7", "--order", "middle")
        self.assertEqual(self.rendered(job), [4, 5, 3, 6, 2, 7, 1])
        self.assertEqual([task["firstFrame"] for task in self.show(job)["tasks"]], [4, 5, 3, 6, 2, 7, 1])
        (self.folder / "order").unlink()
        job = self.submit(script, "--range", "1-9", "--order", "ends:4")
        self.assertEqual(self.rendered(job), [1, 9, 5, 2, 3, 4, 6, 7, 8])

    def test_may_change_while_the_job_runs(self):
        os.mkfifo(self.folder / "gate")
        os.mkfifo(self.folder / "begun")
        script = (
            f"echo $1 >> {self.folder}/order; [ $1 = 1 ] || exit 0; echo > {self.folder}/begun; "
            f"cat {self.folder}/gate"
        )
        job = self.submit(script, "--range", "1-6")
        read_pipe(self.folder / "begun")
        self.corvan("set", job, "FrameOrder=middle")
        (self.folder / "gate").write_text("")
        self.assertEqual(self.rendered(job), [1, 3, 4, 2, 5, 6])
        self.assertEqual({task["tries"] for task in self.show(job)["tasks"]}, {1})
        # More frames of the same job.
        (self.folder / "order").unlink()
        self.corvan("set", job, "Range=1-9")
        wait_until(lambda: self.parameter(job, "TasksTotal") == "9")
        self.assertEqual(self.rendered(job), [7, 8, 9])


if __name__ == "__main__":
    unittest.main()
