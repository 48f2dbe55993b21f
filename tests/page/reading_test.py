"""The page for who hears it, has the keyboard alone, or needs contrast: from the browser's own tree for readers, and
from styles as they are computed."""

import unittest

from colours import SHAPE_CONTRAST, TEXT_CONTRAST, contrast
from page import PageTest, wait_until
from selenium.webdriver.common.keys import Keys

# What can be used or is told has to say what it is.
NAMED = {
    *("application", "button", "checkbox", "columnheader", "combobox", "dialog", "grid", "image"),
    *("link", "log", "navigation", "progressbar", "region", "searchbox", "slider", "spinbutton", "textbox"),
}
OPEN = "&sizes=open&pictures=open&flip=open&task-list=open&parameter-list=open"

# All that the keyboard has to come to, in the order of the page.
STOPS = """return [...document.querySelectorAll(
        'a[href], button, input, select, summary, [tabindex]')].filter((each) =>
        each.tabIndex >= 0 && !each.disabled && each.checkVisibility({ visibilityProperty: true })
    ).map((each) => (each.dataset.stop = String(++window.stops || (window.stops = 1))))"""

# Texts with their colour and the ground they stand on, where both are plain colours; controls with their edge.
COLOURS = """
    const hex = (colour) => {
        const [r, g, b, a] = colour.match(/[\\d.]+/g).map(Number);
        return a === 0 ? null : '#' + [r, g, b].map((part) => Math.round(part).toString(16).padStart(2, '0')).join('');
    };
    const ground = (element) => {
        for (let at = element; at; at = at.parentElement) {
            const colour = hex(getComputedStyle(at).backgroundColor);
            if (colour) return colour;
        }
        return '#ffffff';
    };
    const seen = (element) => element.checkVisibility({ opacityProperty: true, visibilityProperty: true }) &&
        !element.closest('.unseen, option, noscript, style, script, canvas');
    const texts = new Map();
    const walk = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
    for (let node; (node = walk.nextNode());) {
        const element = node.parentElement;
        if (!node.data.trim() || !seen(element)) continue;
        const style = getComputedStyle(element);
        const size = parseFloat(style.fontSize);
        const isLarge = size >= 24 || (size >= 18.66 && Number(style.fontWeight) >= 700);
        const told = [hex(style.color), ground(element), isLarge ? 'large' : 'text'];
        texts.set(told.join(), [...told, `${element.tagName}.${element.className} "${node.data.trim().slice(0, 30)}"`]);
    }
    for (const element of document.querySelectorAll('button:not(.plain), input:not([type=checkbox]):not([type=range]), select')) {
        if (!seen(element)) continue;
        const told = [hex(getComputedStyle(element).borderTopColor), ground(element.parentElement), 'edge'];
        texts.set(told.join(), [...told, `${element.tagName}#${element.id}`]);
    }
    return [...texts.values()];"""


