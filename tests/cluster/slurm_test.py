"""A Master that hands its commands to a real Slurm."""

import contextlib
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import time
import unittest

from slurm_farm import BIN, ONCE, PATIENCE, SHARE, WAIT_FOR_GO, ClusterTest, wait_until

RENDER = 'echo "frame $1 of $SLURM_JOB_ID"; echo "frame $1" > "$2"'


class OnSlurm(ClusterTest):
    def begun(self):
        file = self.folder / "begun"
        return file.read_text().split() if file.exists() else []

    def no_two_at_a_time(self):
        self.assertFalse((self.folder / "violations").exists(), "two ran the same frame at a time")

    def all_frames(self, last):
        for number in range(1, last + 1):
            self.assertEqual(self.frame(number).read_text(), f"frame {number}\n")

    def jobs(self):
        return json.loads(self.corvan("list", "--json"))

    def nodes(self):
        return {node["name"]: node for node in json.loads(self.corvan("nodes", "--json"))}

    def go(self):
        (self.folder / "go").touch()

    def wait_for_begun(self, count):
        wait_until(lambda: len(self.begun()) >= count)

    def once(self, last, wait=WAIT_FOR_GO, *arguments):
        return self.submit_frames(ONCE.format(wait=wait or ":"), last, *arguments)


