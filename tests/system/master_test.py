"""The Master that is not there, comes back, or is started for its user."""

import os
import pathlib
import signal
import subprocess
import unittest

from farm import BIN, FarmTest, PATIENCE, free_address, read_pipe, wait_until


class NoMaster(FarmTest):
    def test_each_verb_says_so_and_ends_with_three(self):
        verbs = [
            ["list"],
            ["show", "job"],
            ["submit", "Command", "--range", "1", "--set", "Program=true"],
        ]
        processes = [self.start_corvan(*verb) for verb in verbs]
        for process in processes:
            output, errors = process.communicate(timeout=PATIENCE)
            self.assertEqual(process.returncode, 3, errors)
            self.assertEqual(output, "")
            self.assertIn("no Master answers at " + self.env["CORVAN_MASTER"], errors)


class TurnedAway(FarmTest):
    """By a Master beyond the machine that does not take this client."""

    def setUp(self):
        super().setUp()
        self.env["CORVAN_MASTER"] = free_address()
        options = self.options("right", self.certificate("right", "localhost"), "the token")
        self.start_master("--options", options)

    def start_master(self, *arguments):
        # It is asked with the options that fit it.
        self.env["XDG_CONFIG_HOME"] = str(self.folder / "right")
        super().start_master(*arguments)

    def certificate(self, name, host):
        file = self.folder / f"{name}.pem"
        subprocess.run(
            ["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1"]
            + ["-nodes", "-days", "2", "-subj", f"/CN={host}", "-addext", f"subjectAltName=DNS:{host}"]
            + ["-keyout", self.folder / f"{name}.key", "-out", file],
            check=True,
            capture_output=True,
        )
        return file

    def options(self, name, certificate, token):
        """An options file, for `corvan` the one that it finds by itself in this folder."""
        file = self.folder / name / "Corvan" / "Corvan.ini"
        file.parent.mkdir(parents=True)
        secret = self.folder / f"{name}.token"
        secret.touch(mode=0o600)
        secret.write_text(token + "\n")
        file.write_text(
            f"[Master]\nCertificate = {certificate}\nKey = {certificate.with_suffix('.key')}\n"
            f"TokenFile = {secret}\n"
        )
        return file

    def complaint(self, certificate, token):
        options = self.options("wrong", certificate, token)
        before = self.master_log()
        done = self.run_corvan("list", "--options", str(options), status=3)
        self.assertEqual(done.stdout, "")
        # Once: a Master that has said no is not asked again and again.
        self.assertLessEqual(self.master_log()[len(before) :].count("turned away"), 1)
        start = f"corvan: no connection to the Master at {self.env['CORVAN_MASTER']}: "
        self.assertTrue(done.stderr.startswith(start), done.stderr)
        return done.stderr[len(start) :].rstrip("\n")

    def test_for_its_token(self):
        right = self.folder / "right.pem"
        self.assertEqual(self.complaint(right, "another"), "the token is not the Master's")

    def test_for_a_certificate_of_somebody_else(self):
        other = self.certificate("other", "localhost")
        self.assertEqual(
            self.complaint(other, "the token"),
            "its certificate is another than the one of key Certificate, section Master",
        )

    def test_for_a_name_that_its_certificate_is_not_made_out_to(self):
        # The same Master under another of its names.
        self.env["CORVAN_MASTER"] = self.env["CORVAN_MASTER"].replace("localhost", "127.0.0.1")
        self.assertEqual(
            self.complaint(self.folder / "right.pem", "the token"),
            "its certificate is not made out to that name",
        )

    def test_while_it_waits_says_why_once_and_goes_on(self):
        job = self.submit("exit", "--paused", "--range", "1")
        waiting = self.start_corvan("wait", job)
        told = lambda: waiting.stderr.readline()
        self.assertEqual(told(), "the job is paused\n")

        self.stop_master()
        self.assertEqual(told(), "connection lost; waiting for the Master\n")
        secret = self.folder / "right.token"
        secret.write_text("another\n")
        options = str(self.folder / "right" / "Corvan" / "Corvan.ini")
        self.start_master("--options", options)
        reason = "no connection to the Master: the token is not the Master's; waiting goes on\n"
        self.assertEqual(told(), reason)
        # Also of the attempts that follow.
        wait_until(lambda: self.master_log().count("turned away") > 2)

        self.stop_master()
        secret.write_text("the token\n")
        self.start_master("--options", options)
        self.corvan("cancel", job)
        output, errors = waiting.communicate(timeout=PATIENCE)
        self.assertEqual((waiting.returncode, output), (1, "Cancelled\n"))
        self.assertNotIn("no connection", errors)

    def test_for_a_certificate_that_is_not_there(self):
        none = self.folder / "none.pem"
        self.assertIn(str(none), self.complaint(none, "the token"))


