"""What can be done with a job from the page, by mouse and by keyboard: held against what the Master says then."""

import pathlib
import sys
import unittest

from page import Page, PageCases, PageTest, wait_until
from selenium.webdriver.common.keys import Keys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "system"))
from farm import PATIENCE  # noqa: E402,F401
from users_test import TlsMaster  # noqa: E402

QUEUED, PAUSED, CANCELLED = "0", "4", "5"


def by_mouse(page, element):
    page.click(f"#{element}")


def by_keyboard(page, element):
    page.tab_to(element)
    page.press(Keys.ENTER)


HANDS = (by_mouse, by_keyboard)


def answer(page, press, text):
    """Presses the button of the question."""
    page.find("dialog[open]")
    if press is by_mouse:
        next(b for b in page.all("dialog button") if b.text == text).click()
        return
    for _ in range(4):
        if page.run("return document.activeElement.textContent") == text:
            break
        page.press(Keys.TAB)
    page.press(Keys.ENTER)


def write(page, press, field, text):
    """Writes into a field, and gives what is to be pressed then."""
    if press is by_mouse:
        page.click(f"#{field}")
    else:
        page.tab_to(field)
    page.press((Keys.CONTROL, "a"), *text)


class OpenJob:
    """A job that nobody renders, whose frames are there."""

    def make_job(self, *more):
        self.pattern = self.folder / "frames" / "f.%04d.raw"
        self.pattern.parent.mkdir(exist_ok=True)
        frames = ("--range", f"1-{self.COUNT}", "--format", self.pattern, "--name", "frames")
        self.job = self.submit("true", *frames, "--paused", *more)
        for number in range(1, self.COUNT + 1):
            self.frame(number).write_bytes(b"\0" * self.SIZE)

    def start_master(self, *arguments):
        super().start_master("--slots", "0", *arguments)

    def status(self):
        return self.show(self.job)["parameters"]["Status"]

    def wait_for(self, name, value):
        wait_until(lambda: self.show(self.job)["parameters"].get(name) == value)


class Actions(OpenJob, PageTest):
    def test_pause_and_resume_as_the_master_then_says(self):
        page = self.open_job()
        for press in HANDS:
            page.wait_for_text(".job-head .status", "paused")
            press(page, "resume")
            self.wait_for("Status", QUEUED)
            page.wait_for_text(".job-head .status", "queued")
            page.find("#pause")
            press(page, "pause")
            self.wait_for("Status", PAUSED)
            page.find("#resume")
        # The keyboard is where it was, though the button is another one.
        self.assertEqual(page.focused(), "resume")
        said = ["The Master has taken it: Status=queued", "The Master has taken it: Status=paused"]
        wait_until(lambda: page.notices() == said * 2)
        self.assertEqual(page.complaints(), [])

    def test_cancel_and_run_again_after_a_question(self):
        page = self.open_job()
        for press in HANDS:
            press(page, "cancel")
            answer(page, press, "Leave it")
            wait_until(lambda: not page.all("dialog"))
            self.assertEqual(page.focused(), "cancel")
            self.assertNotEqual(self.status(), CANCELLED)
            press(page, "cancel")
            answer(page, press, "Cancel job")
            self.wait_for("Status", CANCELLED)
            page.find("#run-again")
            self.assertEqual(page.all("#cancel, #pause, #resume, #priority"), [])
            press(page, "run-again")
            answer(page, press, "Run again")
            self.wait_for("Status", QUEUED)
            page.find("#cancel")
        self.assertTrue(page.run("return document.querySelector('.actions').contains(document.activeElement)"))

    def test_a_question_changes_nothing_when_it_is_left(self):
        page = self.open_job()
        page.tab_to("cancel")
        page.press(Keys.ENTER, Keys.ENTER)
        wait_until(lambda: not page.all("dialog"))
        page.press(Keys.ENTER, Keys.ESCAPE)
        wait_until(lambda: not page.all("dialog"))
        self.assertEqual((page.focused(), page.notices(), self.status()), ("cancel", [], PAUSED))

    def test_set_the_priority(self):
        page = self.open_job()
        for press, priority in zip(HANDS, ("70", "35")):
            write(page, press, "priority", priority)
            if press is by_mouse:
                page.click("#set-priority")
            else:
                page.press(Keys.ENTER)
            self.wait_for("Priority", priority)
            page.wait_for_text(".job-head", f"Priority{priority}")
        write(page, by_keyboard, "priority", "101")
        page.press(Keys.ENTER)
        page.wait_for_text(".notice.trouble", '"101" is not a whole number from 0 to 100')
        self.assertEqual(self.parameter(self.job, "Priority"), "35")

    def test_set_which_frames_are_looked_at(self):
        page = self.open_job()
        for press, frames, count in zip(HANDS, ("2-5", "1-3,7"), (4, 4)):
            write(page, press, "custom-range", frames)
            if press is by_mouse:
                page.click("#set-range")
            else:
                page.press(Keys.ENTER)
            self.wait_for("CustomRange", frames)
            page.wait_for_counts(ok=count)

    def test_follow_what_others_do_and_keep_what_is_being_typed(self):
        page = self.open_job()
        write(page, by_keyboard, "custom-range", "4-")
        self.corvan("set", self.job, "Priority=90")
        wait_until(lambda: page.run("return document.querySelector('#priority').value") == "90")
        self.corvan("set", self.job, "Status=queued")
        page.find("#pause")
        self.assertEqual(page.run("return document.querySelector('#custom-range').value"), "4-")
        self.assertEqual(page.focused(), "custom-range")
        page.press((Keys.CONTROL, "a"), Keys.BACKSPACE)
        self.corvan("set", self.job, "CustomRange=2-3")
        wait_until(lambda: page.run("return document.querySelector('#custom-range').value") == "2-3")


