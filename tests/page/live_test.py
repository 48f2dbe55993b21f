"""What happens on disk, at the Master and on the way to the server is seen by itself."""

import signal
import unittest

from page import Page, PageTest, wait_until
from selenium.webdriver.common.keys import Keys


class Live(PageTest):
    def test_a_frame_that_comes_and_goes_is_seen(self):
        page = self.open_job()
        page.wait_for_counts(ok=12)
        self.frame(5).unlink()
        page.wait_for_counts(ok=11, missing=1)
        whole = self.folder / "whole"
        whole.write_bytes(b"\0" * self.SIZE)
        whole.rename(self.frame(5))
        page.wait_for_counts(ok=12)

    def test_a_change_of_the_job_is_seen(self):
        page = self.open_job()
        self.corvan("set", self.job, "Status=queued")
        self.corvan("wait", self.job)
        self.corvan("set", self.job, "CustomRange=1-3")
        page.wait_for_counts(ok=3)

    def test_a_lost_master_is_told_and_found_again(self):
        page = self.open_job()
        page.wait_for_counts(ok=12)
        self.stop_master()
        page.wait_for_text("#state", "The Master is gone")
        self.assertEqual(page.find("#run-again").get_attribute("aria-disabled"), "true")
        page.keep_picture("master-gone")
        self.start_master()
        wait_until(lambda: page.text("#state") == "")
        wait_until(lambda: not page.find("#run-again").get_attribute("aria-disabled"))

    def test_a_lost_server_is_told(self):
        page = self.open_job()
        self.web.send_signal(signal.SIGKILL)
        page.wait_for_text("#state", "The connection to the server is lost")


class Jobs(PageTest):
    NAMES = ("alpha", "<script>document.title='x'</script>", "beta\nline")

    def test_come_by_themselves_and_are_text(self):
        page = self.open_page()
        page.wait_for_text("#job-count", "1 job")
        for name in self.NAMES[:2]:
            self.submit("true", "--range", "1", "--name", name, "--paused")
        page.wait_for_text("#job-count", "3 jobs")
        page.wait_for_text("#jobs", self.NAMES[1])
        self.assertEqual(page.complaints(), [])
        self.assertIn("Ordwick", page.driver.title)

    def test_are_filtered_and_sorted_as_the_address_says(self):
        for name in ("alpha", "beta", "gamma"):
            self.submit("true", "--range", "1", "--name", name, "--paused")
        page = self.open_page("/?status=paused&sort=name")
        page.wait_for_text("#job-count", "3 of 4 jobs")
        names = "return [...document.querySelectorAll('.job-row a')].map((link) => link.textContent)"
        self.assertEqual(page.run(names), ["alpha", "beta", "gamma"])
        page.find("#words").send_keys("gam")
        page.wait_for_text("#job-count", "1 of 4 jobs")
        self.assertIn("q=gam", page.driver.current_url)
        page.open(page.driver.current_url)
        page.wait_for_text("#job-count", "1 of 4 jobs")
        page.run("document.querySelector('#jobs').focus()")
        page.press(Keys.ENTER)
        page.wait_for_text("h1", "gamma")
        page.driver.back()
        page.wait_for_text("#job-count", "1 of 4 jobs")
        page.keep_picture("jobs")

    def test_that_are_gone_offer_the_list(self):
        page = self.open_page("/?job=00000000-0000-0000-0000-000000000001")
        page.find("#trouble a").click()
        page.wait_for_text("#job-count", "1 job")


class Session(PageTest):
    def test_of_a_link_is_good_once_and_leaves_no_secret_in_the_address(self):
        page = self.open_page()
        self.assertNotIn("secret", page.driver.current_url)
        page.open(self.origin + "/")
        page.find("#jobs")
        other = Page(self)
        other.open(self.link)
        other.find("#session")
        self.assertNotIn("secret", other.driver.current_url)

    def test_of_a_token_begins_in_the_form(self):
        page = Page(self)
        page.open(self.origin)
        page.find("#token").send_keys("nonsense")
        page.press(Keys.ENTER)
        wait_until(lambda: page.text("#session [role=alert]"))
        self.assertEqual(page.all("#jobs"), [])


if __name__ == "__main__":
    unittest.main()
