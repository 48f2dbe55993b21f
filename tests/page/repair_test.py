"""A wrangler's round in the page: bad frames are seen, selected, rendered again, and whole."""

import unittest

from page import PageTest, wait_until
from selenium.webdriver.common.keys import Keys


class Repair(PageTest):
    def open_on_damage(self):
        self.damage()
        page = self.open_job()
        page.wait_for_counts(ok=9, missing=1, too_small=1, outlier=1)
        return page

    def check_repaired(self, page):
        """Waits for the job that the page sent, and for the page to find all frames whole."""
        wait_until(lambda: len(self.jobs()) == 2)
        job = self.jobs()[0]["id"]
        self.corvan("wait", job)
        page.wait_for_counts(ok=12)
        self.assertEqual(page.complaints(), [])
        return self.show(job)

    def test_of_bad_frames_by_mouse_is_seen_from_damage_to_repair(self):
        page = self.open_on_damage()
        page.keep_picture("repair-damaged")
        page.click("#requeue-bad")
        page.wait_for_text(".notices", "The Master renders frames 3-9x3 again.")
        job = self.check_repaired(page)
        self.assertEqual(job["parameters"]["Range"], "3-9x3")
        self.assertEqual(job["parameters"]["RequeueOf"], self.job)
        page.keep_picture("repair-repaired")

    def test_of_selected_frames_by_keyboard_renders_those_alone(self):
        page = self.open_on_damage()
        page.run("document.querySelector('#sheet').focus()")
        page.press("b", " ", "b", " ")
        page.wait_for_text("#selected", "2 selected")
        page.keep_picture("repair-selected")
        self.frame(9).write_bytes(b"\0" * self.SIZE)
        # On to the button by keyboard alone: backwards, since the actions stand above the sheet.
        for _ in range(30):
            page.press((Keys.SHIFT, Keys.TAB))
            if page.run("return document.activeElement.id") == "requeue-selected":
                break
        page.press(Keys.ENTER)
        job = self.check_repaired(page)
        self.assertEqual([(t["firstFrame"], t["lastFrame"]) for t in job["tasks"]], [(3, 3), (6, 6)])

    def test_that_the_master_refuses_is_told_in_its_words(self):
        page = self.open_on_damage()
        page.run("document.querySelector('#custom-range').value = 'nonsense'")
        page.click("#set-range")
        page.wait_for_text(".notice.trouble", "nonsense")
        self.assertEqual(self.parameter(self.job, "CustomRange") or "", "")


if __name__ == "__main__":
    unittest.main()
