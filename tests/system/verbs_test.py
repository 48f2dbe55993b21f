"""The verbs of `corvan` against a real Master."""

import json
import os
import pathlib
import pty
import socket
import subprocess
import unittest

from farm import BIN, FarmTest, PATIENCE, read_pipe, wait_until

UUID = r"^[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}\n$"


class Submit(FarmTest):
    def setUp(self):
        super().setUp()
        self.start_master()

    def test_prints_the_identifier_alone(self):
        self.assertRegex(
            self.corvan("submit", "Command", "--range", "1", "--set", "Program=true"), UUID
        )

    def test_keeps_what_was_given(self):
        job = self.submit("exit", "--paused", "--range", "1-5", "--name", "ä ö", "--set", "PacketSize=2")
        shown = self.show(job)
        self.assertEqual((shown["name"], shown["type"], shown["status"]), ("ä ö", "Command", "Paused"))
        self.assertEqual(shown["parameters"]["Range"], "1-5")
        frames = [(task["firstFrame"], task["lastFrame"]) for task in shown["tasks"]]
        self.assertEqual(frames, [(1, 2), (3, 4), (5, 5)])

    def test_takes_patterns_of_other_machines_that_the_path_map_translates(self):
        options = self.folder / "mapped.ini"
        options.write_text(f"[PathMap]\nP: = {self.folder}\n")
        patterns = (r"P:\a.####.exr", r"P:\\b.%d.exr")  # The value of a parameter doubles them.
        command = ["submit", "Command", "--paused", "--range", "1", "--set", "Program=true"]
        done = self.run_corvan(*command, "--format", patterns[0], "--options", options)
        self.assertEqual(done.stderr, f"pattern: {self.folder}/a.%04d.exr\n")
        job = done.stdout.strip()
        self.assertEqual(self.parameter(job, "ImageFormat"), "P:/a.%04d.exr")
        done = self.run_corvan("set", job, f"ImageFormat={patterns[1]}", "--options", options)
        self.assertEqual(done.stderr, f"pattern: {self.folder}/b.%d.exr\n")
        self.assertEqual(self.parameter(job, "ImageFormat"), "P:/b.%d.exr")

    def test_takes_negative_ranges(self):
        for given in (["--range=-5-3"], ["--range", "-5-3"]):
            job = self.submit("exit", "--paused", *given)
            self.assertEqual(self.parameter(job, "Range"), "-5-3")

    def test_turns_frame_marks_into_the_printf_form_and_says_so(self):
        done = self.run_corvan(
            "submit", "Command", "--paused", "--range", "1", "--set", "Program=true",
            "--format", "/r/a.####.exr", "--format", "b;$F3.exr", "--format", "/r/%d.exr",
        )
        self.assertRegex(done.stdout, UUID)
        folder = os.path.realpath(self.folder)
        self.assertEqual(
            done.stderr, f"pattern: /r/a.%04d.exr\npattern: {folder}/b;%03d.exr\n"
        )
        self.assertEqual(
            self.parameter(done.stdout.strip(), "ImageFormat"),
            f"/r/a.%04d.exr;{folder}/b\\;%03d.exr;/r/%d.exr",
        )


    def test_without_a_name_is_called_after_its_pattern(self):
        for pattern, name in (
            ("/r/tower.%04d.png", "tower"),
            ("/r/tower_####.png", "tower"),
            ("/r/tower/%d.png", "tower"),
            ("/%d.png", "Command"),
            ("/r/50%% \x1b[31mred-%d", "50% [31mred"),
        ):
            job = self.submit("exit", "--paused", "--range", "1", "--format", pattern)
            self.assertEqual(self.show(job)["name"], name)

    def test_sent_again_with_its_identifier_is_the_same_job(self):
        job = "aaaa1111-0000-4000-8000-000000000001"
        for _ in range(2):
            self.assertEqual(self.submit("exit", "--paused", "--range", "1", "--id", job), job)
        self.assertEqual(len(json.loads(self.corvan("list", "--json"))), 1)
        other = ("submit", "Command", "--range", "2", "--id", job, "--set", "Program=true")
        self.assertIn("it is another one", self.run_corvan(*other, status=1).stderr)

    def submit_into(self, output, **more):
        """What is told of a job whose identifier cannot be printed."""
        done = subprocess.run(
            [BIN / "corvan", "submit", "Command", "--range", "1", "--paused", "--set", "Program=true"],
            env=self.env, stdout=output, stderr=subprocess.PIPE, text=True, **more,
        )
        self.assertEqual(done.returncode, 1, done)
        job = json.loads(self.corvan("list", "--json"))[0]["id"]
        self.assertIn(f"; the new job is {job}\n", done.stderr)
        return done.stderr

    def test_tells_the_identifier_where_the_output_is_full_or_closed(self):
        with open("/dev/full", "w", encoding="utf-8") as full:
            self.assertIn("No space left", self.submit_into(full))
        reads, writes = os.pipe()
        os.close(reads)
        with open(writes, "w", encoding="utf-8") as broken:
            self.assertIn("Broken pipe", self.submit_into(broken))
        closed = self.submit_into(None, preexec_fn=lambda: os.close(1))
        self.assertIn("Bad file descriptor", closed)


