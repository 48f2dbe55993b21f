"""The page under the fingers: touch in the sheet, the mouse in the plot of sizes, which share what is looked at."""

import unittest

from page import PageTest, wait_until
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.keys import Keys

# Where frames stand in the plot: [left, width] of its field within its box.
FIELD = """const box = document.querySelector('.sizes-plot').getBoundingClientRect();
    return [box.left, box.top, 70, box.width - 75, box.height]"""
# What is drawn over the plot in a column of pixels: how many of them, and how strong at most.
COLUMN = """const over = document.querySelector('.sizes-over');
    const scale = over.width / over.clientWidth;
    const x = Math.round(arguments[0] * scale);
    const { data } = over.getContext('2d').getImageData(Math.max(0, x - 2), 20, 5, over.height - 60);
    let most = 0, many = 0;
    for (let i = 3; i < data.length; i += 4) { if (data[i]) ++many; if (data[i] > most) most = data[i]; }
    return [many, most]"""


class Looking(PageTest):
    """A job with so many frames that it is worth while to zoom."""

    COUNT = 60

    def make_job(self):
        self.pattern = self.folder / "frames" / "f.%04d.raw"
        self.pattern.parent.mkdir()
        self.job = self.submit("true", "--range", f"1-{self.COUNT}", "--format", self.pattern, "--paused")
        for number in range(1, self.COUNT + 1):
            self.frame(number).write_bytes(b"\0" * (self.SIZE + number % 7))

    def in_view(self, page):
        """The first and the last frame that the sheet shows."""
        words = page.find("#sheet").get_attribute("aria-label").replace(",", "").split()
        return int(words[3]), int(words[5])


class Fingers(Looking):
    def touch(self, page, kind, *points):
        page.driver.execute_cdp_cmd(
            "Input.dispatchTouchEvent",
            {"type": kind, "touchPoints": [{"x": x, "y": y, "id": i} for i, (x, y) in enumerate(points)]},
        )

    def open_on_phone(self):
        page = self.open_job(phone=True)
        page.wait_for_counts(ok=self.COUNT)
        self.look_at(page, "#sheet")
        return page

    def look_at(self, page, selector):
        """What is touched from here on."""
        element = page.find(selector)
        page.run("arguments[0].scrollIntoView({block: 'center'})", element)
        script = "const b = arguments[0].getBoundingClientRect(); return [b.left, b.top, b.width, b.height]"
        self.box = page.run(script, element)

    def draw(self, page, begin, *downs):
        self.touch(page, "touchStart", self.at(0.5, begin))
        for down in downs:
            self.touch(page, "touchMove", self.at(0.5, down))
        self.touch(page, "touchEnd")

    def at(self, across, down):
        left, top, width, height = self.box
        return left + across * width, top + down * height

    def pinch(self, page, begin, end, steps=8):
        place = lambda apart: (self.at(0.5 - apart / 2, 0.5), self.at(0.5 + apart / 2, 0.5))
        self.touch(page, "touchStart", *place(begin))
        for step in range(1, steps + 1):
            self.touch(page, "touchMove", *place(begin + (end - begin) * step / steps))
        self.touch(page, "touchEnd")

    def test_that_tap_select_and_tell(self):
        page = self.open_on_phone()
        x, y = page.spot(9)
        left, top, width, height = self.box
        point = (left + width / 2 + x, top + height / 2 + y)
        self.touch(page, "touchStart", point)
        self.touch(page, "touchEnd")
        page.wait_for_text("#selected", "1 selected")
        self.assertEqual(page.cursor(), 10)
        page.wait_for_text("#tip", "Frame 10: good")

    def test_that_pinch_zoom_by_as_much_as_they_move(self):
        page = self.open_on_phone()
        # The distance of the fingers doubles, so half as many frames are in view; roughly.
        self.pinch(page, 0.4, 0.8)
        wait_until(lambda: self.in_view(page) != (1, self.COUNT))
        first, last = self.in_view(page)
        self.assertTrue(24 <= last - first + 1 <= 36, (first, last))
        # In the middle of what they were put on.
        self.assertTrue(58 <= first + last <= 64, (first, last))
        self.pinch(page, 0.8, 0.3)
        wait_until(lambda: self.in_view(page) == (1, self.COUNT))

    def test_that_draw_move_what_is_in_view_once_not_all_is(self):
        page = self.open_on_phone()
        self.pinch(page, 0.3, 0.9)
        wait_until(lambda: self.in_view(page) != (1, self.COUNT))
        first, last = self.in_view(page)
        scrolled = page.run("return scrollY")
        self.draw(page, 0.9, 0.8, 0.6, 0.4, 0.2, 0.1)
        wait_until(lambda: self.in_view(page)[0] > first)
        self.assertEqual(self.in_view(page)[1] - self.in_view(page)[0], last - first)
        self.assertEqual(page.run("return scrollY"), scrolled, "the page has moved too")
        self.assertEqual(page.all("#selected"), [])

    def test_that_scroll_the_page_are_not_held_where_all_is_in_view(self):
        page = self.open_on_phone()
        page.find("#sizes canvas")
        page.run("""window.taken = [];
            for (const kind of ['touchstart', 'touchmove'])
                addEventListener(kind, (event) => window.taken.push(event.defaultPrevented))""")
        for selector in ("#sheet", ".sizes-plot"):
            self.look_at(page, selector)
            self.draw(page, 0.9, 0.7, 0.4, 0.0)
            wait_until(lambda: page.run("return window.taken.length") >= 2)
            self.assertNotIn(True, page.run("return window.taken.splice(0)"), selector)
            script = "return getComputedStyle(document.querySelector(arguments[0])).touchAction"
            self.assertEqual(page.run(script, selector), "pan-x pan-y")
        self.assertEqual(self.in_view(page), (1, self.COUNT))
        # Nearer, the finger is the sheet's.
        page.click("#zoom-in")
        wait_until(lambda: page.run("return getComputedStyle(document.querySelector('#sheet')).touchAction") == "pan-x")

    def test_that_draw_and_pinch_the_plot_move_the_sheet(self):
        page = self.open_on_phone()
        page.find("#sizes canvas")

        # The canvas is there before the sizes are: without them fingers find nothing to move, and
        # what comes above it on a slow machine moves it on.
        def is_pinched():
            self.look_at(page, ".sizes-plot")
            self.pinch(page, 0.3, 0.6)
            self.assertEqual(page.run("return visualViewport.scale"), 1, "the browser has zoomed the page")
            return self.in_view(page) != (1, self.COUNT)

        wait_until(is_pinched)
        first, last = self.in_view(page)
        self.touch(page, "touchStart", self.at(0.8, 0.5))
        for across in (0.7, 0.6, 0.5, 0.4):
            self.touch(page, "touchMove", self.at(across, 0.5))
        self.touch(page, "touchEnd")
        wait_until(lambda: self.in_view(page)[0] > first)
        self.assertEqual(self.in_view(page)[1] - self.in_view(page)[0], last - first)