class Reading(PageTest):
    def open_all(self, more="", **how):
        """A job with all its parts open, as far as they come without pictures."""
        self.damage()
        page = self.open_job(OPEN + more, **how)
        page.wait_for_counts(ok=9, missing=1, too_small=1, outlier=1)
        page.find("#sizes canvas")
        page.find("#tasks tbody tr")
        page.wait_for_text("#flipbook [role=status]", "pictures")
        return page

    def tree(self, page):
        """What a reader is given: role, name and properties of each node that is not passed over."""
        page.driver.execute_cdp_cmd("Accessibility.enable", {})
        nodes = page.driver.execute_cdp_cmd("Accessibility.getFullAXTree", {})["nodes"]
        told = []
        for node in nodes:
            if node.get("ignored"):
                continue
            told.append(
                {
                    "role": node.get("role", {}).get("value", ""),
                    "name": node.get("name", {}).get("value", "").strip(),
                    **{each["name"]: each["value"].get("value") for each in node.get("properties", [])},
                }
            )
        return told

    def check_names(self, page):
        nodes = self.tree(page)
        nameless = [node["role"] for node in nodes if node["role"] in NAMED and not node["name"]]
        self.assertEqual(nameless, [])
        return nodes

    def test_tells_what_everything_is(self):
        page = self.open_all("&frame=6")
        page.wait_for_text("#frame .facts", "too small")
        page.click("#frame-log")
        page.find("#frame .log")
        nodes = self.check_names(page)
        told = [(n["role"], n["name"]) for n in nodes]
        self.assertIn(("application", "Frame sheet, frames 1 to 12"), told)
        self.assertIn(("figure", "Size of each file over its frame"), told)
        heads = [n["name"] for n in nodes if n["role"] == "columnheader"]
        self.assertEqual(heads, ["Task", "Frames", "Status", "Tries", "Machine", "Reason", "Log"])
        titles = [(n["name"], n.get("level")) for n in nodes if n["role"] == "heading"]
        self.assertEqual(titles[0], ("frames", 1))
        self.assertEqual([n["role"] for n in nodes if n["role"] in ("banner", "main", "navigation")].count("main"), 1)
        page.press(Keys.ESCAPE)
        page.open(self.origin)
        page.find(".job-row")
        nodes = self.check_names(page)
        self.assertEqual(
            [n["name"] for n in nodes if n["role"] == "columnheader"],
            ["Name", "Status", "Progress", "Bad frames", "Owner", "Priority", "Started", "Expected end"],
        )

    def test_tells_the_row_that_the_keyboard_is_at(self):
        self.submit("true", "--range", "1", "--name", "another", "--paused")
        page = self.open_page()
        page.wait_for_text("#job-count", "2 jobs")
        page.tab_to("jobs")
        nodes = self.tree(page)
        [grid] = [n for n in nodes if n["role"] == "grid"]
        self.assertTrue(grid.get("focused"))
        current = lambda: page.run(
            """const grid = document.querySelector('#jobs');
            const row = document.getElementById(grid.getAttribute('aria-activedescendant'));
            return [row.getAttribute('role'), row.getAttribute('aria-selected'), row.querySelector('a').textContent]"""
        )
        # Of two that were made within a second, either may come first.
        names = [page.run("return arguments[0].textContent", link) for link in page.all("#jobs .cell-name a")]
        self.assertEqual(sorted(names), ["another", "frames"])
        self.assertEqual(current(), ["row", "true", names[0]])
        page.press(Keys.ARROW_DOWN)
        self.assertEqual(current(), ["row", "true", names[1]])

    def test_tells_number_verdict_and_why_of_the_frame_at_the_cursor(self):
        page = self.open_all()
        page.tab_to("sheet")
        for keys, words in (
            (["b"], ["Frame 3: missing"]),
            (["b"], ["Frame 6: too small, smaller than the smallest acceptable size: 100 of"]),
            (["b"], ["Frame 9: unlike its neighbours, smaller than its neighbours: 1200 bytes, and they let pass 2550 to 3450"]),
            ([" "], ["Frame 9: unlike its neighbours", ", selected"]),
            ([Keys.ARROW_RIGHT], ["Frame 10: good"]),
        ):
            page.press(*keys)
            for word in words:
                page.wait_for_text("#where", word)
        spoken = page.run("const { ariaLive, role } = document.querySelector('#where'); return ariaLive")
        self.assertEqual(spoken, "polite")
        self.assertIn("polite", [n.get("live") for n in self.tree(page)])

    def test_tells_the_answer_of_the_master_and_the_loss_of_it(self):
        page = self.open_all()
        # A live region has to be there before its text is.
        self.assertTrue(page.run("return document.querySelector('#state').checkVisibility()"))
        regions = lambda: {n["name"] or n["role"] for n in self.tree(page) if n.get("live") == "polite"}
        self.assertIn("Messages", regions())
        page.click("#requeue-bad")
        page.wait_for_text(".notices", "The Master renders")
        page.run("document.querySelector('.notice button').focus()")
        page.press(Keys.ENTER)
        wait_until(lambda: page.notices() == [])
        self.assertEqual(page.focused(), "main")
        self.stop_master()
        page.wait_for_text("#state", "The Master is gone")
        read = " ".join(n["name"] for n in self.tree(page) if n["role"] == "StaticText")
        self.assertIn("The Master is gone", read)

    def test_a_question_says_what_it_is_keeps_the_keyboard_and_gives_it_back(self):
        page = self.open_all()
        page.tab_to("run-again")
        page.press(Keys.ENTER)
        page.find("dialog[open]")
        [dialog] = [n for n in self.check_names(page) if n["role"] == "dialog"]
        self.assertEqual((dialog["name"], dialog.get("modal")), ("Render all frames of this job again?", True))
        for _ in range(6):
            page.press(Keys.TAB)
            self.assertTrue(page.run("return document.activeElement === document.body || "
                                     "document.querySelector('dialog').contains(document.activeElement)"))
        page.press(Keys.ESCAPE)
        wait_until(lambda: not page.all("dialog"))
        self.assertEqual(page.focused(), "run-again")

    def test_the_keyboard_goes_back_to_where_a_frame_was_opened(self):
        page = self.open_all()
        for opener in ("sheet", "open-frame"):
            page.tab_to(opener)
            page.press(Keys.ENTER)
            wait_until(lambda: page.focused() == "frame")
            page.press(Keys.ESCAPE)
            wait_until(lambda: not page.all("#frame"))
            self.assertEqual(page.focused(), opener)
        page.open(f"{self.origin}/?job={self.job}&frame=6")
        page.find("#frame .facts dt")
        page.press(Keys.ESCAPE)
        wait_until(lambda: not page.all("#frame"))
        self.assertEqual(page.focused(), "sheet")

    def test_the_keyboard_comes_to_everything_and_is_seen_there(self):
        page = self.open_all("&frame=6")
        page.wait_for_text("#frame .facts", "too small")
        page.wait_for_text("#frame .decoded", " ")
        for address in (None, self.origin):
            if address:
                page.open(address)
                page.find(".job-row")
            stops = page.run(STOPS)
            page.run("document.body.tabIndex = -1; document.body.focus(); document.body.removeAttribute('tabindex')")
            come, unseen = set(), []
            for _ in range(len(stops) + 5):
                page.press(Keys.TAB)
                stop, name, style, width, colour, ground = page.run(
                    """const at = document.activeElement, style = getComputedStyle(at);
                    const hex = (colour) => '#' + colour.match(/[\\d.]+/g).slice(0, 3).map((part) =>
                        Number(part).toString(16).padStart(2, '0')).join('');
                    let under = at.parentElement ?? at;
                    while (under.parentElement && getComputedStyle(under).backgroundColor === 'rgba(0, 0, 0, 0)')
                        under = under.parentElement;
                    return [at.dataset.stop, `${at.tagName}#${at.id}.${at.className}`, style.outlineStyle,
                        parseFloat(style.outlineWidth), hex(style.outlineColor),
                        hex(getComputedStyle(under).backgroundColor)]"""
                )
                come.add(stop)
                if stop and (style == "none" or width < 2 or contrast(colour, ground) < SHAPE_CONTRAST):
                    unseen.append(name)
            missed = [
                page.run("const at = document.querySelector(`[data-stop='${arguments[0]}']`);"
                         "return at && `${at.tagName}#${at.id}.${at.className}`", stop)
                for stop in stops if stop not in come
            ]
            self.assertEqual([name for name in missed if name], [], "the keyboard does not come there")
            self.assertEqual(sorted(set(unseen)), [], "the focus is not seen there")

    def test_has_the_contrasts_that_eyes_need(self):
        least = {"text": TEXT_CONTRAST, "large": SHAPE_CONTRAST, "edge": SHAPE_CONTRAST}
        for dark in (False, True):
            self.stop_web()
            self.start_web()
            for number in (3, 6, 9):
                self.frame(number).write_bytes(b"\0" * self.SIZE)
            page = self.open_all("&frame=6", dark=dark)
            page.wait_for_text("#frame .facts", "too small")
            page.click("#select-bad")
            page.click("#set-range")
            page.wait_for_text(".notices", "CustomRange")
            page.point(2)
            page.wait_for_text("#tip", "missing")
            page.click("#run-again")
            page.find("dialog[open]")
            weak = [row for row in page.run(COLOURS) if contrast(row[0], row[1]) < least[row[2]]]
            self.assertEqual(weak, [], "dark" if dark else "light")
            page.press(Keys.ESCAPE)
            page.open(self.origin)
            page.find(".job-row.current")
            weak = [row for row in page.run(COLOURS) if contrast(row[0], row[1]) < least[row[2]]]
            self.assertEqual(weak, [], "dark" if dark else "light")


class Signing(PageTest):
    def test_in_and_errors_are_told(self):
        from page import Page

        page = Page(self)
        page.open(self.origin)
        page.find("#token")
        reading = Reading.tree(self, page)
        self.assertIn(("textbox", "Token"), [(n["role"], n["name"]) for n in reading])
        self.assertEqual(page.focused(), "token")


if __name__ == "__main__":
    unittest.main()