class SlurmRenders(OnSlurm):
    SETTINGS = ("MaxArraySize=8",)

    def test_each_frame_on_a_node_and_tells_where(self):
        self.start_master()
        job = self.submit_frames(RENDER, 20)
        self.wait_for(job)
        self.all_frames(20)
        tasks = self.tasks(job)
        self.assertEqual([task["status"] for task in tasks], ["Done"] * 20)
        self.assertTrue({task["node"] for task in tasks} <= {"node1", "node2", "node3"})
        # The index is the packet's number, in arrays of eight.
        elements = [int(task["slurmId"].partition("_")[2]) for task in tasks]
        self.assertEqual(elements, [number % 8 for number in range(20)])
        self.assertEqual(len({task["slurmId"].partition("_")[0] for task in tasks}), 3)
        heading = self.run_corvan("log", job, "7")
        self.assertIn("frame 8", heading.stdout)
        self.assertIn(f"on {tasks[7]['node']}, Slurm {tasks[7]['slurmId']}", heading.stderr)
        self.assertIn(f"Slurm {tasks[7]['slurmId']}", self.corvan("show", job))
        # Nothing of it is left on the share but what it has printed.
        master = next(self.share.iterdir())
        wait_until(lambda: not list((master / "arrays").iterdir()))

    def test_a_frame_that_fails_is_tried_again_with_a_log_of_each_try(self):
        self.start_master()
        script = 'echo "try of $1"; if [ ! -e "$3/tried.$1" ]; then : > "$3/tried.$1"; exit 7; fi; echo > "$2"'
        job = self.submit_frames(script, 3)
        self.wait_for(job)
        self.assertEqual([task["tries"] for task in self.tasks(job)], [2, 2, 2])
        self.assertIn("try of 2", self.corvan("log", job, "1", "--try", "1"))

    def test_a_frame_that_fails_three_times_has_failed(self):
        self.start_master()
        job = self.submit_frames('[ "$1" = 2 ] && exit 9; echo > "$2"', 3)
        self.wait_for(job, status=1)
        tasks = self.tasks(job)
        self.assertEqual([task["status"] for task in tasks], ["Done", "Failed", "Done"])
        self.assertEqual((tasks[1]["tries"], tasks[1]["exitCode"]), (3, 9))

    def test_a_command_that_writes_nothing_has_failed_as_on_one_machine(self):
        self.start_master()
        job = self.submit_frames("true", 1)
        self.wait_for(job, status=1)
        self.assertIn("f.0001.txt", self.tasks(job)[0]["reason"])

    def test_limits_of_a_job_hold_on_a_node(self):
        self.start_master()
        job = self.submit_frames("sleep 100", 1, "--set", "MaxSeconds=1")
        self.wait_for(job, status=1)
        self.assertIn("longer than 1 seconds", self.tasks(job)[0]["reason"])

    def test_a_frame_again_that_came_out_bad_and_says_where(self):
        self.start_master()
        bad_once = 'size=1000; [ "$1" = 3 ] && mkdir "$3/bad" && size=10; head -c $size /dev/zero > "$2"'
        settings = ("CheckFrames=sizes", "AutoRequeue=2", "QuietSeconds=1")
        job = self.submit_frames(bad_once, 6, *(word for one in settings for word in ("--set", one)))
        wait_until(lambda: self.parameter(job, "FramesChecked") == "done")
        told = self.show(job)["parameters"]
        self.assertEqual((told["FramesBad"], told["FrameCounts"]), ("0", "ok 6"))
        (again,) = [one for one in self.jobs() if one["parameters"].get("RequeueOf") == job]
        self.assertEqual(again["parameters"]["Range"], "3")
        (task,) = self.tasks(again["id"])
        self.assertIn(task["node"], ("node1", "node2", "node3"))
        # The machine that wrote it is known.
        bad = {node["name"]: node["bad"] for node in self.nodes().values() if node["bad"] > 0}
        self.assertEqual(bad, {self.tasks(job)[2]["node"]: 1})

    def test_a_task_again_that_its_type_had_ended_since_it_was_stuck(self):
        types = self.folder / "types" / "jobtypes"
        types.mkdir(parents=True)
        command = (SHARE / "jobtypes" / "Command.ini").read_text()
        limits = "[Run]\nStuckTimes = 3\nStuckSeconds = 2\nEndStuck = Yes\n"
        (types / "Command.ini").write_text(command + limits)
        self.env["ORDWICK_SHARE"] = str(types.parent)
        self.start_master()
        stuck_once = '[ "$1" = 7 ] && mkdir "$3/stuck" && exec sleep 1000; echo > "$2"'
        job = self.submit_frames(stuck_once, 7)
        wait_until(lambda: "it was ended since it runs for 0:" in self.master_log())
        self.wait_for(job)
        self.assertEqual([task["tries"] for task in self.tasks(job)], [1] * 6 + [2])
        # It has failed there, as any other that fails.
        self.assertEqual(sum(node["failed"] for node in self.nodes().values()), 1)


    def test_a_job_type_runs_unchanged_on_either_engine(self):
        def render(folder):
            job = self.corvan(
                *("submit", "POV-Ray", "--range", "1-3", "--format", folder / "f.%d.png"),
                *("--set", f"Scene={SHARE / 'demo' / 'clockwork.pov'}"),
                *("--set", "Width=48", "--set", "Height=27"),
            ).strip()
            self.wait_for(job)
            self.assertEqual({task["tries"] for task in self.tasks(job)}, {1})
            # What stands before tells when it was rendered.
            return [(folder / f"f.{n}.png").read_bytes().partition(b"IDAT")[2] for n in (1, 2, 3)]

        self.start_master()
        there = render(self.folder / "there")
        self.assertEqual(len(set(there)), 3)
        self.stop_master()
        self.start_local_master()
        self.assertEqual(render(self.folder / "here"), there)

    def test_frames_are_judged_once_they_stand_still_whatever_the_clock_of_their_node_says(self):
        self.start_master()
        # Of one that is ahead by a day, of one that stopped long ago, and of a good one.
        dates = 'case $1 in 1) touch -d "1 day" "$2";; 2) touch -d @1 "$2";; esac'
        job = self.submit_frames(
            f'head -c 20000 /dev/zero > "$2"; {dates}', 3,
            *("--set", "CheckFrames=sizes", "--set", "QuietSeconds=1"),
        )
        wait_until(lambda: self.parameter(job, "FramesChecked") == "done")
        self.assertEqual(self.parameter(job, "FramesBad"), "0")