class Exactly(OpenJob, PageTest):
    def make_job(self):
        super().make_job("--set", "PacketSize=4")

    def tasks_of_latest(self, count):
        wait_until(lambda: len(self.jobs()) == count)
        return [(task["firstFrame"], task["lastFrame"]) for task in self.show(self.jobs()[0]["id"])["tasks"]]

    def test_these_are_rendered_where_it_is_ticked_and_whole_packets_where_not(self):
        self.damage()
        page = self.open_job()
        page.wait_for_counts(ok=9, missing=1, too_small=1, outlier=1)
        jobs = 1
        for press in HANDS:
            press(page, "requeue-bad")
            jobs += 1
            self.assertEqual(self.tasks_of_latest(jobs), [(3, 6), (9, 9)])
            page.wait_for_text(".notice:last-child", "Good frames that are rendered again with them: 2.")
            if press is by_mouse:
                page.click("#exact")
            else:
                page.tab_to("exact")
                page.press(" ")
            press(page, "select-bad")
            page.wait_for_text("#selected", "3 selected")
            press(page, "requeue-selected")
            jobs += 1
            self.assertEqual(self.tasks_of_latest(jobs), [(3, 3), (6, 6), (9, 9)])
            page.wait_for_text(".notice:last-child", "The Master renders frames 3-9x3 again.")
            if press is by_mouse:
                page.click("#exact")

    def test_what_cannot_be_done_says_why(self):
        page = self.open_job()
        page.wait_for_counts(ok=12)
        for element, why in (("requeue-bad", "No frame is bad."), ("requeue-selected", "No frame is selected.")):
            by_keyboard(page, element)
            page.wait_for_text(".notice.trouble:last-child", why)
        self.assertEqual(len(self.jobs()), 1)


