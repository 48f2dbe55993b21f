"""The web server of a real Master: what docs/api.md says, and `corvan web`."""

import http.client
import json
import os
import pathlib
import re
import signal
import socket
import subprocess
import sys
import unittest
import urllib.parse

from farm import BIN, PATIENCE, FarmTest, moving_picture, wait_until

ROOT = pathlib.Path(__file__).resolve().parents[2]
API = (ROOT / "docs" / "api.md").read_text()

# Frames of about 2000 bytes.
RENDER = 'head -c $((2000 + $1 % 7)) /dev/zero > "$2"; echo "wrote $1"'


def keys_of(text):
    """The names of the fields that a piece of the document shows."""
    return set(re.findall(r'"([A-Za-z]+)":', text))


def keys_in(json_value):
    if isinstance(json_value, dict):
        return set(json_value) | {key for value in json_value.values() for key in keys_in(value)}
    if isinstance(json_value, list):
        return {key for value in json_value for key in keys_in(value)}
    return set()


class WebTest(FarmTest):
    def start_web(self, *arguments):
        """Starts it, and returns once it listens."""
        self.web = subprocess.Popen(
            [BIN / "corvan-web", *arguments], env=self.env, stdout=subprocess.PIPE, text=True
        )
        self.addCleanup(self.web.stdout.close)
        self.addCleanup(self.web.wait)
        self.addCleanup(self.web.kill)
        said = "".join(self.web.stdout.readline() for _ in range(3))
        self.take_link(said)

    def take_link(self, said):
        self.url = urllib.parse.urlsplit(re.search(r"link: (\S+)", said).group(1))
        self.token = re.search(r"token: (\S+)", said).group(1)
        wait_until(lambda: self.ask("/healthz")[0] == 200)

    def ask(self, path, body=None, token=None):
        """A request. Gives the status, the answer's JSON or bytes, and its head."""
        connection = http.client.HTTPConnection(self.url.netloc, timeout=PATIENCE)
        try:
            head = {"Authorization": f"Bearer {token or self.token}"}
            if body is not None:
                head["Content-Type"] = "application/json"
            connection.request(
                "GET" if body is None else "POST", path, json.dumps(body) if body is not None else None, head
            )
            answer = connection.getresponse()
            read = answer.read()
            if answer.getheader("Content-Type") == "application/json":
                read = json.loads(read)
            return answer.status, read, dict(answer.getheaders())
        finally:
            connection.close()

    def get(self, path):
        status, answer, _ = self.ask(path)
        self.assertEqual(status, 200, answer)
        return answer

    def follow(self, query):
        """The events of a stream, as they come: pairs of name and data."""
        connection = http.client.HTTPConnection(self.url.netloc, timeout=PATIENCE)
        self.addCleanup(connection.close)
        connection.request("GET", f"/api/events?{query}", headers={"Authorization": f"Bearer {self.token}"})
        answer = connection.getresponse()
        self.assertEqual(answer.status, 200)
        name = None
        while line := answer.readline().decode():
            if line.startswith("event: "):
                name = line[7:].strip()
            elif line.startswith("data: ") and name:
                yield name, json.loads(line[6:])

    def render(self, frames="1-12"):
        """A job whose frames are there."""
        job = self.submit(RENDER, "--range", frames, "--format", f"{self.folder}/f.%04d.raw", "--name", "tower")
        self.corvan("wait", job)
        wait_until(lambda: self.ask(f"/api/jobs/{job}")[1].get("status") == "done")
        return job


    def render_pictures(self, count):
        """A job whose frames are pictures of something that moves."""
        for number in range(1, count + 1):
            (self.folder / f"f.{number:04d}.ppm").write_bytes(moving_picture(number))
        job = self.submit("true", "--range", f"1-{count}", "--format", f"{self.folder}/f.%04d.ppm", "--name", "shot",
                          "--paused")
        wait_until(lambda: self.ask(f"/api/jobs/{job}")[0] == 200)
        return job