class SlurmObeys(OnSlurm):
    SETTINGS = ("PreemptType=preempt/partition_prio", "PreemptMode=REQUEUE")

    def test_a_pause_holds_and_the_next_start_goes_on(self):
        self.start_master()
        job = self.once(12)
        self.wait_for_begun(6)
        self.corvan("set", job, "Status=4")
        held = lambda: [line for line in self.queue("%T", "%r") if line[0] == "PENDING"]
        wait_until(lambda: [line[1] for line in held()] == ["JobHeldUser"] * 6)
        self.go()
        wait_until(lambda: self.parameter(job, "TasksDone") == "6")
        self.assertEqual(len(self.begun()), 6)
        self.corvan("set", job, "Status=0")
        self.wait_for(job)
        self.all_frames(12)
        self.no_two_at_a_time()

    def test_a_cancelled_job_leaves_nothing(self):
        self.start_master()
        job = self.once(12)
        self.wait_for_begun(6)
        self.corvan("cancel", job)
        wait_until(lambda: not self.queue())
        self.assertEqual({task["status"] for task in self.tasks(job)}, {"Cancelled"})
        self.assertEqual(len(self.begun()), 6)

    def test_an_urgent_job_goes_first(self):
        self.start_master()
        first = self.once(6)
        self.wait_for_begun(6)
        later = self.once(6, "", "--set", "Priority=10")
        urgent = self.once(6, "", "--set", "Priority=10")
        wait_until(lambda: len(self.queue()) == 18)
        self.corvan("set", urgent, "Priority=90")
        nices = lambda: sorted(int(line[0]) for line in self.queue("%y", "%T") if line[1] == "PENDING")
        wait_until(lambda: nices() == [1000] * 6 + [9000] * 6)
        self.go()
        for job in (first, later, urgent):
            self.wait_for(job)

    def test_what_a_job_wishes_is_passed_and_checked(self):
        self.start_master()
        wrong = self.run_corvan("submit", "Command", "--set", "Partition=--wrap=x", status=1).stderr
        self.assertIn("Partition", wrong)
        job = self.once(
            2, WAIT_FOR_GO, "--set", "Partition=short", "--set", "Time=1", "--set", "Processors=2"
        )
        self.wait_for_begun(1)
        lines = self.queue("%P", "%l", "%C")
        self.assertEqual(lines, [["short", "1:00", "2"]] * 2)
        self.go()
        self.wait_for(job)
        self.assertEqual({task["node"] for task in self.tasks(job)}, {"node1"})

    def waits_in_slurms_words(self, wishes, words, mended):
        """A job that Slurm does not take as it is waits for just that, and goes on once it is mended."""
        sets = [part for wish in wishes for part in ("--set", wish)]
        job = self.once(3, "", *sets)
        wait_until(lambda: words in (self.parameter(job, "Waiting") or ""))
        self.assertEqual({task["status"] for task in self.tasks(job)}, {"Queued"}, words)
        self.assertEqual(self.parameter(job, "TasksFailed"), "0", words)
        self.corvan("set", job, *mended)
        self.wait_for(job)
        self.assertFalse(self.parameter(job, "Waiting"), words)
        self.assertEqual({task["tries"] for task in self.tasks(job)}, {1}, words)

    def test_what_slurm_refuses_is_why_the_job_waits(self):
        self.start_master()
        cases = (
            ("Partition=nowhere", "Invalid partition name specified", "Partition=farm"),
            ("Constraint=none", "Slurm refuses it: Invalid feature", "Constraint="),
            ("Memory=99999999", "; Requested node configuration is not available", "Memory="),
        )
        for wish, words, mended in cases:
            self.waits_in_slurms_words([wish], words, [mended])

    def test_what_slurm_never_begins_is_why_the_job_waits(self):
        self.start_master()
        account = "Slurm: Job's account not known, so it can't use this partition (closed allows show42)"
        cases = (
            (("Partition=short", "Time=60"), "Slurm: PartitionTimeLimit", ["Time=1"]),
            (("Partition=closed", "Account=other"), account, ["Partition=farm"]),
            (("Processors=99",), "Slurm: PartitionConfig", ["Processors=1"]),
        )
        for wishes, words, mended in cases:
            self.waits_in_slurms_words(wishes, words, mended)

    def test_what_somebody_cancels_in_slurm_is_no_failed_frame(self):
        self.start_master()
        job = self.once(1)
        self.wait_for_begun(1)
        number = self.queue("%A")[0][0]
        self.slurm("scancel", number)
        # The job tells so until it is tried again, a second later.
        wait_until(lambda: re.search(f"job {job} waits: .*cancelled it in Slurm", self.master_log()))
        self.go()
        self.wait_for(job)
        self.assertEqual(self.tasks(job)[0]["tries"], 1)

    def test_what_slurm_takes_away_for_others_is_begun_again_and_no_failed_frame(self):
        self.is_begun_again_where_others_take_its_place("farm")

    def test_what_slurm_cancels_for_others_is_begun_again_and_no_failed_frame(self):
        self.is_begun_again_where_others_take_its_place("lent")

    def is_begun_again_where_others_take_its_place(self, partition):
        self.start_master()
        job = self.once(6, WAIT_FOR_GO, "--set", f"Partition={partition}")
        self.wait_for_begun(6)
        wait = f"until [ -e {self.folder}/go ]; do sleep 0.1; done"
        self.slurm("sbatch", "--partition=urgent", "--output=/dev/null", f"--wrap={wait}")
        wait_until(lambda: re.search("begun again: on node.: Slurm says PREEMPTED", self.master_log()))
        # Others have its place now.
        self.assertEqual(len(self.begun()), 6)
        self.assertFalse(self.parameter(job, "Waiting"))
        self.go()
        self.wait_for(job)
        self.all_frames(6)
        self.no_two_at_a_time()
        self.assertEqual(sorted(task["tries"] for task in self.tasks(job)), [1] * 5 + [2])
        failed = {node["failed"] for node in json.loads(self.corvan("nodes", "--json"))}
        self.assertEqual(failed, {0})

    def test_two_masters_see_their_own_jobs_alone(self):
        self.start_master()
        job = self.once(3)
        self.wait_for_begun(3)
        other = OtherMaster(self)
        other.start_master()
        theirs = other.once(3, "")
        other.wait_for(theirs)
        other.stop_master()
        self.assertEqual(len(self.queue()), 3)
        self.go()
        self.wait_for(job)
        self.assertEqual(sorted(self.begun()), ["1", "2", "3"])