class Refused(OpenJob, TlsMaster, PageCases):
    """A studio's server, with users whose rights do not reach."""

    def setUp(self):
        super().setUp()
        self.anna = self.make_token("anna", "admin")[1]
        tokens = {name: self.make_token(name, role)[1] for name, role in (("bo", "watch"), ("cy", "edit-own"))}
        tokens["web"] = self.make_token("web", "watch")[1]
        self.use(self.anna)
        self.start_master("--options", self.options)
        self.make_job()
        self.damage()
        self.start_studio(tokens["web"])
        self.tokens = tokens

    def start_studio(self, token):
        own = self.folder / "web.token"
        own.touch(mode=0o600)
        own.write_text(token)
        self.start_server(
            *("--listen", "127.0.0.1:0", "--token-file", own),
            *("--certificate", self.tls / "certificate.pem", "--key", self.tls / "key.pem"),
            options=f"[Master]\nCertificate = {self.tls}/authority.pem\n",
        )
        self.origin = self.web.stdout.readline().split()[-1]

    def open_as(self, user):
        page = Page(self)
        page.open(f"{self.origin}/?job={self.job}")
        page.find("#token").send_keys(self.tokens[user])
        page.press(Keys.ENTER)
        page.wait_for_counts(ok=9, missing=1, too_small=1, outlier=1)
        return page

    def check_refused(self, page, words):
        before = self.show(self.job)["parameters"]
        shown = page.text(".job-head")
        page.click("#select-bad")
        for press in HANDS:
            for element in ("requeue-bad", "requeue-selected", "resume", "cancel", "set-priority", "set-range"):
                if element not in words:
                    continue
                with self.subTest(press=press.__name__, element=element):
                    page.run("document.querySelectorAll('.notice').forEach((notice) => notice.remove())")
                    if element.startswith("set-"):
                        field, text = ("priority", "60") if element == "set-priority" else ("custom-range", "1-2")
                        write(page, press, field, text)
                    press(page, element)
                    if element == "cancel":
                        answer(page, press, "Cancel job")
                    page.wait_for_text(".notice.trouble", words[element])
                    # One word, and that a refusal.
                    self.assertEqual([notice[:2] for notice in page.notices()], ["! "])
                    self.assertEqual(page.text(".job-head"), shown)
        self.assertEqual(self.show(self.job)["parameters"], before)

    def test_to_who_may_only_look_is_told_in_the_words_of_the_master(self):
        page = self.open_as("bo")
        page.wait_for_text("#role-hint", "You may look")
        edit = 'the right "edit-own" is missing: user bo has the role "watch"'
        new = 'the right "submit" is missing: user bo has the role "watch"'
        words = dict.fromkeys(("resume", "cancel", "set-priority", "set-range"), edit)
        self.check_refused(page, {**words, "requeue-bad": new, "requeue-selected": new})
        self.assertEqual(len(self.jobs()), 1)
        page.keep_picture("refused")

    def test_of_another_ones_job_is_told_in_the_words_of_the_master(self):
        page = self.open_as("cy")
        edit = 'the right "edit-all" is missing: user cy has the role "edit-own", and the job is of user anna'
        self.check_refused(page, dict.fromkeys(("resume", "cancel", "set-priority", "set-range"), edit))
        self.assertEqual(page.text("#role-hint"), "")
        # A job of one's own may be made of it.
        page.click("#requeue-selected")
        wait_until(lambda: len(self.jobs()) == 2)


class WithoutMaster(OpenJob, PageTest):
    PRESSED = ("requeue-bad", "resume", "set-priority", "set-range")

    def press_all(self, page, words):
        for press in HANDS:
            for element in self.PRESSED:
                with self.subTest(press=press.__name__, element=element):
                    page.run("document.querySelectorAll('.notice').forEach((notice) => notice.remove())")
                    press(page, element)
                    page.wait_for_text(".notice.trouble", words)
                    self.assertEqual(len(page.notices()), 1)

    def test_nothing_can_be_done_and_the_page_says_so(self):
        self.damage()
        page = self.open_job()
        page.wait_for_counts(ok=9, missing=1, too_small=1, outlier=1)
        self.stop_master()
        page.wait_for_text("#state", "The Master is gone")
        self.press_all(page, "The Master is gone; what is seen here is old.")
        self.start_master()
        wait_until(lambda: page.text("#state") == "")
        by_keyboard(page, "resume")
        self.wait_for("Status", QUEUED)

    def test_what_is_asked_for_all_the_same_is_answered_in_the_servers_words(self):
        self.damage()
        page = self.open_page()
        # A page that has not heard of it yet.
        page.driver.execute_cdp_cmd("Network.enable", {})
        page.driver.execute_cdp_cmd("Network.setBlockedURLs", {"urls": ["*/api/events*"]})
        page.open(f"{self.origin}/?job={self.job}")
        page.wait_for_counts(ok=9, missing=1, too_small=1, outlier=1)
        self.stop_master()
        wait_until(lambda: page.run_module("return (await fetch('/healthz')).status") == 503)
        self.press_all(page, "the Master is not there")


if __name__ == "__main__":
    unittest.main()