class WebApi(WebTest):
    def setUp(self):
        super().setUp()
        options = self.folder / "config" / "CorvanWeb" / "CorvanWeb.ini"
        options.parent.mkdir(parents=True)
        options.write_text("[Analysis]\nRefresh = 200\n")
        self.start_master()
        self.start_web()

    def test_tells_jobs_as_the_document_shows_them(self):
        job = self.render()
        row = re.search(r"^A JOB:\n\n((?:    .*\n)+)", API, re.M).group(1)
        more = re.search(r"^`GET /api/jobs/ID`: .*\n\n((?:    .*\n)+)", API, re.M).group(1)
        [listed] = self.get("/api/jobs")["jobs"]
        self.assertEqual(self.get("/api/jobs")["total"], 1)
        # "frames" of a job whose frames the Master was not asked to look at is null.
        inner = {"checked", "counts", "bad", "badRange", "ok", "missing"}
        self.assertEqual(keys_in(listed), keys_of(row) - inner)
        whole = self.get(f"/api/jobs/{job}")
        self.assertEqual(set(whole), set(listed) | keys_of(more) - {"Note"})
        self.assertEqual(whole["formats"], [f"{self.folder}/f.%04d.raw"])
        again = {"name": "run-again", "parameter": "Status", "value": "queued"}
        self.assertEqual(whole["actions"], [again])
        self.assertEqual((listed["id"], listed["name"], listed["range"]), (job, "tower", "1-12"))
        self.assertEqual(listed["tasks"], {"total": 12, "done": 12, "failed": 0})

    def test_tells_what_the_master_has_found_of_frames(self):
        job = self.submit("[ $1 = 3 ] || " + RENDER, "--range", "1-5", "--format", f"{self.folder}/f.%04d.raw",
                          "--set", "CheckFrames=sizes", "--set", "QuietSeconds=0")
        wait_until(lambda: (self.ask(f"/api/jobs/{job}")[1].get("frames") or {}).get("checked") == "done"
                   or self.get(f"/api/jobs/{job}")["status"] == "failed")
        self.assertEqual(self.get(f"/api/jobs/{job}")["tasks"]["failed"], 1)

    def test_tells_tasks_and_logs(self):
        job = self.render()
        tasks = self.get(f"/api/jobs/{job}/tasks?offset=2&limit=3")
        self.assertEqual((len(tasks["tasks"]), tasks["total"]), (3, 12))
        shown = re.search(r'\n    (\{"tasks": .*\n.*)\n', API).group(1)
        self.assertEqual(keys_in(tasks), keys_of(shown))
        [one] = self.get(f"/api/jobs/{job}/tasks?frame=7")["tasks"]
        self.assertEqual((one["first"], one["last"]), (7, 7))
        log = self.get(f"/api/jobs/{job}/tasks/{one['task']}/log")
        self.assertEqual(log, {"log": "wrote 7\n", "attempt": 1, "bytes": 8})
        self.assertEqual(self.ask(f"/api/jobs/{job}/tasks/99/log")[0], 404)

    def test_gives_the_verdict_of_the_check(self):
        job = self.render()
        (self.folder / "f.0003.raw").unlink()
        (self.folder / "f.0004.raw").write_bytes(b"short")
        wait_until(lambda: self.get(f"/api/jobs/{job}/frames")["tables"][0]["bad"] == "3,4")
        checked = self.corvan("check", job, "--json", status=1)
        self.assertEqual(self.get(f"/api/jobs/{job}/frames"), json.loads(checked))

    def test_judges_by_the_rule_of_the_job(self):
        job = self.render()
        for number in range(1, 13):
            (self.folder / f"f.{number:04d}.raw").write_bytes(b"x" * (1000 if number == 3 else 100_000))
        wait_until(lambda: self.get(f"/api/jobs/{job}/frames")["tables"][0]["bad"] == "1-3")
        self.corvan("set", job, "SizeRule=robust")
        wait_until(lambda: self.get(f"/api/jobs/{job}/frames")["tables"][0]["bad"] == "3")
        told = self.get(f"/api/jobs/{job}/frames")
        self.assertEqual(told, json.loads(self.corvan("check", job, "--json", status=1)))
        self.assertIn('"score"', API)
        self.assertGreater(told["tables"][0]["frames"][2]["score"], 3)
        self.assertEqual(
            self.get(f"/api/jobs/{job}/frames/3")["why"],
            "smaller than its neighbours: 1000 bytes, and they let pass 86969 to 114942",
        )
        sizes = self.get(f"/api/jobs/{job}/sizes?first=3&last=3")
        self.assertEqual((sizes["lowest"], sizes["highest"]), ([86969], [114942]))

    def test_shows_one_frame(self):
        job = self.render()
        (self.folder / "f.0004.raw").write_bytes(b"short")
        wait_until(lambda: self.get(f"/api/jobs/{job}/frames/4")["state"] == "too-small")
        frame = self.get(f"/api/jobs/{job}/frames/4?decode=1")
        self.assertEqual(frame["why"], "smaller than the smallest acceptable size: 5 of 500 bytes")
        self.assertEqual(frame["neighbours"], {"before": 3, "after": 5})
        self.assertEqual(self.get(f"/api/jobs/{job}/tasks?frame=4")["tasks"][0]["task"], frame["task"])
        self.assertEqual(
            set(frame["decoded"]), {"width", "height", "channels", "format", "detail", "trouble"}
        )
        self.assertEqual(self.get(f"/api/jobs/{job}/frames/1")["neighbours"]["before"], None)
        status, answer, _ = self.ask(f"/api/jobs/{job}/frames/13")
        self.assertEqual((status, answer), (404, {"error": "there is no frame 13; there are 1-12"}))

    def test_holds_a_frame_against_those_around_it(self):
        job = self.render_pictures(30)
        wait_until(lambda: self.get(f"/api/jobs/{job}/frames")["tables"][0]["counts"]["ok"] == 30)
        frame = self.get(f"/api/jobs/{job}/frames/15?decode=1&pictures=1")
        shown = re.search(r'\n    (\{"state": "pop", (?:.*\n)*?.*\})\n\n', API).group(1)
        self.assertEqual(set(frame["pictures"]), keys_of(shown) - {"x", "y", "width", "height"})
        self.assertEqual(frame["pictures"]["range"], "1-30")
        self.assertEqual((frame["pictures"]["state"], frame["decoded"]["width"]), ("ok", 64))
        self.assertEqual(self.ask(f"/api/jobs/{job}/frames/15?pictures=2")[0], 400)
        self.assertNotIn("pictures", self.get(f"/api/jobs/{job}/frames/15"))
        (self.folder / "f.0015.ppm").unlink()
        wait_until(lambda: self.get(f"/api/jobs/{job}/frames/15")["state"] == "missing")
        self.assertNotIn("pictures", self.get(f"/api/jobs/{job}/frames/15?pictures=1"))
        wait_until(lambda: self.get(f"/api/jobs/{job}/frames/16?pictures=1")["pictures"]["range"] == "1-14,16-30")

    def test_tells_all_frames_in_a_sheet(self):
        job = self.render()
        (self.folder / "f.0003.raw").unlink()
        wait_until(lambda: self.get(f"/api/jobs/{job}/frames")["tables"][0]["bad"] == "3")
        head, _, states = self.get(f"/api/jobs/{job}/sheet").partition(b"\n")
        head = json.loads(head)
        self.assertEqual((head["range"], head["count"], len(states)), ("1-12", 12, 12))
        self.assertEqual([head["states"][state] for state in states], ["ok"] * 2 + ["missing"] + ["ok"] * 9)
        self.assertEqual(head["counts"], {"ok": 11, "missing": 1})
        shown = re.search(r'\n    (\{"format": 0, (?:.*\n    )*.*)\n', API).group(1)
        self.assertEqual(set(head) | set(head["counts"]), keys_of(shown))

    def test_tells_sizes_one_by_one_and_by_columns(self):
        job = self.render()
        (self.folder / "f.0003.raw").unlink()
        wait_until(lambda: self.get(f"/api/jobs/{job}/frames")["tables"][0]["bad"] == "3")
        exact = self.get(f"/api/jobs/{job}/sizes?first=2&last=4")
        self.assertEqual((exact["exact"], exact["frame"], exact["size"]), (True, [2, 3, 4], [2002, None, 2004]))
        self.assertEqual(exact["state"], [1, 2, 1])
        reduced = self.get(f"/api/jobs/{job}/sizes?columns=2")
        self.assertEqual((reduced["columns"]["first"], reduced["columns"]["count"]), ([1, 7], [6, 6]))
        self.assertEqual((reduced["columns"]["least"], reduced["columns"]["most"]), ([2001, 2000], [2006, 2005]))
        self.assertEqual(
            reduced["bad"], {"frame": [3], "size": [None], "state": [2], "count": [1], "total": 1}
        )

    def test_refuses_what_makes_no_sense_with_a_sentence(self):
        job = self.render()
        nobody = "11111111-2222-4333-8444-555555555555"
        for path, body, status in (
            (f"/api/jobs/{nobody}", None, 404),
            ("/api/jobs/x", None, 404),
            ("/api/jobs?limit=10001", None, 400),
            (f"/api/jobs/{job}/frames?format=1", None, 404),
            (f"/api/jobs/{job}/frames?format=x", None, 400),
            (f"/api/jobs/{job}/frames/x", None, 404),
            (f"/api/jobs/{job}/sizes?columns=0", None, 400),
            (f"/api/jobs/{job}/parameters", [], 400),
            (f"/api/jobs/{job}/parameters", {}, 400),
            (f"/api/jobs/{job}/parameters", {"Status": "wild"}, 400),
            (f"/api/jobs/{job}/parameters", {"Priority": 7}, 400),
            (f"/api/jobs/{job}/parameters", {"Status": "paused"}, 409),
            (f"/api/jobs/{job}/requeue", {}, 400),
            (f"/api/jobs/{job}/requeue", {"frames": "1-", "exact": True}, 400),
            (f"/api/jobs/{job}/requeue", {"bad": True, "frames": "1"}, 400),
            (f"/api/jobs/{job}/requeue", {"frames": "77"}, 404),
            (f"/api/jobs/{job}/requeue", {"bad": True}, 409),
            (f"/api/jobs/{nobody}/requeue", {"bad": True}, 404),
        ):
            with self.subTest(path=path, body=body):
                got, answer, _ = self.ask(path, body)
                self.assertEqual(got, status, answer)
                self.assertGreater(len(answer["error"]), 10)

    @unittest.skipUnless(os.geteuid() == 0, "it takes root to become another user")
    def test_gives_nothing_to_another_user_who_has_the_token(self):
        # What is not imported by then may be out of that user's reach.
        asks = (
            "import encodings.idna, http.client, os, sys\n"
            "os.setuid(int(sys.argv[3]))\n"
            "connection = http.client.HTTPConnection(sys.argv[1])\n"
            "connection.request('GET', '/api/jobs', headers={'Authorization': 'Bearer ' + sys.argv[2]})\n"
            "answer = connection.getresponse()\n"
            "print(answer.status, answer.read().decode())"
        )
        for user, status, says in ((65534, "403", "another user of this machine"), (0, "200", '"total"')):
            done = subprocess.run(
                [sys.executable, "-c", asks, self.url.netloc, self.token, str(user)],
                capture_output=True, text=True, timeout=PATIENCE, check=False,
            )
            self.assertEqual(done.stdout[:3], status, done)
            self.assertIn(says, done.stdout)

    def test_refuses_a_selection_that_is_too_long_and_says_what_to_do(self):
        job = self.render()
        frames = ",".join(str(frame) for frame in range(1, 1_000_000, 3))
        self.assertGreater(len(frames), 2_000_000)
        status, answer, _ = self.ask(f"/api/jobs/{job}/requeue", {"frames": frames})
        self.assertEqual(
            (status, answer),
            (413, {"error": "the body is too long: 1048576 bytes are taken at most; name fewer frames at a time, "
                            'or all bad ones by {"bad": true}'}),
        )
        # A pattern that can be said shortly is short.
        status, answer, _ = self.ask(f"/api/jobs/{job}/requeue", {"frames": "1-999999x3", "exact": True})
        self.assertEqual((status, answer["frames"]), (201, "1-10x3"))

    def test_renders_frames_again(self):
        job = self.render()
        (self.folder / "f.0003.raw").unlink()
        status, answer, _ = self.ask(f"/api/jobs/{job}/requeue", {"bad": True})
        self.assertEqual((status, answer["frames"], answer["again"]), (201, "3", 0))
        self.corvan("wait", answer["job"])
        self.assertEqual((self.folder / "f.0003.raw").stat().st_size, 2003)
        wait_until(lambda: self.ask(f"/api/jobs/{answer['job']}")[1].get("origin") == job)

    def test_tells_what_can_be_done_as_the_document_shows_it(self):
        job = self.submit("true", "--range", "1-5", "--format", f"{self.folder}/f.%04d.raw", "--paused")
        wait_until(lambda: self.ask(f"/api/jobs/{job}")[0] == 200)
        served = []
        for wanted, names in (
            (None, ["resume", "cancel", "priority"]),
            ("resume", ["pause", "cancel", "priority"]),
            ("pause", ["resume", "cancel", "priority"]),
            ("cancel", ["run-again"]),
        ):
            wish = next(({a["parameter"]: a["value"]} for a in served if a["name"] == wanted), None)
            if wish:
                self.assertEqual(self.ask(f"/api/jobs/{job}/parameters", wish)[0], 200)
            served = self.get(f"/api/jobs/{job}")["actions"] + served
            self.assertEqual([action["name"] for action in served[: len(names)]], names)
        shown = [json.loads(line) for line in re.findall(r'^    (\{"name": .*"parameter": .*\})$', API, re.M)]
        self.assertEqual([action["name"] for action in shown], ["pause", "priority"])
        for action in shown:
            self.assertIn(action, served)
        for action in served:
            self.assertIn(f'`{action["name"]}`', API)

    def test_changes_parameters_together_or_not_at_all(self):
        job = self.submit("true", "--range", "1-5", "--format", f"{self.folder}/f.%04d.raw", "--paused")
        wait_until(lambda: self.ask(f"/api/jobs/{job}")[0] == 200)
        status, answer, _ = self.ask(f"/api/jobs/{job}/parameters", {"Priority": "60", "Note": "häh <b>"})
        self.assertEqual((status, answer["priority"], answer["parameters"]["Note"]), (200, 60, "häh <b>"))
        self.assertEqual(self.ask(f"/api/jobs/{job}/parameters", {"Note": "no", "Priority": "101"})[0], 400)
        self.assertEqual(self.get(f"/api/jobs/{job}")["parameters"]["Note"], "häh <b>")

    def test_tells_events_as_they_happen(self):
        job = self.render()
        events = self.follow(f"jobs=1&job={job}")
        name, master = next(events)
        self.assertEqual((name, master["connected"], master["rights"][-1]), ("master", True, "admin"))
        name, told = next(events)
        self.assertEqual((name, told["id"]), ("job", job))
        next(event for event in events if event[0] == "frames" and event[1]["counts"] == {"ok": 12})
        (self.folder / "f.0007.raw").unlink()
        _, frames = next(event for event in events if event[0] == "frames" and event[1]["changed"])
        self.assertEqual((frames["changed"], frames["counts"]), ({"missing": "7"}, {"ok": 11, "missing": 1}))
        other = self.submit("true", "--range", "1", "--format", f"{self.folder}/g.%04d.raw", "--paused")
        next(event for event in events if event[0] == "jobs" and event[1]["changed"][0]["id"] == other)
        self.corvan("remove", other, "--cancel")
        next(event for event in events if event[0] == "jobs" and event[1]["removed"] == [other])
        self.corvan("set", job, "CustomRange=1-3")
        next(event for event in events if event[0] == "anew")

    def test_shows_what_was_known_while_the_master_is_gone(self):
        job = self.render()
        events = self.follow("jobs=1")
        self.assertEqual(next(events)[1]["connected"], True)
        self.stop_master()
        wait_until(lambda: self.ask("/healthz")[0] == 503)
        status, answer, head = self.ask(f"/api/jobs/{job}")
        self.assertEqual((status, answer["name"]), (200, "tower"))
        self.assertRegex(head["X-Corvan-Old-Since"], r"^\d{4}-\d\d-\d\dT")
        self.assertEqual(self.ask(f"/api/jobs/{job}/requeue", {"frames": "1"})[0], 503)
        self.assertEqual(self.ask(f"/api/jobs/{job}/parameters", {"Priority": "1"})[0], 503)
        next(event for event in events if event[0] == "master" and not event[1]["connected"])
        self.start_master()
        next(event for event in events if event[0] == "master" and event[1]["connected"])
        wait_until(lambda: "X-Corvan-Old-Since" not in self.ask(f"/api/jobs/{job}")[2])