class SlurmOrders(OnSlurm):
    """One task at a time, in arrays of four."""

    NODES = 1
    SLOTS = 1
    SETTINGS = (
        "SchedulerParameters=batch_sched_delay=0,sched_interval=1,bf_interval=1,max_array_tasks=4",
    )

    def test_frames_are_begun_in_the_order_of_the_job(self):
        self.start_master()
        job = self.once(9, "", "--order", "middle")
        self.wait_for(job)
        self.assertEqual([int(frame) for frame in self.begun()], [5, 6, 4, 7, 3, 8, 2, 9, 1])
        self.assertNotIn("Slurm refuses", self.master_log())

    def test_a_new_order_counts_for_what_has_not_begun(self):
        self.start_master()
        job = self.once(9)
        self.wait_for_begun(1)
        there = lambda: {task.get("slurmId") for task in self.tasks(job)} - {None}
        wait_until(lambda: len(there()) == 9)
        before = there()
        self.corvan("set", job, "FrameOrder=middle")
        wait_until(lambda: len(there() - before) == 8)
        self.go()
        self.wait_for(job)
        self.assertEqual([int(frame) for frame in self.begun()], [1, 5, 6, 4, 7, 3, 8, 2, 9])
        self.no_two_at_a_time()

    def test_what_waits_for_another_job_is_given_to_slurm_when_that_is_done(self):
        self.start_master()
        first = self.once(1)
        later = self.submit_frames(RENDER, 2, "--after", first)
        self.wait_for_begun(1)
        self.assertEqual(len(self.queue()), 1)
        self.assertEqual(self.parameter(later, "Waiting"), f"for {self.show(first)['name']} ({first[:8]})")
        self.go()
        self.wait_for(later)
        self.assertEqual({task["tries"] for task in self.tasks(later)}, {1})