class Frames(FarmTest):
    def setUp(self):
        super().setUp()
        self.start_master("--slots", "2")

    def test_are_rendered_to_the_files_of_the_pattern(self):
        pattern = self.folder / "a b'\"$(x)ö" / "f.%04d.txt"
        job = self.submit('echo "$1" > "$2"', "--range", "-1-2", "--format", pattern)
        self.assertEqual(self.corvan("wait", job), "Done\n")
        files = {file.name: file.read_text() for file in pattern.parent.iterdir()}
        self.assertEqual(
            files, {"f.-001.txt": "-1\n", "f.0000.txt": "0\n", "f.0001.txt": "1\n", "f.0002.txt": "2\n"}
        )

    def test_of_a_paused_job_are_rendered_once_it_is_queued(self):
        pattern = self.folder / "f.%d.txt"
        job = self.submit('echo "$1" > "$2"', "--paused", "--range", "7", "--format", pattern)
        other = self.submit("exit", "--range", "1")
        self.corvan("wait", other)
        self.assertFalse((self.folder / "f.7.txt").exists())
        self.corvan("set", job, "Status=queued")
        self.corvan("wait", job)
        self.assertTrue((self.folder / "f.7.txt").exists())

    def test_that_fail_are_tried_three_times_and_fail_the_job(self):
        job = self.submit("exit 7", "--range", "1-2")
        self.assertEqual(self.corvan("wait", job, status=1), "Failed\n")
        tasks = [(t["status"], t["tries"], t["exitCode"]) for t in self.show(job)["tasks"]]
        self.assertEqual(tasks, [("Failed", 3, 7)] * 2)
        self.assertIn(
            "task 0: frames 1 to 1, Failed, tried 3 times, exit code 7", self.corvan("show", job)
        )

    def test_done_show_as_counts_where_there_is_no_terminal(self):
        job = self.submit("exit", "--range", "1-4")
        done = self.run_corvan("wait", job)
        self.assertRegex(done.stderr, r"^([0-3]/4\n)*4/4\n$")


class ListAndShow(FarmTest):
    def setUp(self):
        super().setUp()
        self.start_master()

    def test_an_empty_list_is_a_heading(self):
        self.assertEqual(len(self.corvan("list").splitlines()), 1)
        self.assertEqual(json.loads(self.corvan("list", "--json")), [])

    def test_the_newest_job_is_first(self):
        jobs = [self.submit("exit", "--paused", "--range", "1", "--name", n) for n in "abc"]
        listed = [job["id"] for job in json.loads(self.corvan("list", "--json"))]
        self.assertEqual(listed, jobs[::-1])
        lines = self.corvan("list", "--limit", "2").splitlines()
        self.assertEqual([line[:8] for line in lines[1:]], [jobs[2][:8], jobs[1][:8]])

    def test_a_job_is_found_by_identifier_beginning_and_name(self):
        job = self.submit("exit", "--paused", "--range", "1", "--name", "one and only")
        for text in (job, job.upper(), job[:8], "one and only"):
            self.assertEqual(self.show(text)["id"], job)

    def test_a_name_that_two_jobs_have_is_refused(self):
        for _ in range(2):
            self.submit("exit", "--paused", "--range", "1", "--name", "twin")
        self.assertIn("2 jobs fit 'twin'", self.run_corvan("show", "twin", status=2).stderr)

    def test_output_that_cannot_be_written_is_told(self):
        with open("/dev/full", "w", encoding="utf-8") as full:
            done = subprocess.run(
                [BIN / "corvan", "list"], env=self.env, stdout=full, stderr=subprocess.PIPE
            )
        self.assertEqual(done.returncode, 1)
        self.assertIn(b"cannot write", done.stderr)