class Restart(FarmTest):
    def setUp(self):
        super().setUp()
        self.start_master()
        # The job's one command says that it runs, and ends once its own pipe was written to.
        os.mkfifo(self.folder / "started")
        script = f"cd {self.folder}; mkfifo go.$$; echo $$ > started; exec cat go.$$"
        self.job = self.submit(script, "--range", "1")
        self.first_run = self.wait_for_run()

    def wait_for_run(self):
        return read_pipe(self.folder / "started").strip()

    def end_run(self, run):
        (self.folder / f"go.{run}").write_text("")

    def test_waiting_goes_on_over_a_killed_master(self):
        waiting = self.start_corvan("wait", self.job)
        # It waits once it tells what happens; before, there is nothing to go on with.
        self.corvan("set", self.job, "Status=Paused")
        self.assertEqual(waiting.stderr.readline(), "the job is paused\n")
        self.corvan("set", self.job, "Status=Running")
        self.stop_master(signal.SIGKILL)
        self.assertEqual(waiting.stderr.readline(), "connection lost; waiting for the Master\n")

        self.start_master()
        self.end_run(self.wait_for_run())
        output, errors = waiting.communicate(timeout=PATIENCE)
        self.assertEqual((waiting.returncode, output), (0, "Done\n"), errors)

    def test_a_master_that_is_told_to_end_queues_its_tasks_again(self):
        self.assertEqual(self.stop_master(), 0)
        self.assertFalse(pathlib.Path(f"/proc/{self.first_run}").exists())
        self.start_master()
        self.end_run(self.wait_for_run())
        self.assertEqual(self.corvan("wait", self.job), "Done\n")


class PersonalMaster(FarmTest):
    def setUp(self):
        super().setUp()
        del self.env["CORVAN_MASTER"]
        self.addCleanup(self.end_personal_masters)

    def personal_masters(self):
        """Process numbers of the Masters that run in this test's environment."""
        mark = f"XDG_RUNTIME_DIR={self.env['XDG_RUNTIME_DIR']}".encode()
        found = []
        for process in pathlib.Path("/proc").glob("[0-9]*"):
            try:
                is_master = os.path.basename(os.readlink(process / "exe")) == "corvan-master"
                if is_master and mark in (process / "environ").read_bytes().split(b"\0"):
                    found.append(int(process.name))
            except OSError:
                continue  # It has ended, or is another user's.
        return found

    def end_personal_masters(self):
        for number in self.personal_masters():
            try:
                os.kill(number, signal.SIGTERM)
            except ProcessLookupError:
                continue
            subprocess.run(["tail", f"--pid={number}", "-f", "/dev/null"], timeout=PATIENCE)

    def test_one_is_started_for_all_who_ask_at_once(self):
        asking = [self.start_corvan("list") for _ in range(3)]
        for process in asking:
            _, errors = process.communicate(timeout=PATIENCE)
            self.assertEqual(process.returncode, 0, errors)
        # Those that came too late may still be on their way out.
        wait_until(lambda: len(self.personal_masters()) == 1)

        listening = "corvan-master: listening on "
        wait_until(lambda: listening in self.master_log())
        self.assertEqual(self.master_log().count(listening), 1)

        job = self.submit("exit", "--range", "1-3")
        self.assertEqual(self.corvan("wait", job), "Done\n")
        wait_until(lambda: len(self.personal_masters()) == 1)

    def test_one_that_cannot_start_says_why(self):
        store = pathlib.Path(self.env["XDG_DATA_HOME"]) / "Corvan" / "jobs.db"
        store.parent.mkdir(parents=True)
        store.write_text("no database, whatever its name says")
        errors = self.run_corvan("list", status=3).stderr
        self.assertIn(f"cannot open job store {store}", errors)

    def test_none_is_started_where_the_options_forbid_it(self):
        options = self.folder / "options.ini"
        options.write_text("[Master]\nAutoStart = no\n")
        self.corvan("list", "--options", str(options), status=3)
        self.assertEqual(self.personal_masters(), [])


if __name__ == "__main__":
    unittest.main()