class SlurmMachines(OnSlurm):
    HIDDEN = "hidden"

    def test_are_drained_and_used_again_on_the_administrators_word(self):
        self.start_master()
        self.assertEqual(self.nodes()["node2"]["state"], "idle")
        self.corvan("nodes", "--drain", "node2", "--reason", "frames come out 'black'")
        self.assertIn("frames come out 'black'", self.slurm("sinfo", "-h", "-R", "-o", "%E|%N"))
        self.assertEqual(self.nodes()["node2"]["state"], "drained (frames come out 'black')")
        self.assertIn("drained (frames", self.corvan("nodes"))
        job = self.once(12, "")
        self.wait_for(job)
        self.assertEqual({task["node"] for task in self.tasks(job)}, {"node1", "node3"})
        self.corvan("nodes", "--resume", "node2")
        wait_until(lambda: self.nodes()["node2"]["state"] == "idle")
        done = {name: node["done"] for name, node in self.nodes().items()}
        self.assertEqual((done["node2"], sum(done.values())), (0, 12))

    def test_that_slurm_refuses_are_refused_in_its_words(self):
        self.start_master()
        refused = self.run_corvan("nodes", "--drain", "nowhere", status=1).stderr
        self.assertIn("Invalid node name specified", refused)
        refused = self.run_corvan("nodes", "--drain", "node[1-3]", status=1).stderr
        self.assertIn("is no name of a machine", refused)
        self.assertEqual({node["state"] for node in self.nodes().values()}, {"idle"})

    def test_where_several_jobs_fail_are_named(self):
        self.start_master()
        # What the first node does not see.
        mark = self.cluster_folder / self.HIDDEN / "mark"
        mark.touch()
        script = f'[ -e {mark} ] || exit 7; sleep 0.2; echo > "$2"'
        for _ in range(2):
            job = self.submit_frames(script, 18)
            # Where all three tries of a frame were on node1 the job has failed.
            wait_until(lambda: self.show(job)["status"] in ("Done", "Failed"))
        node = self.nodes()["node1"]
        self.assertTrue(node["suspicious"], node)
        self.assertIn("tasks of 2 jobs fail", node["suspicion"])
        self.assertGreater(node["failed"], 1)
        self.assertEqual(node["lastFailure"]["reason"], "exit code 7")
        self.assertEqual([one for one in self.nodes().values() if one["suspicious"]], [node])
        self.assertIn("node1 is suspicious", self.corvan("nodes"))


class OtherMaster(OnSlurm):
    """One more, with a folder of its own, on the cluster of another test."""

    def __init__(self, of):
        super().__init__("setUp")
        self.conf = of.conf
        self.setUp()
        of.addCleanup(self.doCleanups)


class SlurmFails(OnSlurm):
    def wait_for_state_on_disk(self):
        """Until the controller has saved what it knows now. It saves what has changed, and may have done
        so with all that there was before."""
        other = self.slurm("sbatch", "--parsable", "--hold", "--output=/dev/null", "--wrap=true").strip()
        self.addCleanup(self.slurm, "scancel", other)
        file = self.conf.parent / "state" / "job_state"
        began = time.time()

        def is_saved():
            # It is away for a moment while the controller puts another in its place.
            with contextlib.suppress(FileNotFoundError):
                return file.stat().st_mtime > began

        wait_until(is_saved)

    def wait_and_resume(self, job):
        """What ran when its number was given again makes Slurm drain a node, until the administrator
        resumes it."""

        def is_done():
            self.slurm("scontrol", "update", "NodeName=node[1-3]", "State=RESUME")
            return self.parameter(job, "Status") == "2"

        wait_until(is_done)

    def test_the_controller_is_killed(self):
        self.start_master()
        job = self.once(9)
        self.wait_for_begun(6)
        self.wait_for_state_on_disk()
        self.order("kill slurmctld")
        self.go()
        # What ran goes on, and is told without it.
        wait_until(lambda: self.parameter(job, "TasksDone") == "6")
        self.order("start slurmctld")
        self.wait_for(job)
        self.all_frames(9)
        self.no_two_at_a_time()

    def test_the_controller_does_not_answer_for_a_while(self):
        self.start_master()
        job = self.once(9)
        self.wait_for_begun(6)
        self.order("freeze slurmctld")
        try:
            later = self.submit_frames(RENDER, 10)
            self.go()
            # What ran is told without it.
            wait_until(lambda: self.parameter(job, "TasksDone") == "6")
            self.assertIn(later[:8], self.corvan("list"))
        finally:
            self.order("thaw slurmctld")
        self.wait_for(job)
        self.wait_for(later)
        self.no_two_at_a_time()
        self.assertEqual(len(self.begun()), 9)

    def test_the_controller_forgets_what_runs_and_what_waits(self):
        self.start_master()
        job = self.once(9)
        self.wait_for_begun(6)
        self.order("kill slurmctld")
        for file in (self.conf.parent / "state").glob("job_state*"):
            file.unlink()
        self.order("start slurmctld")
        self.go()
        self.wait_and_resume(job)
        self.all_frames(9)
        self.no_two_at_a_time()

    def test_a_job_comes_while_the_controller_is_away(self):
        self.start_master()
        self.order("kill slurmctld")
        job = self.once(6, "sleep 0.2")
        self.assertIn(job[:8], self.corvan("list"))
        self.order("start slurmctld")
        self.wait_and_resume(job)
        self.all_frames(6)
        self.no_two_at_a_time()

    def test_a_slurmd_is_killed_and_its_tasks_go_on(self):
        self.start_master()
        job = self.once(6)
        self.wait_for_begun(6)
        for node in ("node1", "node2", "node3"):
            self.order(f"kill {node}")
        self.go()
        self.wait_for(job)
        self.assertEqual(len(self.begun()), 6)
        for node in ("node1", "node2", "node3"):
            self.order(f"start {node}")

    def test_a_node_is_killed(self):
        self.start_master()
        job = self.once(6)
        self.wait_for_begun(6)
        doomed = [task["index"] for task in self.tasks(job) if task["node"] == "node2"]
        self.order("kill all of node2")
        self.go()
        self.wait_for(job)
        self.all_frames(6)
        self.no_two_at_a_time()
        tasks = self.tasks(job)
        for index in doomed:
            self.assertNotEqual(tasks[index]["node"], "node2")
        self.order("start node2")