class Set(FarmTest):
    def setUp(self):
        super().setUp()
        self.start_master()
        self.job = self.submit("exit", "--paused", "--range", "1-5")

    def test_changes_all_that_is_given(self):
        self.corvan("set", self.job, "Name=new name", "Note=a=b", "CustomRange=2-3")
        for name, value in (("Name", "new name"), ("Note", "a=b"), ("CustomRange", "2-3")):
            self.assertEqual(self.parameter(self.job, name), value)

    def test_what_the_master_refuses_changes_nothing(self):
        cases = ["PacketSize=0", "Range=1-", "CustomRange=1-10:5", "Status=asleep", "Type=x",
                 "TasksDone=9", "Priority=101"]
        before = self.show(self.job)
        for setting in cases:
            with self.subTest(setting):
                done = self.run_corvan("set", self.job, setting, status=1)
                self.assertIn("refused", done.stderr)
        self.assertEqual(self.show(self.job), before)

    def test_what_submit_refuses_is_refused_too(self):
        cases = [
            (b"Note=\xff", "Note: the value is not UTF-8"),
            ("status=paused", "status: the parameter is called Status"),
            ("program=true", "program: the parameter is called Program"),
            ("ID=7", "ID: the identifier of a job cannot be set"),
            ("ImageFormat=", "ImageFormat: there is no pattern in it"),
            ("ImageFormat=/r/a.exr", "no place for a frame number"),
        ]
        before = self.show(self.job)
        for setting, reason in cases:
            with self.subTest(setting):
                done = self.run_corvan("set", self.job, setting, status=1)
                self.assertIn(reason, done.stderr)
                submit = ("submit", "Command", "--range", "1", "--set", "Program=true")
                self.assertIn(reason, self.run_corvan(*submit, "--set", setting, status=1).stderr)
        self.assertEqual(self.show(self.job), before)

    def test_takes_patterns_as_submit_does(self):
        done = self.run_corvan("set", self.job, "ImageFormat=frames/a.####.exr")
        pattern = f"{self.folder}/frames/a.%04d.exr"
        self.assertEqual(self.parameter(self.job, "ImageFormat"), pattern)
        self.assertEqual(done.stderr, f"pattern: {pattern}\n")

    def test_changes_all_of_several_values_or_none(self):
        before = self.show(self.job)
        for wrong in ("Status=done", "Range=", "TasksDone=1"):
            done = self.run_corvan("set", self.job, "Name=new", "Range=1-9", wrong, status=1)
            self.assertIn("refused", done.stderr)
            self.assertEqual(self.show(self.job), before, wrong)

    def test_a_job_does_not_begin_without_what_its_type_needs(self):
        job = self.corvan("submit", "POV-Ray", "--range", "1", "--paused").strip()
        done = self.run_corvan("set", job, "Status=queued", status=1)
        self.assertIn("nothing is known of {Scene}", done.stderr)
        self.assertEqual(self.show(job)["status"], "Paused")


class CutAnew(FarmTest):
    """Jobs whose range or packet size changes."""

    def setUp(self):
        super().setUp()
        self.start_master()

    def test_a_finished_job_renders_what_is_new_and_keeps_the_rest(self):
        job = self.submit("echo frame $1", "--range", "5-6")
        self.assertEqual(self.corvan("wait", job), "Done\n")
        self.corvan("set", job, "Range=4-7")
        self.assertEqual(self.corvan("wait", job), "Done\n")
        self.assertIn("4/4", self.corvan("list"))
        self.assertEqual([task["tries"] for task in self.show(job)["tasks"]], [1, 1, 1, 1])
        for task in range(4):
            self.assertEqual(self.corvan("log", job, str(task)), f"frame {task + 4}\n")

    def test_what_is_rendered_is_not_rendered_again_in_larger_packets(self):
        job = self.submit("echo frame $1", "--range", "1-6")
        self.corvan("wait", job)
        self.corvan("set", job, "PacketSize=3")
        shown = self.show(job)
        self.assertEqual(shown["status"], "Done")
        self.assertEqual([task["status"] for task in shown["tasks"]], ["Done", "Done"])

    def test_a_command_that_runs_goes_on_under_its_new_number(self):
        for name in ("started", "go"):
            os.mkfifo(self.folder / name)
        script = f"[ $1 != 5 ] || (echo > {self.folder}/started; cat {self.folder}/go)"
        job = self.submit(script, "--range", "5")
        read_pipe(self.folder / "started")
        self.corvan("set", job, "Range=3-5")
        (self.folder / "go").write_text("went on\n")
        self.assertEqual(self.corvan("wait", job), "Done\n")
        self.assertEqual([task["tries"] for task in self.show(job)["tasks"]], [1, 1, 1])
        self.assertEqual(self.corvan("log", job, "2"), "went on\n")


