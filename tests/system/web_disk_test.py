"""The web server where disks hang, and where the machine has nothing left to give."""

import http.client
import os
import shutil
import subprocess
import threading
import time
import unittest

from farm import BIN, wait_until
from web_test import WebTest

HANGING = os.environ.get("ORDWICK_HANG_BELOW")
SLOW = os.environ.get("ORDWICK_SLOW_LOOKUPS")


class DiskTest(WebTest):
    def setUp(self):
        super().setUp()
        options = self.folder / "config" / "CorvanWeb" / "CorvanWeb.ini"
        options.parent.mkdir(parents=True)
        options.write_text("[Analysis]\nRefresh = 200\n")
        self.start_master()

    def make_job(self, folder, count=20):
        """A job whose frames are there; nobody renders them."""
        folder.mkdir(parents=True)
        for number in range(1, count + 1):
            (folder / f"f.{number:04d}.raw").write_bytes(b"x" * 2000)
        return self.submit("true", "--range", f"1-{count}", "--format", f"{folder}/f.%04d.raw", "--paused")


@unittest.skipUnless(HANGING, "no sanitizer lets a library be preloaded")
class WebHangs(DiskTest):
    JOBS = 6

    def setUp(self):
        super().setUp()
        share = self.folder / "share"
        self.good = self.make_job(self.folder / "good")
        self.hung = [self.make_job(share / str(number)) for number in range(self.JOBS)]
        self.hang = self.folder / "hang"
        self.env |= {"LD_PRELOAD": HANGING, "HANG_BELOW": f"{share}/", "HANG_WHEN": str(self.hang)}
        self.start_web()
        self.env.pop("LD_PRELOAD")
        wait_until(lambda: all(self.ask(f"/api/jobs/{job}")[0] == 200 for job in [self.good, *self.hung]))

    def ask_beside(self, *paths):
        """Asks for all at once; gives a function that waits for the answers."""
        answers = {}
        threads = [threading.Thread(target=lambda path=path: answers.update({path: self.ask(path)})) for path in paths]
        for thread in threads:
            thread.start()

        def wait():
            for thread in threads:
                thread.join()
            return [answers[path] for path in paths]

        return wait

    def quickly(self, path):
        """An answer that nothing holds up."""
        begin = time.monotonic()
        answer = self.ask(path)
        self.assertLess(time.monotonic() - begin, 5, path)
        return answer

    def threads(self):
        return len(os.listdir(f"/proc/{self.web.pid}/task"))

    def test_a_share_that_hangs_costs_its_own_jobs_alone_until_it_answers(self):
        self.hang.touch()
        before = self.threads()
        wait = self.ask_beside(
            *(f"/api/jobs/{job}/frames" for job in self.hung),
            *(f"/api/jobs/{job}/frames/1/picture" for job in self.hung),
            *(f"/api/jobs/{self.hung[0]}/frames/{frame}/picture" for frame in range(2, 20)),
        )
        time_limit = time.monotonic() + 8  # Before it is told that the others hang.
        while time.monotonic() < time_limit:
            # The server's places are free again after a second.
            status, _, _ = self.ask(f"/api/jobs/{self.good}/frames")
            self.assertEqual(status, 200)
            if self.ask(f"/api/jobs/{self.good}/frames/3/picture")[0] == 422:
                break
        else:
            self.fail("no picture of another folder is made")
        for status, answer, _ in wait():
            self.assertEqual(status, 503, answer)
            self.assertIn(" has not answered for 10 s: the disk or the network hangs", answer["error"])
        # One a job, four a folder of pictures.
        self.assertLessEqual(self.threads() - before, self.JOBS + 4 + self.JOBS)

        for job in self.hung:
            status, answer, _ = self.quickly(f"/api/jobs/{job}/frames")
            self.assertEqual(status, 503)
            self.assertIn("share/", answer["error"])
            self.assertEqual(self.quickly(f"/api/jobs/{job}/sheet")[0], 200)
            self.assertEqual(self.quickly(f"/api/jobs/{job}/frames/9/picture")[0], 503)
        self.assertEqual(self.quickly(f"/api/jobs/{self.good}/frames")[0], 200)
        told = next(data for name, data in self.follow(f"job={self.hung[0]}") if name == "frames")
        self.assertIn("has not answered", told["trouble"])

        self.hang.unlink()
        for job in self.hung:
            wait_until(lambda: self.ask(f"/api/jobs/{job}/frames")[0] == 200)
            wait_until(lambda: self.ask(f"/api/jobs/{job}/frames/9/picture")[0] == 422)
        told = next(data for name, data in self.follow(f"job={self.hung[0]}") if name == "frames")
        self.assertEqual(told["trouble"], "")
        wait_until(lambda: self.threads() <= before + 2)

    def test_nothing_is_rendered_again_where_nobody_can_look(self):
        self.hang.touch()
        status, answer, _ = self.ask(f"/api/jobs/{self.hung[0]}/requeue", {"bad": True})
        self.assertEqual(status, 503)
        self.assertIn("nothing is rendered again", answer["error"])
        jobs = self.get("/api/jobs")["total"]
        self.hang.unlink()
        wait_until(lambda: self.ask(f"/api/jobs/{self.hung[0]}/requeue", {"bad": True})[0] == 409)
        self.assertEqual(self.get("/api/jobs")["total"], jobs)

    def test_other_frames_are_looked_at_where_the_job_has_others(self):
        job = self.hung[0]
        self.hang.touch()
        self.assertEqual(self.ask(f"/api/jobs/{job}/frames")[0], 503)
        self.assertEqual(self.ask(f"/api/jobs/{job}/parameters", {"ImageFormat": f"{self.folder}/good/f.%04d.raw"})[0], 200)
        wait_until(lambda: self.quickly(f"/api/jobs/{job}/frames")[0] == 200)

    def test_the_server_ends_all_the_same(self):
        self.hang.touch()
        wait = self.ask_beside(f"/api/jobs/{self.hung[0]}/frames", f"/api/jobs/{self.hung[1]}/frames/1/picture")
        self.assertEqual([status for status, _, _ in wait()], [503, 503])
        begin = time.monotonic()
        self.web.terminate()
        self.assertEqual(self.web.wait(60), 0)
        self.assertLess(time.monotonic() - begin, 10)