class WebIdle(WebTest):
    def start_idle(self, seconds):
        options = self.folder / "config" / "CorvanWeb" / "CorvanWeb.ini"
        options.parent.mkdir(parents=True)
        options.write_text(f"[Page]\nIdleSeconds = {seconds}\n")
        self.start_master()
        self.start_web()

    def web_log(self):
        return (self.folder / "state" / "CorvanWeb" / "CorvanWeb.log").read_text()

    def test_ends_when_nobody_was_there_for_a_while(self):
        self.start_idle(1)
        self.assertEqual(self.web.wait(PATIENCE), 0)
        self.assertIn("nobody was here for a while", self.web_log())

    def test_stays_as_long_as_a_page_is_open(self):
        self.start_idle(1)
        connection = http.client.HTTPConnection(self.url.netloc, timeout=PATIENCE)
        connection.request("GET", "/api/events?jobs=1", headers={"Authorization": f"Bearer {self.token}"})
        stream = connection.getresponse()
        self.assertEqual(stream.status, 200)
        with self.assertRaises(subprocess.TimeoutExpired):
            self.web.wait(3)
        stream.close()
        connection.close()
        self.assertEqual(self.web.wait(PATIENCE), 0)

    def test_refuses_a_time_that_is_none(self):
        for seconds in ("0", "-5", "604801"):
            options = self.folder / "idle.ini"
            options.write_text(f"[Page]\nIdleSeconds = {seconds}\n")
            done = subprocess.run(
                [BIN / "corvan-web", "--options", options], env=self.env, capture_output=True, text=True,
                timeout=PATIENCE, check=False,
            )
            self.assertEqual(done.returncode, 2, done)
            self.assertIn(f"IdleSeconds {seconds}: it has to be a number from 1 to 604800", done.stderr)