class Plot(Looking):
    def open_plot(self):
        page = self.open_job()
        page.wait_for_counts(ok=self.COUNT)
        page.find("#sizes canvas")
        plot = page.find(".sizes-plot")
        page.run("arguments[0].scrollIntoView({block: 'center'})", plot)
        wait_until(lambda: page.run(COLUMN, self.x(page, 1))[1] == 255)
        return page

    def x(self, page, frame):
        """Of a frame, from the left of the plot."""
        _, _, left, width, _ = page.run(FIELD)
        first, last = self.in_view(page)
        return left + (frame - first + 0.5) / (last - first + 1) * width

    def go(self, page, frame):
        """The pointer to a frame of the plot."""
        left, top, _, _, height = page.run(FIELD)
        chain = ActionChains(page.driver)
        chain.w3c_actions.pointer_action.move_to_location(round(left + self.x(page, frame)), round(top + height / 2))
        return chain

    def test_takes_cursor_and_selection_to_the_sheet(self):
        page = self.open_plot()
        self.go(page, 20).click().perform()
        wait_until(lambda: page.cursor() == 20)
        page.wait_for_text("#selected", "1 selected")
        self.go(page, 25).key_down(Keys.SHIFT).click().key_up(Keys.SHIFT).perform()
        page.wait_for_text("#selected", "6 selected")
        self.go(page, 40).key_down(Keys.CONTROL).click().key_up(Keys.CONTROL).perform()
        page.wait_for_text("#selected", "7 selected")
        self.assertEqual(page.cursor(), 40)
        # A line where the pointer is.
        self.go(page, 50).perform()
        wait_until(lambda: page.run(COLUMN, self.x(page, 50))[1] == 255)
        page.keep_picture("plot-selection")

    def test_zooms_the_sheet_to_what_is_drawn_over_and_back(self):
        page = self.open_plot()
        self.go(page, 10).click_and_hold().perform()
        self.go(page, 30).release().perform()
        wait_until(lambda: self.in_view(page) != (1, self.COUNT))
        first, last = self.in_view(page)
        self.assertTrue(9 <= first <= 11 and 29 <= last <= 31, (first, last))
        page.keep_picture("plot-zoomed")
        # With Shift it is moved, as far as there are frames.
        self.go(page, 25).key_down(Keys.SHIFT).click_and_hold().perform()
        self.go(page, 15).release().key_up(Keys.SHIFT).perform()
        wait_until(lambda: self.in_view(page)[0] > first + 5)
        self.assertEqual(self.in_view(page)[1] - self.in_view(page)[0], last - first)
        self.go(page, self.in_view(page)[0] + 3).double_click().perform()
        wait_until(lambda: self.in_view(page) == (1, self.COUNT))
        # And no nearer than the sheet goes.
        self.go(page, 30).click_and_hold().perform()
        self.go(page, 32).release().perform()
        wait_until(lambda: self.in_view(page) != (1, self.COUNT))
        first, last = self.in_view(page)
        self.assertEqual(last - first + 1, 8)
        wait_until(lambda: self.labels(page) <= set(range(first, last + 1)) and len(self.labels(page)) > 3)

    def labels(self, page):
        words = page.run("return [...document.querySelectorAll('.dygraph-axis-label-x')].map((label) => label.textContent)")
        return {int(word) for word in words if word}

    def test_follows_cursor_selection_and_zoom_of_the_sheet(self):
        page = self.open_plot()
        page.run("document.querySelector('#sheet').focus({ preventScroll: true })")
        page.press(*[Keys.ARROW_RIGHT] * 9)
        wait_until(lambda: page.run(COLUMN, self.x(page, 10))[1] == 255)
        self.assertEqual(page.run(COLUMN, self.x(page, 5)), [0, 0])
        page.press((Keys.SHIFT, Keys.ARROW_RIGHT), (Keys.SHIFT, Keys.ARROW_RIGHT), (Keys.SHIFT, Keys.ARROW_RIGHT))
        wait_until(lambda: 0 < page.run(COLUMN, self.x(page, 11.5))[1] < 255)
        page.press("+", "+")
        wait_until(lambda: self.in_view(page) != (1, self.COUNT))
        first, last = self.in_view(page)
        wait_until(lambda: self.labels(page) <= set(range(first, last + 1)) and len(self.labels(page)) > 3)
        wait_until(lambda: page.run(COLUMN, self.x(page, 13))[1] == 255)
        self.assertEqual(page.complaints(), [])


if __name__ == "__main__":
    unittest.main()