class MasterFails(OnSlurm):
    def put_before(self, program, script):
        """What the Master finds in the place of one of Slurm's commands."""
        folder = self.folder / "bin"
        folder.mkdir(exist_ok=True)
        file = folder / program
        file.write_text(f"#!/bin/sh\n{script}\n")
        file.chmod(0o755)
        self.env["PATH"] = f"{folder}:{os.environ['PATH']}"

    def test_it_is_killed_and_what_ran_goes_on(self):
        self.start_master()
        job = self.once(9)
        self.wait_for_begun(6)
        self.kill_master()
        self.go()
        wait_until(lambda: len(self.begun()) == 9 and not self.queue())
        self.start_master()
        self.wait_for(job)
        self.all_frames(9)
        self.assertEqual(sorted(self.begun()), [str(number) for number in range(1, 10)])
        self.assertEqual({task["tries"] for task in self.tasks(job)}, {1})

    def test_it_ends_and_what_ran_goes_on(self):
        self.start_master()
        job = self.once(6)
        self.wait_for_begun(6)
        self.assertEqual(self.stop_master(), 0)
        self.start_master()
        self.go()
        self.wait_for(job)
        self.assertEqual(len(self.begun()), 6)

    def test_it_is_killed_before_it_hears_that_the_array_was_taken(self):
        # The array is there; its number never comes to the Master.
        path = os.environ["PATH"]
        self.put_before(
            "sbatch",
            f'[ "$1" = --version ] && exit\nPATH={path} sbatch "$@" > /dev/null; '
            f': > {self.folder}/taken; exec sleep 1000',
        )
        self.start_master()
        job = self.once(6)
        wait_until((self.folder / "taken").exists)
        self.kill_master()
        self.env["PATH"] = path
        self.start_master()
        self.wait_for_begun(6)
        self.go()
        self.wait_for(job)
        self.assertEqual(sorted(self.begun()), [str(number) for number in range(1, 7)])
        self.assertEqual({task["tries"] for task in self.tasks(job)}, {1})

    def test_it_is_killed_before_the_array_is_taken(self):
        self.put_before(
            "sbatch",
            f'[ "$1" = --version ] && exit\n: > {self.folder}/asked; exec sleep 1000',
        )
        self.start_master()
        job = self.once(6, "")
        wait_until((self.folder / "asked").exists)
        self.kill_master()
        self.env["PATH"] = os.environ["PATH"]
        self.start_master()
        self.wait_for(job)
        self.all_frames(6)
        self.no_two_at_a_time()

    def test_it_finds_how_many_tasks_a_limit_lets_it_submit(self):
        # As a quality of service with MaxSubmitJobsPerUser=4 does, that the partition has.
        path = os.environ["PATH"]
        words = (
            "sbatch: error: QOSMaxSubmitJobPerUserLimit\n"
            "sbatch: error: Batch job submission failed: Job violates accounting/QOS policy "
            "(job submit limit, user's size and/or time limits)"
        )
        self.put_before(
            "sbatch",
            f'PATH={path}; case "$*" in *=urgent*) ;; *) exec sbatch "$@";; esac; '
            'for one; do case $one in --array=*) array=${one#*=};; esac; done; '
            'there=$(squeue -h -r -p urgent | wc -l); new=$((${array#*-} - ${array%-*} + 1)); '
            f'[ $((there + new)) -le 4 ] || {{ echo "{words}" >&2; exit 1; }}; exec sbatch "$@"',
        )
        self.start_master()
        job = self.once(8, WAIT_FOR_GO, "--set", "Partition=urgent")
        # Half of what was refused.
        self.wait_for_begun(4)
        # That is its own limit.
        self.wait_for(self.submit_frames(RENDER, 20))
        self.assertIn("Job violates accounting/QOS policy", self.master_log())
        self.go()
        self.wait_for(job)
        self.assertEqual({task["tries"] for task in self.tasks(job)}, {1})

    def test_a_queue_that_is_full_is_why_a_job_waits_and_keeps_nothing_else_waiting(self):
        path, full = os.environ["PATH"], self.folder / "full"
        words = "sbatch: error: Slurm temporarily unable to accept job, sleeping and retrying"
        self.put_before(
            "sbatch",
            f'[ -e {full} ] && echo "{words}" >&2 && exec sleep 1000; PATH={path} exec sbatch "$@"',
        )
        self.start_master()
        running = self.once(1)
        self.wait_for_begun(1)
        full.touch()
        job = self.submit_frames(RENDER, 2)
        wait_until(lambda: "takes no more: Slurm temporarily" in (self.parameter(job, "Waiting") or ""))
        # What somebody does in Slurm is seen.
        self.slurm("scancel", self.queue("%A")[0][0])
        wait_until(lambda: re.search(f"job {running} waits: .*cancelled it in Slurm", self.master_log()))
        full.unlink()
        self.go()
        self.wait_for(job)
        self.wait_for(running)

    def test_it_answers_while_the_share_hangs(self):
        library = os.environ.get("ORDWICK_HANG_BELOW")
        if not library:
            self.skipTest("no sanitizer lets a library be preloaded")
        hangs = self.folder / "hangs"
        environment = {"LD_PRELOAD": library, "HANG_BELOW": str(self.share), "HANG_WHEN": str(hangs)}
        self.env.update(environment)
        self.start_master()
        for name in environment:
            del self.env[name]
        shown, removed = [self.submit_frames(RENDER, 1) for _ in range(2)]
        self.wait_for(shown)
        self.wait_for(removed)
        folder = next(self.share.glob(f"*/tasks/{removed}"))

        hangs.touch()
        log = self.start_corvan("log", shown, "0")
        self.corvan("remove", removed)
        later = self.submit_frames(RENDER, 2)
        touched = self.folder / "share.touched"
        wait_until(lambda: touched.exists() and len(set(touched.read_text().split())) >= 2)
        self.assertIn(later[:8], self.corvan("list"))
        self.assertIsNone(log.poll())
        self.assertTrue(folder.exists())

        hangs.unlink()
        self.assertIn("frame 1", log.communicate()[0])
        self.wait_for(later)
        wait_until(lambda: not folder.exists())

    def test_it_does_not_run_here_what_may_run_there(self):
        self.start_master()
        job = self.once(2)
        self.wait_for_begun(2)
        self.kill_master()
        done = subprocess.run(
            [BIN / "corvan-master", "--data", self.folder / "store"]
            + ["--listen", self.env["CORVAN_MASTER"]],
            env=self.env,
            capture_output=True,
            text=True,
            timeout=PATIENCE,
        )
        self.assertEqual(done.returncode, 1)
        self.assertIn("--engine slurm", done.stderr)
        self.start_master()
        self.go()
        self.wait_for(job)


