"""The frame sheet: what it shows, by mouse and by keyboard."""

import os
import unittest

from page import PageTest, wait_until
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.actions.wheel_input import ScrollOrigin
from selenium.webdriver.common.keys import Keys


class FrameSheet(PageTest):
    def setUp(self):
        super().setUp()
        self.damage()

    def open_sheet(self, **how):
        page = self.open_job(**how)
        page.wait_for_counts(ok=9, missing=1, too_small=1, outlier=1)
        page.run("document.querySelector('#sheet').focus()")
        return page

    def test_tells_number_size_verdict_and_why_where_the_pointer_is(self):
        page = self.open_sheet()
        for place, texts in (
            (5, ["Frame 6: too small", "100 bytes"]),
            (2, ["Frame 3: missing"]),
            (8, ["Frame 9: unlike its neighbours", "1,200 bytes"]),
            (0, ["Frame 1: good", "3,000 bytes"]),
        ):
            page.point(place)
            for text in texts:
                page.wait_for_text("#tip", text)
        page.point(8)
        page.wait_for_text("#tip", "smaller than its neighbours")
        page.keep_picture("sheet-hover")

    def test_is_gone_through_by_keys(self):
        page = self.open_sheet()
        for keys, frame in (
            (["b"], 3),
            (["b"], 6),
            ([(Keys.SHIFT, "b")], 3),
            ([Keys.ARROW_RIGHT], 4),
            ([Keys.ARROW_LEFT, Keys.ARROW_LEFT], 2),
            ([Keys.END], 12),
            (["b"], 3),
            ([Keys.HOME], 1),
        ):
            page.press(*keys)
            wait_until(lambda: page.cursor() == frame)

    def test_selects_by_space_and_extends_by_shift(self):
        page = self.open_sheet()
        page.press(Keys.ARROW_RIGHT, " ")
        page.wait_for_text("#selected", "1 selected")
        page.press((Keys.SHIFT, Keys.ARROW_RIGHT), (Keys.SHIFT, Keys.ARROW_RIGHT))
        page.wait_for_text("#selected", "3 selected")
        page.press(Keys.ESCAPE)
        wait_until(lambda: not page.all("#selected"))
        # A reader is told where the cursor is.
        page.wait_for_text("#where", "Frame 4: good")

    def test_selects_what_the_mouse_is_drawn_over(self):
        page = self.open_sheet()
        page.point(1).click_and_hold().perform()
        page.point(4).release().perform()
        page.wait_for_text("#selected", "4 selected")
        page.point(9).key_down(Keys.CONTROL).click().key_up(Keys.CONTROL).perform()
        page.wait_for_text("#selected", "5 selected")

    def test_opens_a_frame_by_enter_and_goes_back_by_escape(self):
        page = self.open_sheet()
        page.press("b", "b", Keys.ENTER)
        page.wait_for_text("#frame .facts", "too small")
        page.wait_for_text("#frame .path", str(self.frame(6)))
        self.assertIn("frame=6", page.driver.current_url)
        page.press(Keys.ARROW_RIGHT)
        page.wait_for_text("#frame .path", str(self.frame(7)))
        page.click("#frame-log")
        page.wait_for_text("#frame .log", "frame 7 is written")
        # It stays when the file is another one.
        facts = page.text("#frame .facts")
        os.utime(self.frame(7), (1_700_000_000, 1_700_000_000))
        wait_until(lambda: page.text("#frame .facts") not in (facts, ""))
        self.assertIn("frame 7 is written", page.text("#frame .log"))
        page.run("document.querySelector('#frame').focus()")
        page.press(Keys.ESCAPE)
        wait_until(lambda: not page.all("#frame"))
        self.assertNotIn("frame=", page.driver.current_url)
        self.assertEqual(page.run("return document.activeElement.id"), "sheet")

    def test_shares_its_zoom_with_the_sizes(self):
        page = self.open_sheet()
        page.find("#sizes canvas")
        page.press("b", "+")
        wait_until(lambda: "frames 1 to 12" not in page.find("#sheet").get_attribute("aria-label"))
        page.keep_picture("sheet-zoomed")
        page.press("0")
        wait_until(lambda: "frames 1 to 12" in page.find("#sheet").get_attribute("aria-label"))

    def test_is_panned_by_the_wheel_and_the_sizes_follow(self):
        page = self.open_sheet()
        numbers = """return [...document.querySelectorAll('#sizes .dygraph-axis-label-x')]
            .map((label) => parseInt(label.textContent)).filter((number) => !Number.isNaN(number))"""
        wait_until(lambda: 12 in page.run(numbers))
        page.press("+")
        wait_until(lambda: page.run(numbers) and 12 not in page.run(numbers))
        sheet = ScrollOrigin.from_element(page.find("#sheet"))
        for _ in range(3):
            ActionChains(page.driver).scroll_from_origin(sheet, 0, 100).perform()
        wait_until(lambda: page.run(numbers) and min(page.run(numbers)) >= 5 and 12 in page.run(numbers))
        self.assertIn("frames 5 to 12", page.find("#sheet").get_attribute("aria-label"))

    def test_in_dark_and_on_a_phone_is_whole(self):
        for name, how in (("dark", {"dark": True}), ("phone", {"phone": True})):
            self.stop_web()
            self.start_web()
            page = self.open_sheet(**how)
            page.find("#sizes canvas")
            page.keep_picture(f"job-{name}")
            width = page.run("return document.documentElement.scrollWidth - innerWidth")
            self.assertLessEqual(width, 0, f"{name}: wider than the screen")
            self.assertEqual(page.complaints(), [])

    def test_is_german_in_a_german_browser(self):
        page = self.open_sheet(language="de-DE")
        page.wait_for_text("#counts", "1 fehlend")
        page.wait_for_text("#requeue-bad", "3 schlechte neu einreihen")
        self.assertEqual(page.find("html").get_attribute("lang"), "de")
        page.keep_picture("job-german")


class ManyFrames(PageTest):
    COUNT = 3

    def test_share_a_cell_that_shows_the_worst_and_how_many(self):
        # Looked for, and rendered by nobody.
        self.corvan("set", self.job, "CustomRange=1-100000")
        page = self.open_job()
        page.wait_for_counts(ok=3, missing=99997)
        self.assertGreater(int(page.find("#sheet").get_attribute("data-each")), 1)
        page.point(0)
        page.wait_for_text("#tip", "the worst missing")
        page.keep_picture("sheet-100000")
        page.run("document.querySelector('#sheet').focus()")
        page.press(*"++++++++++++++++++++")
        wait_until(lambda: page.find("#sheet").get_attribute("data-each") == "1")
        self.assertEqual(page.complaints(), [])

    def test_beyond_what_is_looked_at_are_told_and_the_job_stays_readable(self):
        self.corvan("set", self.job, "CustomRange=1-10000000")
        page = self.open_page(f"/?job={self.job}")
        page.wait_for_text("#counts", "has 10000000 frames; the most that are shown are 1000000")
        page.wait_for_text("h1", "frames")
        page.keep_picture("sheet-too-many")
        # The tab lives: what is asked for next is shown.
        self.corvan("set", self.job, "CustomRange=1-3")
        page.wait_for_counts(ok=3)


if __name__ == "__main__":
    unittest.main()