@unittest.skipUnless(SLOW, "the benchmarks are not built")
class WebSlowly(DiskTest):
    FRAMES = 200_000

    def test_looked_at_frames_are_told_as_they_are_found(self):
        job = self.submit("true", "--range", f"1-{self.FRAMES}", "--format", f"{self.folder}/f.%06d.raw", "--paused")
        self.env["LD_PRELOAD"] = SLOW
        self.start_web()
        self.env.pop("LD_PRELOAD")
        wait_until(lambda: self.ask(f"/api/jobs/{job}")[0] == 200)
        events = (data for name, data in self.follow(f"job={job}") if name == "frames")
        parts = []
        told = next(events)
        while not told["isEnd"]:
            parts.append((time.monotonic(), told))
            head, _, states = self.get(f"/api/jobs/{job}/sheet").partition(b"\n")
            # Whoever comes now sees what was told before.
            self.assertGreaterEqual(len(states) - states.count(0), told["counts"]["missing"])
            told = next(events)
        self.assertGreaterEqual(len(parts), 2)
        for (earlier, before), (later, after) in zip(parts, parts[1:]):
            self.assertGreater(after["counts"]["missing"], before["counts"]["missing"])
            self.assertEqual(after["pass"], told["pass"])
        self.assertLessEqual(len(parts) / max(1, parts[-1][0] - parts[0][0]), 10)
        self.assertTrue(parts[0][1]["changed"]["missing"].startswith("1-"))
        self.assertEqual(told["changed"], {"missing": f"1-{self.FRAMES}"})


