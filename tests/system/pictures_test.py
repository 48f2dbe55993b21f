"""What pictures show, wherever it is told: by the command, the Master and the web server."""

import json
import math
import random
import re
import signal
import unittest
import xml.etree.ElementTree

from farm import FarmTest, wait_until
from web_test import WebTest

WIDTH, HEIGHT, COUNT, STEP = 192, 108, 40, 3

# What becomes of which frame.
FAULTS = {6: "duplicate", 12: "black", 20: "patch", 27: "pop", 35: "sparks"}


def wall():
    """Rows of a wall with paint on it, which a camera pans along."""
    dice = random.Random(7)
    for y in range(HEIGHT):
        row = bytearray()
        for x in range(WIDTH + STEP * COUNT):
            light = 110 + 45 * math.sin(x / 11) * math.cos(y / 9) + 25 * math.sin((x + 2 * y) / 23) + dice.randrange(4)
            row += bytes((int(light), int(light * 0.8) + y // 4, int(light * 0.6)))
        yield bytes(row)


WALL = list(wall())


def pixels_of(frame):
    begin = 3 * STEP * frame
    return bytearray(b"".join(row[begin : begin + 3 * WIDTH] for row in WALL))


def ppm(pixels):
    return b"P6\n%d %d\n255\n" % (WIDTH, HEIGHT) + pixels


def faulty(frame, fault):
    pixels = pixels_of(frame - 1 if fault == "duplicate" else frame)
    dice = random.Random(frame)
    if fault == "black":
        pixels = bytearray(value // 100 for value in pixels)
    elif fault == "patch":
        for y in range(36, 72):
            pixels[3 * (y * WIDTH + 64) : 3 * (y * WIDTH + 128)] = bytes(3 * 64)
    elif fault == "pop":
        pixels = bytearray(min(255, value * 17 // 10) for value in pixels)
    elif fault == "sparks":
        for _ in range(150):
            at = 3 * (dice.randrange(HEIGHT) * WIDTH + dice.randrange(WIDTH))
            pixels[at : at + 3] = b"\xff\xff\xff"
    return ppm(pixels)


class ShotTest(FarmTest):
    """A shot of 40 frames, five of them with a fault that nobody sees by their sizes."""

    def setUp(self):
        super().setUp()
        self.pattern = self.folder / "frames" / "f.%d.ppm"
        self.pattern.parent.mkdir()
        for number in range(1, COUNT + 1):
            self.write(number, faulty(number, FAULTS.get(number)))

    def write(self, number, content):
        whole = self.folder / "whole"
        whole.write_bytes(content)
        whole.rename(self.frame(number))

    def frame(self, number):
        return self.folder / "frames" / f"f.{number}.ppm"

    def run_on_shot(self, verb, *arguments, frames=f"1-{COUNT}", status=1):
        return self.corvan(verb, "--format", self.pattern, "--range", frames, "--pictures", *arguments, status=status)

    def job(self, *settings):
        """A job whose frames are there, and stay as they are: its command finds them good."""
        job = self.submit('touch "$2"', "--range", f"1-{COUNT}", "--format", self.pattern, "--name", "shot",
                          *(word for setting in settings for word in ("--set", setting)))
        self.corvan("wait", job)
        return job


class JudgedPictures(ShotTest):
    def test_are_told_to_people_programs_and_pipes(self):
        report = self.run_on_shot("check").splitlines()
        self.assertEqual(report[1], "40 files: 35 ok, 1 duplicate, 1 black, 1 patch, 1 pop, 1 sparks")
        lines = dict(re.findall(r"^  (\w+) +(\d+)  ", "\n".join(report[2:]), re.M))
        self.assertEqual(lines, {state: str(number) for number, state in FAULTS.items()})
        table = json.loads(self.run_on_shot("check", "--json"))["tables"][0]
        found = {row["frame"]: row["state"] for row in table["frames"] if row["state"] != "ok"}
        self.assertEqual(found, FAULTS)
        self.assertEqual([table["counts"][state] for state in FAULTS.values()], [1] * len(FAULTS))
        self.assertEqual(sum(table["counts"].values()), 2 * COUNT)
        paths = self.run_on_shot("check", "--paths").split()
        self.assertEqual(paths, [str(self.frame(number)) for number in FAULTS])
        self.run_on_shot("check", frames="7-11", status=0)

    def test_are_watched(self):
        options = self.folder / "options.ini"
        options.write_text("[Analysis]\nRefresh = 20\n")
        watch = self.start_corvan("check", "--format", self.pattern, "--range", f"1-{COUNT}", "--pictures", "--watch",
                                  "--options", options)
        while "sparks" not in (line := watch.stdout.readline()) or "35  " not in line:
            self.assertNotEqual(line, "")
        self.write(20, faulty(20, None))
        self.assertRegex(watch.stdout.readline(), r"  patch -> ok  20  ")
        self.write(24, faulty(24, "pop"))
        while "ok -> pop" not in (line := watch.stdout.readline()):
            self.assertNotEqual(line, "")
        watch.send_signal(signal.SIGINT)
        self.assertEqual(watch.wait(), 1)

    def test_stand_in_a_plot(self):
        plot = self.folder / "sizes.svg"
        self.run_on_shot("plot", "-o", plot, status=0)
        drawing = xml.etree.ElementTree.parse(plot).getroot()
        texts = {text.text for text in drawing.iter("{http://www.w3.org/2000/svg}text")}
        self.assertLessEqual({"35 ok", *(f"1 {state}" for state in FAULTS.values())}, texts)
        rings = [mark for mark in drawing.iter("{http://www.w3.org/2000/svg}circle") if mark.get("stroke")]
        self.assertEqual(len(rings), 2 * len(FAULTS))

    def test_are_rendered_again_or_deleted(self):
        self.start_master()
        job = self.job()
        bad = ",".join(map(str, FAULTS))
        requeue = self.corvan("requeue", job, "--bad", "--pictures").split()[0]
        self.assertEqual(self.parameter(requeue, "Range"), bad)
        self.corvan("wait", requeue)
        told = self.run_on_shot("delete", "--bad", "--yes", status=0)
        for number in FAULTS:
            self.assertIn(str(self.frame(number)), told)
            self.assertFalse(self.frame(number).exists())
        self.assertTrue(self.frame(7).exists())

    def test_are_held_against_each_other_by_the_master(self):
        self.start_master()
        job = self.job("CheckFrames=pictures", "QuietSeconds=0", "AutoRequeue=1")
        wait_until(lambda: self.parameter(job, "FramesChecked") == "done")
        told = self.show(job)["parameters"]
        # They came back as they were.
        self.assertEqual(told["FramesBadRange"], ",".join(map(str, FAULTS)))
        self.assertEqual(told["FrameCounts"], "ok 35, duplicate 1, black 1, patch 1, pop 1, sparks 1")
        requeues = [job for job in json.loads(self.corvan("list", "--json")) if "RequeueOf" in job["parameters"]]
        self.assertEqual(len(requeues), 1)
        refused = self.run_corvan("set", job, "CheckFrames=picture", status=1)
        self.assertIn('CheckFrames: "picture" is none of none, sizes, decode, pictures', refused.stderr)


class JudgedPicturesOnThePage(ShotTest, WebTest):
    def test_are_told_of_one_frame_as_by_the_command(self):
        self.start_master()
        job = self.job()
        self.start_web()
        wait_until(lambda: self.ask(f"/api/jobs/{job}")[0] == 200)
        checked = json.loads(self.run_on_shot("check", "--json"))["tables"][0]
        rows = {row["frame"]: row for row in checked["frames"]}
        for number, state in FAULTS.items():
            row = rows[number]
            shown = self.get(f"/api/jobs/{job}/frames/{number}?pictures=1")["pictures"]
            self.assertEqual((shown["state"], shown["detail"]), (row["state"], row["detail"]))
            self.assertEqual((shown["state"], shown["range"]), (state, f"1-{COUNT}"))
            self.assertEqual(shown["place"], row.get("place"))


if __name__ == "__main__":
    unittest.main()
