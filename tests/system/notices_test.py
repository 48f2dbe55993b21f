"""Notices: what a real Master tells by the examples that ship."""

import contextlib
import http.server
import json
import os
import signal
import sqlite3
import sys
import threading
import time
import unittest

from farm import SHARE, FarmTest, wait_until

MAIL = SHARE / "notices" / "mail"
POST = SHARE / "notices" / "post"


class NoticesTest(FarmTest):
    def tell_by(self, *command, more=""):
        options = self.folder / "config" / "CorvanMaster" / "CorvanMaster.ini"
        lines = "".join(f"{number} = {one}\n" for number, one in enumerate(command, 1))
        options.write_text(
            "[Tasks]\nPauseAfterFailure = 0\nPauseAfterSecondFailure = 0\n"
            f"[Notices]\n{lines}{more}"
        )

    def is_all_told(self):
        """As the store knows; until then an end of the Master has it told once more."""
        store = sqlite3.connect(f"file:{self.folder}/store/jobs.db?mode=ro", uri=True)
        with contextlib.closing(store):
            return store.execute("SELECT count(*) FROM notices").fetchone() == (0,)

    def render(self, script, *arguments, status=0):
        job = self.submit(script, "--range", "1-2", "--format", f"{self.folder}/f.%d.txt", *arguments)
        self.corvan("wait", job, status=status)
        return job


class NoticesByMail(NoticesTest):
    def setUp(self):
        super().setUp()
        self.sent = self.folder / "sent"
        fake = self.folder / "sendmail"
        fake.write_text(
            f'#!/bin/sh\n{{ echo "arguments: $*"; cat; }} > {self.folder}/new\nmv {self.folder}/new {self.sent}\n'
        )
        fake.chmod(0o700)
        self.tell_by(
            "env", f"SENDMAIL={fake}", MAIL, "{Text}", "wranglers@example.org", "td@example.org"
        )

    def test_a_failed_job_is_told_by_the_systems_sendmail(self):
        self.start_master()
        job = self.render("exit 7", "--name", "Türme", status=1)
        text = wait_until(lambda: self.sent.exists() and self.sent.read_text())
        head, _, body = text.partition("\n\n")
        lines = head.splitlines()
        self.assertEqual(lines[0], "arguments: -i -- wranglers@example.org td@example.org")
        self.assertTrue(lines[1].startswith('Subject: [corvan] job "Trme" of '), lines[1])
        self.assertTrue(lines[1].endswith(" has failed: 2 of 2 tasks"), lines[1])
        self.assertEqual(lines[2], "To: wranglers@example.org, td@example.org")
        facts = json.loads(body)
        self.assertEqual((facts["event"], facts["id"], facts["name"]), ("failed", job, "Türme"))
        self.assertEqual((facts["tasksFailed"], facts["tasksTotal"]), (2, 2))

    def test_nothing_of_a_name_becomes_an_option_or_a_header(self):
        self.start_master()
        self.render("echo > $2", "--name", "-t Bcc: all@example.org")
        text = wait_until(lambda: self.sent.exists() and self.sent.read_text())
        self.assertIn("arguments: -i -- wranglers", text)
        self.assertNotIn("\nBcc", text)


class NoticesByPost(NoticesTest):
    def setUp(self):
        super().setUp()
        self.got = []
        self.refuses = 0
        test = self

        class Handler(http.server.BaseHTTPRequestHandler):
            def do_POST(self):
                body = self.rfile.read(int(self.headers["Content-Length"]))
                test.got.append((self.path, self.headers["Content-Type"], json.loads(body)))
                test.refuses -= 1
                self.send_response(503 if test.refuses >= 0 else 204)
                self.end_headers()

            def log_message(self, *_):
                pass

        self.server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        thread = threading.Thread(target=self.server.serve_forever)
        thread.start()
        self.addCleanup(thread.join)
        self.addCleanup(self.server.shutdown)
        self.addCleanup(self.server.server_close)
        port = self.server.server_address[1]
        self.tell_by(sys.executable, POST, f"http://127.0.0.1:{port}/hooks/farm")

    def test_a_job_that_is_done_is_posted(self):
        self.start_master()
        job = self.render("echo > $2")
        wait_until(lambda: self.got)
        path, kind, facts = self.got[0]
        self.assertEqual((path, kind), ("/hooks/farm", "application/json; charset=utf-8"))
        self.assertEqual((facts["event"], facts["id"], facts["status"]), ("done", job, "Done"))
        self.assertEqual(facts["type"], "Command")

    def test_frames_that_stay_bad_are_posted_once_they_were_looked_at(self):
        self.start_master()
        # A byte each.
        settings = ("--set", "CheckFrames=sizes", "--set", "QuietSeconds=0", "--set", "AutoRequeue=1")
        job = self.render("echo > $2", *settings)
        facts = lambda: [facts for _, _, facts in self.got if facts["id"] == job]
        wait_until(lambda: len(facts()) > 1)
        self.assertEqual([one["event"] for one in facts()], ["done", "bad"])
        bad = facts()[1]
        self.assertEqual((bad["reason"], bad["framesBad"], bad["framesBadRange"]), ("1,2", 2, "1,2"))

    def test_what_somebody_has_paused_is_not_posted(self):
        self.start_master()
        script = f"until [ -e {self.folder}/go ]; do sleep 0.1; done; echo > $2"
        job = self.submit(script, "--range", "1", "--format", f"{self.folder}/f.%d.txt")
        self.corvan("set", job, "Status=paused")
        self.assertEqual(self.parameter(job, "Status"), "4")
        self.corvan("set", job, "Status=queued")
        (self.folder / "go").touch()
        self.corvan("wait", job)
        wait_until(lambda: self.got)
        self.assertEqual([facts["event"] for _, _, facts in self.got], ["done"])

    def test_a_server_that_refuses_hears_of_it_again_also_from_the_next_master(self):
        self.refuses = 1
        self.start_master()
        job = self.render("echo > $2")
        wait_until(lambda: self.got)
        wait_until(lambda: "is tried again in 10 s" in self.master_log())
        self.assertIn("the notices' command says: http://127.0.0.1", self.master_log())
        self.assertIn("HTTP Error 503", self.master_log())
        self.stop_master(signal.SIGKILL)
        self.start_master()
        wait_until(lambda: len(self.got) > 1)
        self.assertEqual([facts["id"] for _, _, facts in self.got], [job, job])
        # It is told, and stays so.
        wait_until(self.is_all_told)
        self.stop_master()
        self.start_master()
        self.corvan("list")
        self.assertEqual(len(self.got), 2)


class NoticesInTheWay(NoticesTest):
    def test_a_command_that_hangs_holds_up_nobody_and_ends_with_the_master(self):
        self.tell_by("sh", "-c", f"echo $$ > {self.folder}/new; mv {self.folder}/new {self.folder}/pid; sleep 1000")
        self.start_master()
        self.render("echo > $2")
        wait_until((self.folder / "pid").exists)
        begin = time.monotonic()
        for _ in range(20):
            self.corvan("list")
        self.render("echo > $2")
        self.assertEqual(self.stop_master(), 0)
        self.assertLess(time.monotonic() - begin, 25)
        process = (self.folder / "pid").read_text().strip()
        wait_until(lambda: not os.path.exists(f"/proc/{process}"))

    def test_options_that_cannot_be_are_told_at_the_start(self):
        self.tell_by("/bin/true", "{Nmae}")
        with self.assertRaises(AssertionError):
            self.start_master()
        self.assertIn("Nmae", self.master_text())


if __name__ == "__main__":
    unittest.main()
