"""What the page looks like: pictures that are kept, and that nothing is wider than the screen or cut."""

import unittest

from page import SHARE, PageTest, wait_until
from selenium.webdriver.common.keys import Keys

# Texts of buttons and heads that do not fit into what they stand in.
CUT = """return [...document.querySelectorAll('button, th, .jobs-head .cell, .cell-status, .cell-progress, .cell-end,'
        + '.cell-created, .cell-priority, dt, label, summary')]
    .filter((each) => each.checkVisibility() && each.scrollWidth > each.clientWidth + 1 && each.clientWidth > 0
        && getComputedStyle(each).display !== 'inline')
    .map((each) => `${each.className} ${each.textContent.slice(0, 40)}`)"""
SEEN = "return [...document.querySelectorAll(arguments[0])].filter((image) => image.naturalWidth > 0).length"

LOOKS = {
    "light": {},
    "dark": {"dark": True},
    "phone": {"phone": True},
    "german": {"language": "de-DE"},
    "german-phone": {"language": "de-DE", "phone": True, "dark": True},
}


class LooksCases(PageTest):
    """A job of real pictures, some of them bad, and jobs of all kinds besides."""

    COUNT = 10
    NAMES = ("tower_beauty_v012", "a very long name of a job that nobody has thought short enough for a list of jobs", "comp")

    def make_job(self):
        self.pattern = self.folder / "frames" / "f.%04d.png"
        self.job = self.corvan(
            *("submit", "POV-Ray", "--set", "Width=160", "--set", "Height=90"),
            *("--set", f"Scene={SHARE / 'demo' / 'clockwork.pov'}"),
            *("--range", f"1-{self.COUNT}", "--format", self.pattern, "--name", "clockwork"),
        ).strip()
        self.corvan("wait", self.job)
        for name in self.NAMES:
            self.submit("true", "--range", "1-240", "--name", name, "--paused")
        self.frame(3).unlink()
        self.frame(6).write_bytes(b"x" * 100)
        data = self.frame(9).read_bytes()
        self.frame(9).write_bytes(data[: len(data) * 4 // 10])

    def check(self, page, name):
        wide = page.run("return document.documentElement.scrollWidth - innerWidth")
        self.assertLessEqual(wide, 0, f"{name}: wider than the screen")
        self.assertEqual(page.run(CUT), [], name)
        page.keep_picture(name)

    def look(self, look):
        page = self.open_page(**LOOKS[look])
        wait_until(lambda: len(page.all(".job-row")) == 4)
        self.check(page, f"{look}-jobs")
        page.open(f"{self.origin}/?job={self.job}")
        page.wait_for_counts(ok=6, missing=1, too_small=1, outlier=2)
        page.find("#sizes canvas")
        self.check(page, f"{look}-job")
        page.open(f"{self.origin}/?job={self.job}&sizes=shut&pictures=open&flip=open&task-list=open")
        wait_until(lambda: page.run(SEEN, "#contact img") >= 3)
        page.find("#tasks tbody tr")
        page.run("document.querySelector('#pictures').scrollIntoView()")
        self.check(page, f"{look}-contact")
        page.run("document.querySelector('#flip').scrollIntoView()")
        self.check(page, f"{look}-flipbook")
        page.run("document.querySelector('#task-list').scrollIntoView()")
        self.check(page, f"{look}-tasks")
        page.open(f"{self.origin}/?job={self.job}&frame=9")
        wait_until(lambda: page.run(SEEN, "#frame .beside img") >= 2)
        page.wait_for_text("#frame .decoded", " ")
        page.click("#compares")
        wait_until(lambda: page.run("return document.querySelector('#frame .compared canvas') !== null"))
        self.check(page, f"{look}-frame")
        page.press(Keys.ESCAPE)
        page.click("#run-again")
        page.find("dialog[open]")
        self.check(page, f"{look}-question")
        page.press(Keys.ESCAPE)
        page.run("document.querySelector('#custom-range').value = '1-'")
        page.click("#set-range")
        page.find(".notice.trouble")
        self.check(page, f"{look}-trouble")
        paused = next(job["id"] for job in self.jobs() if job["id"] != self.job)
        page.open(f"{self.origin}/?job={paused}")
        page.find("#set-priority")
        self.check(page, f"{look}-paused")
        self.assertEqual(page.complaints(), [])


class Looks(LooksCases):
    def test_are_whole_by_day(self):
        self.look("light")

    def test_are_whole_at_night(self):
        self.look("dark")

    def test_are_whole_in_german(self):
        self.look("german")


class LooksOnPhones(LooksCases):
    def test_are_whole_by_day(self):
        self.look("phone")

    def test_are_whole_in_german_at_night(self):
        self.look("german-phone")


if __name__ == "__main__":
    unittest.main()