class SlurmIsNotThere(OnSlurm):
    def start(self, **options):
        self.write_options(**options)
        return subprocess.run(
            [BIN / "corvan-master", "--engine", "slurm", "--data", self.folder / "store"]
            + ["--listen", self.env["CORVAN_MASTER"]],
            env=self.env,
            capture_output=True,
            text=True,
            timeout=PATIENCE,
        )

    def test_a_wrong_configuration_is_told_at_the_start(self):
        nonsense, nobody = self.folder / "nonsense.conf", self.folder / "nobody.conf"
        nonsense.write_text("this is none\n")
        # A cluster of which no controller runs; Slurm's commands try for as long as a message may take.
        settings = re.sub("SlurmctldPort=.*", "SlurmctldPort=1", self.conf.read_text())
        nobody.write_text(re.sub("MessageTimeout=.*", "MessageTimeout=1", settings))
        cases = (
            ("/nowhere/slurm.conf", "cannot read /nowhere/slurm.conf: No such file or directory"),
            (nonsense, f"Parse error in file {nonsense} line 1"),
            (nobody, "Unable to contact slurm controller"),
        )
        for conf, words in cases:
            done = self.start(Conf=conf)
            self.assertEqual(done.returncode, 1)
            self.assertIn("there is no Slurm to hand commands to: ", done.stderr)
            self.assertIn(words, done.stderr)
            # As the user's environment has it.
            self.env["SLURM_CONF"] = str(conf)
            self.assertEqual(self.start(Conf="").stderr, done.stderr)
            del self.env["SLURM_CONF"]
            self.assertFalse((self.folder / "master.sock").exists())

    def test_no_program_of_slurm_is_told_at_the_start(self):
        self.env["PATH"] = "/nowhere"
        done = self.start()
        self.assertEqual(done.returncode, 1)
        self.assertIn("scontrol", done.stderr)

    def test_no_folder_on_a_share_is_told_at_the_start(self):
        done = self.start(Folder="")
        self.assertEqual(done.returncode, 2)
        self.assertIn("Folder", done.stderr)

    def test_no_munge_is_told_at_the_start(self):
        self.order("kill munged")
        try:
            done = self.start()
        finally:
            (pathlib.Path(self.conf).parent / "munge" / "socket").unlink(missing_ok=True)
            self.order("start munged")
        self.assertEqual(done.returncode, 1)
        self.assertIn("there is no Slurm to hand commands to: ", done.stderr)
        self.assertIn("munged", done.stderr)