class WebListening(WebTest):
    def listen(self, place):
        return subprocess.Popen(
            [BIN / "corvan-web", "--listen", place], env=self.env, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
            text=True,
        )

    def test_at_an_address_of_ipv6_it_is_known_by_that(self):
        try:
            with socket.socket(socket.AF_INET6) as own:
                own.bind(("::1", 0))
        except OSError as reason:
            self.skipTest(f"this machine has no ::1: {reason}")
        self.start_master()
        with self.listen("[::1]:0") as web:
            self.addCleanup(web.kill)
            said = web.stdout.readline()
            port = int(re.fullmatch(r"corvan-web: listening on http://\[::1\]:(\d+)\n", said).group(1))
            for host, status in ((f"[::1]:{port}", 401), (f"localhost:{port}", 401), (f"127.0.0.1:{port}", 421)):
                connection = http.client.HTTPConnection("::1", port, timeout=PATIENCE)
                connection.request("GET", "/api/jobs", headers={"Host": host})
                self.assertEqual(connection.getresponse().status, status, host)
                connection.close()
            web.terminate()
            self.assertEqual(web.wait(PATIENCE), 0)

    def test_refuses_places_that_are_none(self):
        for place, reason in (
            ("::1:8080", "an address of IPv6 stands in brackets, [::1]:8443"),
            ("::1", "an address of IPv6 stands in brackets, [::1]:8443"),
            ("[::1]", "it has to be HOST:PORT"),
            ("localhost", "it has to be HOST:PORT"),
            ("localhost:65536", "it has to be HOST:PORT"),
        ):
            with self.subTest(place=place), self.listen(place) as web:
                told = web.communicate(timeout=PATIENCE)[1]
                self.assertEqual(web.returncode, 2, told)
                self.assertIn(reason, told)


