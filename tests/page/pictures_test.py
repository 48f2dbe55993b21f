"""Pictures of frames in the page: contact sheet, flipbook, one frame."""

import unittest

from page import SHARE, PageTest, wait_until
from selenium.webdriver.common.keys import Keys

# Whether a picture has come, and what of it is no plain ground.
IS_SHOWN = "return [...document.querySelectorAll(arguments[0])].filter((image) => image.naturalWidth > 0).length"

# What is seen in an image or a canvas, as one number; 0 while nothing is.
LOOK = """const shown = document.querySelector(arguments[0]);
    const [width, height] = [shown?.naturalWidth ?? shown?.width, shown?.naturalHeight ?? shown?.height];
    if (!width) return 0;
    const canvas = Object.assign(document.createElement('canvas'), { width, height });
    const ink = canvas.getContext('2d');
    ink.drawImage(shown, 0, 0);
    return ink.getImageData(0, 0, width, height).data.reduce((sum, byte) => (sum * 31 + byte) % 1000003, 1);"""


class PicturesTest(PageTest):
    COUNT = 6

    def make_job(self):
        self.pattern = self.folder / "frames" / "f.%04d.png"
        self.job = self.corvan(
            *("submit", "POV-Ray", "--set", "Width=96", "--set", "Height=54"),
            *("--set", f"Scene={SHARE / 'demo' / 'clockwork.pov'}"),
            *("--range", f"1-{self.COUNT}", "--format", self.pattern, "--name", "clockwork"),
        ).strip()
        self.corvan("wait", self.job)


class Pictures(PicturesTest):
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

    def test_of_one_frame_are_compared_with_those_around_it_where_that_is_wanted(self):
        page = self.open_job("&frame=3")
        page.wait_for_text("#frame .decoded", "The image is whole.")
        self.assertEqual(page.text("#frame .compared"), "")
        page.click("#compares")
        page.wait_for_text("#frame .compared", "Nothing strange beside the frames 1-6.")
        # And of those that follow, until it is wanted no more.
        self.frame(6).write_bytes(b"x" * self.frame(6).stat().st_size)
        page.click("#frame-after")
        page.wait_for_text("#frame h2", "Frame 4")
        page.wait_for_text("#frame .compared", "Nothing strange beside the frames 1-6.")
        page.open(f"{self.origin}/?job={self.job}&frame=6")
        page.click("#compares")
        page.wait_for_text("#frame .compared", "not readable")
        # Which is no matter of its size.
        self.assertIn("By its size good", page.text("#frame dl"))
        page.keep_picture("compared")
        page.click("#compares")
        self.assertEqual(page.text("#frame .compared"), "")
        self.assertEqual(page.complaints(), [])

    def test_of_one_frame_say_where_in_them_something_was_found(self):
        page = self.open_job("&frame=3")
        wait_until(lambda: page.run(IS_SHOWN, "#frame .picture.large img") == 1)
        # As the server would tell it of a frame that has such a place.
        page.run_module(
            """const ask = window.fetch;
            let tries = 0;
            window.fetch = async (address, wishes) => {
                const answer = await ask(address, wishes);
                if (!String(address).includes('pictures=1')) return answer;
                tries++;
                const refuse = (status, error, headers) => new Response(JSON.stringify({ error }), { status, headers });
                if (tries === 1) return refuse(429, 'others wait', { 'Retry-After': '1' });
                if (tries === 2) return refuse(503, '12 of 81 are read', { 'Retry-After': '1' });
                if (tries === 3) return refuse(503, 'no decoder', {});
                if (tries < 6) return refuse(503, '3 of 69 are read', { 'Retry-After': '1' });
                const frame = await answer.json();
                frame.pictures = { state: 'patch', detail: 'a block is old', place: { x: 24, y: 27, width: 48, height: 18 },
                                   range: '1-6', notLookedAt: '5', trouble: '' };
                return new Response(JSON.stringify(frame), { headers: answer.headers });
            }"""
        )
        page.click("#compares")
        page.wait_for_text("#frame .compared", "12 of 81 are read")
        # It asks again by itself where that is wanted, and else where it is told to.
        page.wait_for_text("#frame .compared", "no decoder")
        page.click("#frame .compared button")
        # Where it gets no farther it does not go on for ever.
        wait_until(lambda: "3 of 69 are read" in page.text("#frame .compared") and page.all("#frame .compared button"))
        page.click("#frame .compared button")
        page.wait_for_text("#frame .compared", "part of the picture missing or old")
        page.wait_for_text("#frame .compared", "a block is old")
        page.wait_for_text("#frame .compared", "Not looked at: 5")
        place = page.run_module(
            """const box = (what) => document.querySelector(what).getBoundingClientRect();
            const [image, place] = [box('#frame .large img'), box('#frame .place')];
            return [(place.left - image.left) / image.width, (place.top - image.top) / image.height,
                    place.width / image.width, place.height / image.height].map((share) => Math.round(share * 100))"""
        )
        self.assertEqual(place, [25, 50, 50, 33])
        page.keep_picture("place")
        page.click("#compares")
        self.assertEqual(page.all("#frame .place"), [])

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


