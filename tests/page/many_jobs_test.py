"""The list of very many jobs, of a real Master."""

import concurrent.futures
import http.client
import json
import time
import unittest
import urllib.parse

from page import PageTest, wait_until
from selenium.webdriver.common.keys import Keys

MANY = 10_000
# In which as many are made as it takes; at least so many.
SECONDS = 45
LEAST = 1000

# Scrolls by hand as fast as it goes, and tells for each frame of the screen how many rows there are and whether they fill
# the box.
SCROLL = """const box = document.querySelector('.jobs-box');
    const told = { rows: 0, gaps: 0, frames: 0 };
    const last = box.scrollHeight - box.clientHeight;
    for (let step = 0; step <= 60; ++step) {
        box.scrollTop = (last * step) / 60;
        await new Promise((resolve) => requestAnimationFrame(resolve));
        await new Promise((resolve) => requestAnimationFrame(resolve));
        const rows = [...document.querySelectorAll('.job-row')];
        told.rows = Math.max(told.rows, rows.length);
        ++told.frames;
        const edge = box.getBoundingClientRect();
        const tops = rows.map((row) => row.getBoundingClientRect());
        const isFull = Math.min(...tops.map((row) => row.top)) <= edge.top + 1 &&
            Math.max(...tops.map((row) => row.bottom)) >= edge.top + box.clientHeight - 1;
        if (!isFull) ++told.gaps;
    }
    return told"""


class ManyJobs(PageTest):
    def make_job(self):
        self.pattern = self.folder / "frames" / "f.%04d.raw"
        self.job = self.submit("true", "--range", "1", "--format", self.pattern, "--name", "first", "--paused")

    def start_master(self, *arguments):
        super().start_master("--slots", "0", *arguments)

    def fill(self):
        """Makes jobs by the server's own interface, as many as time allows. Gives how many there are."""
        end = time.monotonic() + SECONDS
        host = urllib.parse.urlsplit(self.origin).netloc
        head = {"Authorization": f"Bearer {self.token}", "Content-Type": "application/json"}
        body = json.dumps({"frames": "1"})

        def make(count):
            connection = http.client.HTTPConnection(host)
            made = 0
            while made < count and time.monotonic() < end:
                connection.request("POST", f"/api/jobs/{self.job}/requeue", body, head)
                answer = connection.getresponse()
                answer.read()
                made += answer.status == 201
            connection.close()
            return made

        crew = 8
        with concurrent.futures.ThreadPoolExecutor(crew) as pool:
            return 1 + sum(pool.map(make, [(MANY - 1) // crew + 1] * crew))

    def test_scrolls_with_the_rows_in_view_alone_and_stays_live(self):
        made = self.fill()
        self.assertGreater(made, LEAST)
        page = self.open_page("/?sort=name")
        # As many as are asked for at a time, and "more" for the others.
        page.wait_for_text("#job-count", f"{min(made, 10_000):,} ")
        told = page.run_module(SCROLL)
        print(f"{made} jobs: {told}")
        self.assertEqual(told["gaps"], 0)
        self.assertLess(told["rows"], 60)
        page.keep_picture("jobs-many")

        page.tab_to("jobs")
        page.press(Keys.END)
        row = "return document.querySelector('.job-row.current')?.getAttribute('aria-rowindex')"
        wait_until(lambda: int(page.run(row) or 0) >= min(made, 10_000) - 1)
        page.press(Keys.HOME)
        wait_until(lambda: int(page.run(row) or 0) == 2)

        # One more among them, by itself; and one that is found.
        self.submit("true", "--range", "1", "--name", "0 newest", "--paused")
        wait_until(lambda: page.run("return document.querySelector('.job-row a').textContent") == "0 newest")
        page.find("#words").send_keys("newest")
        page.wait_for_text("#job-count", "1 of ")
        self.assertEqual(page.complaints(), [])


if __name__ == "__main__":
    unittest.main()