class WebShortage(DiskTest):
    def start_within(self, *command):
        self.web = subprocess.Popen([*command, BIN / "corvan-web"], env=self.env, stdout=subprocess.PIPE, text=True)
        self.addCleanup(self.web.stdout.close)
        self.addCleanup(self.web.wait)
        self.addCleanup(self.web.kill)
        self.take_link("".join(self.web.stdout.readline() for _ in range(3)))

    def cache(self):
        return self.folder / "cache" / "CorvanWeb" / "pictures"

    def log(self):
        return "".join(file.read_text() for file in (self.folder / "state" / "CorvanWeb").iterdir())

    def test_of_descriptors_costs_what_needs_one_and_nothing_after_it(self):
        job = self.make_job(self.folder / "frames")
        self.start_within("prlimit", "--nofile=64:64")
        wait_until(lambda: self.ask(f"/api/jobs/{job}/frames")[0] == 200)
        events = self.follow(f"job={job}")
        next(data for name, data in events if name == "frames")
        held = []
        for _ in range(80):
            connection = http.client.HTTPConnection(self.url.netloc, timeout=5)
            connection.connect()
            held.append(connection)
        # Whoever is in goes on: passes that find no descriptor say so, and it is not the frames' fault.
        (self.folder / "frames" / "f.0003.raw").unlink()
        found = {}
        end = time.monotonic() + 60
        while not found.get("changed") and time.monotonic() < end:
            found = next(data for name, data in events if name == "frames")
            if found["trouble"]:
                self.assertIn("Too many open files", found["trouble"])
                break
        for connection in held:
            connection.close()
        wait_until(lambda: self.ask(f"/api/jobs/{job}/frames")[1].get("tables", [{}])[0].get("bad") == "3")
        wait_until(lambda: self.ask(f"/api/jobs/{job}/frames/1/picture")[0] == 422)
        self.assertIsNone(self.web.poll())

    def make_pictures(self, count=20):
        frames = self.folder / "frames"
        frames.mkdir()
        for number in range(1, count + 1):
            (frames / f"f.{number:04d}.ppm").write_bytes(b"P6 32 16 255\n" + bytes([number * 9] * 32 * 16 * 3))
        job = self.submit("true", "--range", f"1-{count}", "--format", f"{frames}/f.%04d.ppm", "--paused")

        def picture(frame):
            status, made, head = self.ask(f"/api/jobs/{job}/frames/{frame}/picture")
            self.assertEqual((status, head["Content-Type"]), (200, "image/jpeg"), made)

        return job, picture

    def test_of_room_for_pictures_costs_their_keeping_alone(self):
        job, picture = self.make_pictures()
        self.cache().mkdir(parents=True, mode=0o700)
        inside = ["unshare", "--user", "--map-root-user", "--mount", "sh", "-c"]
        small = f"mount -t tmpfs -o size=32k,mode=700 small '{self.cache()}'"
        if subprocess.run([*inside, small], env=self.env, capture_output=True).returncode != 0:
            self.skipTest("nobody may mount anything here")
        self.start_within(*inside, small + ' && exec "$0"')
        wait_until(lambda: self.ask(f"/api/jobs/{job}")[0] == 200)
        for frame in range(1, 21):
            picture(frame)
        wait_until(lambda: f"cannot keep pictures in {self.cache()}: No space left on device" in self.log())
        for frame in range(1, 21):
            picture(frame)
        self.assertEqual(self.log().count("cannot keep pictures"), 1)

    def test_of_a_place_for_pictures_costs_their_keeping_alone(self):
        """The folder goes while the server runs, and where it was is a file then."""
        job, picture = self.make_pictures()
        self.start_web()
        wait_until(lambda: self.ask(f"/api/jobs/{job}")[0] == 200)

        def kept():
            return len(list(self.cache().glob("*.picture")))

        picture(1)
        wait_until(lambda: kept() == 1)
        shutil.rmtree(self.cache())
        picture(2)
        wait_until(lambda: self.cache().is_dir() and kept() == 1)
        shutil.rmtree(self.cache())
        self.cache().write_text("in the way")
        picture(3)
        wait_until(lambda: "cannot keep pictures in" in self.log())
        self.cache().unlink()
        picture(4)
        wait_until(lambda: self.cache().is_dir() and kept() == 1)


if __name__ == "__main__":
    unittest.main()
