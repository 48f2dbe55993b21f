"""Pictures of frames in the page: contact sheet, flipbook, one frame."""

import unittest

from page import SHARE, PageTest, wait_until
from selenium.webdriver.common.keys import Keys

# Whether a picture has come, and what of it is no plain ground.
IS_SHOWN = "return [...document.querySelectorAll(arguments[0])].filter((image) => image.naturalWidth > 0).length"


class Pictures(PageTest):
    COUNT = 6

    def make_job(self):
        self.pattern = self.folder / "frames" / "f.%04d.png"
        self.job = self.corvan(
            *("submit", "POV-Ray", "--set", "Width=96", "--set", "Height=54"),
            *("--set", f"Scene={SHARE / 'demo' / 'clockwork.pov'}"),
            *("--range", f"1-{self.COUNT}", "--format", self.pattern, "--name", "clockwork"),
        ).strip()
        self.corvan("wait", self.job)

    def test_of_what_is_in_view_are_in_the_contact_sheet(self):
        self.frame(4).unlink()
        data = self.frame(2).read_bytes()
        self.frame(2).write_bytes(data[: len(data) // 2] + b"x" * (len(data) - len(data) // 2))
        page = self.open_job("&pictures=open")
        wait_until(lambda: page.run(IS_SHOWN, "#contact img") >= 4)
        page.wait_for_text("[data-frame='4'] .reason", "missing")
        # One that cannot be read says so, or is shown as far as it is whole.
        page.run("document.querySelector('#contact').scrollIntoView({block: 'center'})")
        page.keep_picture("contact")
        page.click("#contact [data-frame='5']")
        page.wait_for_text("#frame .path", str(self.frame(5)))

    def test_of_one_frame_stand_beside_its_neighbours_and_the_difference_to_them(self):
        page = self.open_job("&frame=3")
        wait_until(lambda: page.run(IS_SHOWN, "#frame .picture.large img") == 1)
        wait_until(lambda: page.run(IS_SHOWN, "#frame .beside img") == 4)
        page.wait_for_text("#frame .decoded", "96 × 54")
        page.wait_for_text("#frame .decoded", "The image is whole.")
        before = page.run("return document.querySelector('#frame .large img').currentSrc")
        page.run("document.querySelector('#exposure').focus()")
        page.press(Keys.ARROW_RIGHT, Keys.ARROW_RIGHT)
        wait_until(lambda: "exposure=1" in page.run("return document.querySelector('#frame .large img').src"))
        self.assertNotIn("exposure", before)
        wait_until(lambda: page.run(IS_SHOWN, "#frame .picture.large img") == 1)
        page.keep_picture("frame")
        self.assertEqual(page.complaints(), [])

    def test_are_played_one_after_the_other(self):
        page = self.open_job("&flip=open")
        page.wait_for_text("#flipbook [role=status]", "6 pictures")
        page.run_module(
            """window.played = new Set();
            new MutationObserver(() => window.played.add(document.querySelector('.flip-screen').dataset.frame))
                .observe(document.querySelector('.flip-screen'), { attributes: true });"""
        )
        page.click("#play")
        wait_until(lambda: page.run("return window.played.size") == 6)
        page.keep_picture("flipbook")
        page.click("#play")
        page.run("document.querySelector('#flipbook').focus()")
        now = int(page.run("return document.querySelector('.flip-screen').dataset.frame"))
        page.press(Keys.ARROW_RIGHT)
        following = str(now % 6 + 1)
        wait_until(lambda: page.run("return document.querySelector('.flip-screen').dataset.frame") == following)


if __name__ == "__main__":
    unittest.main()