class Rewritten(PicturesTest):
    def rewrite(self):
        """Frame 2 is rendered again, and comes to be what frame 5 is: as good as before."""
        data = self.frame(5).read_bytes()
        whole = self.folder / "whole"
        whole.write_bytes(data)
        whole.rename(self.frame(2))

    def test_files_have_other_pictures_in_the_contact_sheet(self):
        page = self.open_job("&pictures=open")
        wait_until(lambda: page.run(IS_SHOWN, "#contact img") == 6)
        tile = "#contact [data-frame='{}'] img".format
        before, wanted = page.run(LOOK, tile(2)), page.run(LOOK, tile(5))
        self.assertNotEqual(before, wanted)
        other = page.run("return document.querySelector(arguments[0]).src", tile(4))
        self.rewrite()
        wait_until(lambda: page.run(LOOK, tile(2)) == wanted)
        self.assertEqual(page.run("return document.querySelector(arguments[0]).src", tile(4)), other, "it is the same")

    def test_files_have_other_pictures_in_one_frame_and_its_neighbours(self):
        page = self.open_job("&frame=5")
        wait_until(lambda: page.run(IS_SHOWN, "#frame .picture.large img") == 1)
        wanted = page.run(LOOK, "#frame .picture.large img")
        page.open(f"{self.origin}/?job={self.job}&frame=2")
        wait_until(lambda: page.run(IS_SHOWN, "#frame .picture.large img") == 1)
        self.assertNotEqual(page.run(LOOK, "#frame .picture.large img"), wanted)
        self.rewrite()
        wait_until(lambda: page.run(LOOK, "#frame .picture.large img") == wanted)
        page.wait_for_text("#frame .facts", f"{self.frame(2)}")
        # A neighbour is shown, too.
        page.open(f"{self.origin}/?job={self.job}&frame=3")
        wait_until(lambda: page.run(IS_SHOWN, "#frame .beside img") == 4)
        neighbour = page.run(LOOK, "#frame .beside img")
        self.frame(2).write_bytes(self.frame(6).read_bytes())
        wait_until(lambda: page.run(LOOK, "#frame .beside img") not in (0, neighbour))

    def test_files_have_other_pictures_in_the_flipbook(self):
        page = self.open_job("&flip=open")
        wait_until(lambda: page.text("#flipbook [role=status]") == "6 pictures")
        page.run("document.querySelector('#flipbook').focus()")
        page.press(*[Keys.ARROW_RIGHT] * 4)
        wait_until(lambda: page.run("return document.querySelector('.flip-screen').dataset.frame") == "5")
        wanted = page.run(LOOK, ".flip-screen")
        page.press(*[Keys.ARROW_LEFT] * 3)
        wait_until(lambda: page.run("return document.querySelector('.flip-screen').dataset.frame") == "2")
        self.assertNotEqual(page.run(LOOK, ".flip-screen"), wanted)
        self.rewrite()
        wait_until(lambda: page.run(LOOK, ".flip-screen") == wanted)
        self.assertEqual(page.run("return document.querySelector('.flip-screen').dataset.frame"), "2")


if __name__ == "__main__":
    unittest.main()