class Requeues(FarmTest):
    """A requeue bears the name of its job."""

    def test_the_name_means_the_job_and_lists_tell_the_two_apart(self):
        self.start_master()
        pattern = self.folder / "a.%d"
        job = self.submit('echo > "$2"', "--range", "1-3", "--name", "tower", "--format", pattern)
        self.corvan("wait", job)
        requeue = self.corvan("requeue", "tower", "--selected", "2").strip()
        again = self.corvan("requeue", requeue, "--selected", "2").strip()
        self.assertEqual(self.show("tower")["id"], job)
        lines = self.corvan("list").splitlines()[1:]
        self.assertEqual([line.split("  ")[0] for line in lines], [again[:8], requeue[:8], job[:8]])
        for line in lines[:2]:
            self.assertTrue(line.endswith(f"tower (requeue of {job[:8]})"), line)
        self.assertTrue(lines[2].endswith("tower"), lines[2])
        self.assertEqual(self.parameter(again, "RequeueOf"), job)


class Log(FarmTest):
    def setUp(self):
        super().setUp()
        self.start_master()

    def test_shows_what_the_commands_printed(self):
        job = self.submit("echo out $1; echo err >&2", "--range", "4-5")
        self.corvan("wait", job)
        self.assertIn("out 4\nerr\n", self.corvan("log", job, "0"))
        self.assertIn("out 5\nerr\n", self.corvan("log", job, "1"))
        log = self.corvan("log", job)
        headings = [f"== task {i}, frames {i + 4} to {i + 4}, Done, tried once, exit code 0 ==" for i in (0, 1)]
        self.assertLess(log.index(headings[0]), log.index("out 4"))
        self.assertLess(log.index("out 4"), log.index(headings[1]))

    def test_tells_how_the_command_ended_and_how_often_it_was_tried(self):
        job = self.submit('test $1 = 4 && exit 7; kill -9 $$', "--range", "4-5")
        self.corvan("wait", job, status=1)
        headings = [
            "== task 0, frames 4 to 4, Failed, tried 3 times, exit code 7 ==\n",
            "== task 1, frames 5 to 5, Failed, tried 3 times, ended by a signal ==\n",
        ]
        self.assertEqual(self.corvan("log", job), "".join(headings))
        for task, heading in enumerate(headings):
            done = self.run_corvan("log", job, str(task))
            self.assertEqual((done.stdout, done.stderr), ("", heading))

    def test_shows_each_try(self):
        job = self.submit(f"echo x >> {self.folder}/tries; wc -l < {self.folder}/tries; exit 7", "--range", "1")
        self.corvan("wait", job, status=1)
        for number in ("1", "2", "3"):
            self.assertEqual(self.corvan("log", job, "0", "--try", number), number + "\n")
        self.assertEqual(self.corvan("log", job, "0"), "3\n")
        self.assertIn("task 0 was tried 3 times", self.run_corvan("log", job, "0", "--try", "4", status=1).stderr)
        self.assertIn("of which TASK", self.run_corvan("log", job, "--try", "1", status=2).stderr)

    def test_a_terminal_gets_nothing_to_act_on(self):
        job = self.submit(r"printf 'a\033[31mb\nc\n'", "--range", "1")
        self.corvan("wait", job)
        self.assertIn("a\x1b[31mb\nc\n", self.corvan("log", job))
        self.assertEqual(self.corvan("log", job, "0"), "a\x1b[31mb\nc\n")
        for task in ([], ["0"]):
            self.assertIn(b"a\\x1b[31mb\r\nc\r\n", self.on_terminal("log", job, *task))

    def test_of_the_other_verbs_a_terminal_gets_nothing_to_act_on_either(self):
        evil = "a\x1b[35;7mb"
        for setting in (["--name", evil], ["--set", f"Program={evil}"]):
            done = self.run_corvan("submit", "Command", "--range", "1", *setting, status=1)
            self.assertIn("control character", done.stderr)
        pattern = f"{self.folder}/{evil}.%d"
        job = self.submit("exit", "--paused", "--range", "1-2", "--format", pattern, "--set", f"Note={evil}")
        for arguments, told in [
            (["list"], b""),
            (["list", "--json"], rb"a\u001b[35;7mb"),
            (["show", job], rb"a\x1b[35;7mb"),
            (["show", "--json", job], rb"a\u001b[35;7mb"),
            (["check", job], rb"a\x1b[35;7mb"),
            (["check", "--format", pattern, "--range", "1-2"], rb"a\x1b[35;7mb"),
        ]:
            with self.subTest(verb=arguments):
                output = self.on_terminal(*arguments, check=False)
                self.assertNotIn(b"\x1b[35;7m", output)
                self.assertIn(told, output)

    def on_terminal(self, *arguments, check=True):
        """Runs a verb with a terminal as its output. Gives what the terminal got."""
        keyboard, terminal = pty.openpty()
        self.addCleanup(os.close, keyboard)
        # The little that it prints finds room there.
        subprocess.run(
            [BIN / "corvan", *arguments], env=self.env, stdout=terminal, stderr=subprocess.PIPE, check=check
        )
        os.close(terminal)
        output = b""
        try:
            while piece := os.read(keyboard, 4096):
                output += piece
        except OSError:  # Nobody holds the terminal any more.
            pass
        return output

    def test_of_a_task_that_was_not_started_says_so(self):
        job = self.submit("exit", "--paused", "--range", "1")
        for arguments in ([], ["0"]):
            done = self.run_corvan("log", job, *arguments)
            self.assertEqual(done.stdout, "")
            self.assertIn("was started yet" if not arguments else "was not started yet", done.stderr)

    def test_of_a_task_that_is_not_there_is_wrong(self):
        job = self.submit("exit", "--range", "1-3")
        done = self.run_corvan("log", job, "3", status=2)
        self.assertIn("the job has no task 3; it has 0 to 2", done.stderr)