class FolderIsNotShared(OnSlurm):
    HIDDEN = "local"

    def test_is_found_by_the_first_frame_and_the_job_paused(self):
        if os.getuid() != 0:
            self.skipTest("a folder of its own for a node takes root")
        self.start_master()
        self.frames = self.cluster_folder / "local" / "frames"
        job = self.once(2, "", "--set", "Partition=short")
        self.is_told(job)

    def test_is_found_by_a_master_that_was_started_meanwhile(self):
        if os.getuid() != 0:
            self.skipTest("a folder of its own for a node takes root")
        self.start_master()
        self.frames = self.cluster_folder / "local" / "others"
        job = self.once(2, WAIT_FOR_GO, "--set", "Partition=short")
        self.wait_for_begun(2)
        self.kill_master()
        self.go()
        self.start_master()
        self.is_told(job)

    def is_told(self, job):
        wait_until(lambda: self.parameter(job, "Status") == "4")
        waiting = self.parameter(job, "Waiting")
        self.assertIn(f"the output folder {self.frames} is not shared by the nodes", waiting)
        self.assertIn("node1", waiting)


# One that has a cluster, tells where, and waits to be killed.
KILLED = """
import time
from slurm_farm import ClusterTest
ClusterTest.NODES = 1
ClusterTest.setUpClass()
print(ClusterTest.cluster_folder, flush=True)
time.sleep(1000)
"""


class ClusterOfATest(unittest.TestCase):
    def test_ends_when_the_test_is_killed(self):
        test = subprocess.Popen(
            [sys.executable, "-c", KILLED],
            cwd=pathlib.Path(__file__).parent,
            stdout=subprocess.PIPE,
            text=True,
        )
        folder = pathlib.Path(test.stdout.readline().strip())
        self.addCleanup(shutil.rmtree, folder, ignore_errors=True)
        daemons = [
            process
            for process in pathlib.Path("/proc").iterdir()
            if process.name.isdigit() and str(folder) in environment_of(process)
        ]
        self.assertGreaterEqual(len(daemons), 3)
        test.kill()
        test.communicate()
        wait_until(lambda: not any(daemon.exists() for daemon in daemons))
        wait_until(lambda: not folder.exists())


def environment_of(process):
    try:
        return (process / "environ").read_bytes().decode(errors="replace")
    except OSError:
        return ""


if __name__ == "__main__":
    unittest.main()