class WebVerb(WebTest):
    def setUp(self):
        super().setUp()
        self.env.pop("DISPLAY", None)
        self.env.pop("WAYLAND_DISPLAY", None)
        self.start_master()

    def put_browser(self, script):
        """The program that opens the user's browser is this script, or, with None, is not there."""
        self.env["DISPLAY"] = ":1"
        programs = self.folder / "programs"
        programs.mkdir(exist_ok=True)
        self.env["PATH"] = str(programs)
        if script is not None:
            browser = programs / "xdg-open"
            browser.write_text(f"#!/bin/sh\n{script}\n")
            browser.chmod(0o755)

    def open_session(self, link):
        """The status with which the page of a link gets in."""
        self.url = urllib.parse.urlsplit(link)
        connection = http.client.HTTPConnection(self.url.netloc, timeout=PATIENCE)
        connection.request(
            "POST", "/api/session", json.dumps({"secret": self.url.fragment.removeprefix("secret=")}),
            {"Content-Type": "application/json", "Origin": f"http://{self.url.netloc}"},
        )
        status = connection.getresponse().status
        connection.close()
        return status

    def test_opens_the_browser_by_a_file_that_nobody_else_can_read(self):
        opened = self.folder / "opened"
        self.addCleanup(self.end_server)
        self.put_browser(f"echo \"$@\" > '{opened}'")
        done = self.run_corvan("web")
        self.assertEqual((done.stdout, done.stderr), ("", "the page opens in the browser; --print prints its link\n"))
        way = pathlib.Path(opened.read_text().strip().removeprefix("file://"))
        self.assertEqual((way.stat().st_mode & 0o777, way.parent.stat().st_mode & 0o777), (0o600, 0o700))
        [link] = set(re.findall(r"http://[^\"]*#secret=[0-9a-f]{64}", way.read_text()))
        self.assertEqual(self.open_session(link), 204)

    def test_goes_on_where_the_browser_stays(self):
        self.addCleanup(self.end_server)
        os.mkfifo(self.folder / "stay")
        self.put_browser(f"read end < '{self.folder}/stay'")
        done = self.run_corvan("web")
        self.assertEqual((done.stdout, done.stderr), ("", "the page opens in the browser; --print prints its link\n"))
        (self.folder / "stay").write_text("now\n")

    def test_prints_the_link_where_no_browser_opens(self):
        self.addCleanup(self.end_server)
        for script, reason in (
            (None, "cannot start xdg-open: No such file or directory; open this link:\n"),
            ("exit 3", "xdg-open has failed with status 3; open this link:\n"),
            ("kill -9 $$", "xdg-open was ended by signal 9; open this link:\n"),
        ):
            with self.subTest(script=script):
                self.put_browser(script)
                done = self.run_corvan("web")
                self.assertEqual(done.stderr, reason)
                self.assertEqual(self.open_session(done.stdout.strip()), 204)
        self.env.pop("DISPLAY")
        done = self.run_corvan("web")
        self.assertEqual(done.stderr, "")
        self.assertEqual(self.open_session(done.stdout.strip()), 204)

    def end_server(self):
        """Those that a test has started end with it."""
        for entry in pathlib.Path("/proc").iterdir():
            try:
                if not entry.name.isdigit() or "corvan-web" not in (entry / "comm").read_text():
                    continue
                if f"XDG_RUNTIME_DIR={self.env['XDG_RUNTIME_DIR']}" in (entry / "environ").read_text():
                    os.kill(int(entry.name), signal.SIGTERM)
            except OSError:
                continue

    def test_prints_a_link_that_is_good_once(self):
        job = self.submit("true", "--range", "1-5", "--format", f"{self.folder}/f.%04d.raw", "--paused", "--name", "tower")
        link = self.corvan("web", "tower", "--print").strip()
        self.addCleanup(self.end_server)
        self.assertEqual([self.open_session(link) for _ in range(2)], [204, 401])
        self.assertEqual((self.url.hostname, self.url.query), ("127.0.0.1", f"job={job}"))

    def test_prints_address_and_token_for_scripts(self):
        url, token = self.corvan("web", "--print-token").splitlines()
        self.addCleanup(self.end_server)
        self.url, self.token = urllib.parse.urlsplit(url), token
        wait_until(lambda: self.ask("/healthz")[0] == 200)
        self.assertEqual(self.get("/api/session")["isPersonal"], True)
        self.assertEqual(self.ask("/api/session", token="0" * 64)[0], 401)

    def test_refuses_a_job_that_is_none(self):
        self.assertIn("no job fits 'nobody'", self.run_corvan("web", "nobody", "--print", status=2).stderr)


if __name__ == "__main__":
    unittest.main()