class Machines(FarmTest):
    def test_are_those_that_run_tasks_and_what_became_of_them(self):
        self.start_master()
        self.assertEqual(json.loads(self.corvan("nodes", "--json")), [])
        done = self.submit("echo > $2", "--range", "1-3", "--format", f"{self.folder}/f.%d.txt")
        self.corvan("wait", done)
        failed = self.submit("exit 7", "--range", "1", "--format", f"{self.folder}/g.%d.txt")
        self.corvan("wait", failed, status=1)
        [node] = json.loads(self.corvan("nodes", "--json"))
        self.assertEqual(node["name"], socket.gethostname())
        self.assertEqual((node["failed"], node["bad"], node["suspicious"]), (3, 0, False))
        self.assertEqual((node["lastFailure"]["job"], node["lastFailure"]["reason"]), (failed, "exit code 7"))
        self.assertIn(socket.gethostname(), self.corvan("nodes"))

    def test_of_a_master_that_runs_its_commands_itself_are_not_drained(self):
        self.start_master()
        refused = self.run_corvan("nodes", "--drain", "node1", status=1).stderr
        self.assertIn("machines of a cluster alone can be drained", refused)
        self.run_corvan("nodes", "--drain", "node1", "--resume", "node2", status=2)
        self.run_corvan("nodes", "--reason", "none", status=2)


class Waiting(FarmTest):
    """A job whose command cannot be started."""

    def setUp(self):
        super().setUp()
        self.start_master()
        self.program = self.folder / "renderer"
        self.job = self.corvan(
            *("submit", "Command", "--set", f"Program={self.program}", "--range", "1-50", "--name", "tower")
        ).strip()
        self.reason = f"cannot start {self.program}: No such file or directory"
        wait_until(lambda: self.parameter(self.job, "Waiting"))

    def test_says_why_and_fails_nothing(self):
        self.assertEqual(self.parameter(self.job, "Waiting"), self.reason)
        self.assertTrue(self.corvan("list").endswith(f"tower (waits: {self.reason})\n"))
        self.assertIn(f"Waiting      {self.reason}\n", self.corvan("show", self.job))
        self.assertEqual(self.parameter(self.job, "Status"), "0")
        self.assertEqual({task["tries"] for task in self.show(self.job)["tasks"]}, {0})

    def test_goes_on_at_once_when_somebody_resumes_it(self):
        waiting = self.start_corvan("wait", self.job)
        self.assertEqual(waiting.stderr.readline(), f"the job waits: {self.reason}\n")
        self.program.symlink_to("/bin/true")
        self.corvan("set", self.job, "Status=queued")
        output, errors = waiting.communicate(timeout=PATIENCE)
        self.assertEqual((waiting.returncode, output), (0, "Done\n"), errors)
        self.assertIsNone(self.parameter(self.job, "Waiting"))


class Cancel(FarmTest):
    def setUp(self):
        super().setUp()
        self.start_master()

    def test_ends_the_commands_with_all_they_started(self):
        os.mkfifo(self.folder / "started")
        os.mkfifo(self.folder / "alive")
        # The grandchild holds a pipe open; it is at its end once that one is gone.
        script = f"sleep 1000 > {self.folder}/alive & echo > {self.folder}/started; wait"
        job = self.submit(script, "--range", "1-3")
        with open(self.folder / "alive", encoding="utf-8") as alive:
            read_pipe(self.folder / "started")
            self.corvan("cancel", job)
            self.assertEqual(alive.read(), "")
        self.assertEqual(self.corvan("wait", job, status=1), "Cancelled\n")
        self.assertNotIn("Running", [task["status"] for task in self.show(job)["tasks"]])


class Refusals(FarmTest):
    def setUp(self):
        super().setUp()
        self.start_master()

    def test_each_says_what_and_why(self):
        command = ["submit", "Command", "--set", "Program=true"]
        arguments_that_are_none = [
            (["submit", "Commando", "--range", "1"], "no job type 'Commando'"),
            ([*command, "--range", "1-20000000"], "Range"),
            ([*command, "--range", "1-10:5"], "Range"),
            ([*command, "--range", "1", "--format", "/r/a.exr"], "/r/a.exr"),
            ([*command, "--range", "1", "--format", "/r/%s.exr"], "/r/%s.exr"),
            (["watch", "/r/%d/%d.exr", "1-5"], "/r/%d/%d.exr"),
            (["watch", "/r/%d.exr", "5-"], "5-"),
            (["watch", "/r/%d.exr", ""], "names no frame"),
        ]
        values_that_no_job_takes = [
            ([*command, "--range", ""], "range"),
            ([*command, "--range", "1", "--set", "PacketSize=0"], "PacketSize"),
            ([*command, "--range", "1", "--format", b"/r/a\xff.%d.exr"], "ImageFormat: the value is not UTF-8"),
        ]
        for status, cases in ((2, arguments_that_are_none), (1, values_that_no_job_takes)):
            for arguments, text in cases:
                with self.subTest(arguments):
                    done = self.run_corvan(*arguments, status=status)
                    self.assertIn("corvan: ", done.stderr)
                    self.assertIn(text, done.stderr)
                    self.assertEqual(done.stdout, "")
        self.assertEqual(json.loads(self.corvan("list", "--json")), [])

    def test_of_a_job_that_there_is_not_are_the_same_in_every_verb(self):
        nobody = "00000000-0000-4000-8000-000000000000"
        self.submit("exit", "--paused", "--range", "1", "--name", "twin")
        self.submit("exit", "--paused", "--range", "1", "--name", "twin")
        verbs = [
            ["show"], ["wait"], ["log"], ["cancel"], ["watch"], ["set"], ["check"],
            ["requeue", "--bad"], ["delete", "--bad"], ["plot", "-o", "p.svg"],
        ]
        for job, why in (
            (nobody, f"no job has the identifier {nobody}"),
            ("nobody", "no job fits 'nobody'"),
            ("twin", "2 jobs fit 'twin'"),
        ):
            for verb in verbs:
                with self.subTest(verb=verb, job=job):
                    more = ["Note=x"] if verb == ["set"] else []
                    done = self.run_corvan(*verb, job, *more, status=2)
                    self.assertTrue(done.stderr.startswith(f"corvan: {why}"), done.stderr)
                    self.assertEqual(done.stdout, "")

    def test_do_not_echo_all_of_a_long_argument(self):
        for arguments in (
            ["check", "--range", "1", "--format", "/" + "x" * 70_000],
            ["submit", "Command", "--range", "1", "--format", "/" + "x" * 70_000],
            ["submit", "Command", "--range", "1-" * 30_000],
            ["watch", "/r/%d.exr", "1-" * 30_000],
            ["show", "y" * 70_000],
            ["z" * 70_000],
        ):
            done = self.run_corvan(*arguments, status=2)
            self.assertLess(len(done.stderr), 600, arguments[0])


class Usage(FarmTest):
    def setUp(self):
        super().setUp()
        self.start_master()

    def test_what_makes_no_sense_ends_with_two(self):
        cases = [
            [],
            ["dance"],
            ["set", "job", "nothing"],
            ["submit", "Command", "--range", "1", "--set", "nothing"],
            ["list", "--log-level", "many"],
            ["list", "--master", "nowhere"],
        ]
        for arguments in cases:
            with self.subTest(arguments):
                self.assertNotEqual(self.run_corvan(*arguments, status=2).stderr, "")

    def test_is_told_in_words_of_what_was_typed(self):
        cases = [
            (["frobnicate"], "'frobnicate' is no verb; there are submit, list,"),
            (["chekc", "tower"], "'chekc' is no verb; did you mean 'check'?"),
            (["--master", "unix:/x", "lst"], "'lst' is no verb; did you mean 'list'?"),
            ([], "what is to be done? Give one of submit, list,"),
            (["list", "--limt", "3"], "there is no option '--limt'; did you mean '--limit'?"),
            (["list", "more"], "'more' is one argument too many"),
            (["list", "--limit", "-1"], "--limit: '-1' is not a whole number from 0 to 4294967295"),
            (["list", "--limit"], "--limit wants a value"),
            (["list", "--master", ""], '"" is no address of a Master'),
            (["list", "--master="], "--master wants a value"),
            (["log", "tower", "x"], "TASK: 'x' is not a whole number from 0 to 4294967295"),
            (["show"], "JOB is missing"),
            (["check", "--format", "a%d", "--range", "1", "--variation", "15%"],
             "--variation: '15%' is not a number from 0 up"),
            (["check", "--format", "a%d", "--range", "1", "--decode-memory", "1"],
             "--decode-memory: '1' is not a whole number from 128 to 1048576"),
            (["check", "--format", "a%d", "--range", "1", "--decode-memory", "128"],
             "--decode-memory goes with --decode"),
            (["check", "--format", "a%d", "--range", "1", "--paths", "--json"],
             "--json does not go with --paths"),
        ]
        for arguments, text in cases:
            with self.subTest(arguments):
                self.assertIn(f"corvan: {text}", self.run_corvan(*arguments, status=2).stderr)

    def test_removed_jobs_are_gone_and_whoever_waits_is_told(self):
        job = self.submit("sleep 100", "--range", "1", "--name", "long")
        waiting = self.start_corvan("wait", job)
        self.assertIn("--cancel ends and removes it", self.run_corvan("remove", job, status=1).stderr)
        self.corvan("remove", "long", "--cancel")
        self.assertIn("the job was removed", waiting.communicate(timeout=PATIENCE)[1])
        self.assertEqual(waiting.returncode, 1)
        self.assertEqual(self.corvan("list", "--json"), "[]\n")
        tasks = self.folder / "store" / "tasks"
        wait_until(lambda: not list(tasks.iterdir()))

    def test_options_files_that_are_not_there_are_named(self):
        done = self.run_corvan("list", "--options", "/no/such.ini")
        self.assertIn("there is no options file '/no/such.ini'", done.stderr)

    def test_common_options_stand_before_or_after_the_verb(self):
        address = self.env.pop("CORVAN_MASTER")
        for arguments in (["--master", address, "list"], ["list", f"--master={address}"]):
            self.corvan(*arguments)

    def test_a_log_is_written_where_one_is_asked_for(self):
        file = self.folder / "corvan.log"
        self.corvan("list", "--log-level", "5", "--log-file", str(file))
        self.assertIn(self.env["CORVAN_MASTER"], file.read_text())
        self.assertFalse((pathlib.Path(self.env["XDG_STATE_HOME"]) / "Corvan").exists())


if __name__ == "__main__":
    unittest.main()
