"""The page's one stream of events, counted on its way to the server."""

import re
import selectors
import socket
import threading
import unittest
import urllib.parse

from page import Page, PageTest, wait_until


class Way:
    """Between a browser and the server: counts streams, and can be cut."""

    def __init__(self, test, port):
        self.port = port
        self.lock = threading.Lock()
        self.pairs = {}
        self.streams = set()
        self.most = 0
        self.asked = 0
        self.is_cut = False
        self.door = socket.create_server(("127.0.0.1", 0))
        self.own_port = self.door.getsockname()[1]
        self.selector = selectors.DefaultSelector()
        self.wake, self.woken = socket.socketpair()
        self.is_over = False
        self.selector.register(self.door, selectors.EVENT_READ)
        self.selector.register(self.woken, selectors.EVENT_READ)
        self.thread = threading.Thread(target=self.run)
        self.thread.start()
        test.addCleanup(self.end)

    def end(self):
        self.is_over = True
        self.wake.send(b"x")
        self.thread.join()
        for each in (self.door, self.wake, self.woken, *self.pairs):
            each.close()
        self.selector.close()

    def run(self):
        while not self.is_over:
            for key, _ in self.selector.select():
                if key.fileobj is self.woken:
                    self.woken.recv(1)
                    self.cut_now()
                elif key.fileobj is self.door:
                    self.let_in()
                elif key.fileobj in self.pairs:
                    self.pass_on(key.fileobj, key.data)

    def let_in(self):
        browser = self.door.accept()[0]
        try:
            if self.is_cut:
                raise OSError
            server = socket.create_connection(("127.0.0.1", self.port))
        except OSError:
            browser.close()
            return
        with self.lock:
            self.pairs[browser], self.pairs[server] = server, browser
        self.selector.register(browser, selectors.EVENT_READ, True)
        self.selector.register(server, selectors.EVENT_READ, False)

    def pass_on(self, source, is_browser):
        try:
            data = source.recv(65536)
            if data:
                if is_browser and b"GET /api/events" in data:
                    with self.lock:
                        self.streams.add(source)
                        self.asked += 1
                        self.most = max(self.most, len(self.streams))
                self.pairs[source].sendall(data)
                return
        except OSError:
            pass
        self.drop(source)

    def drop(self, one):
        with self.lock:
            for each in (one, self.pairs[one]):
                self.selector.unregister(each)
                self.pairs.pop(each)
                self.streams.discard(each)
                each.close()

    def cut_now(self):
        if self.is_cut:
            while self.pairs:
                self.drop(next(iter(self.pairs)))

    def cut(self):
        self.is_cut = True
        self.wake.send(b"x")
        wait_until(lambda: not self.count() and not self.pairs)

    def heal(self):
        self.is_cut = False

    def count(self):
        with self.lock:
            return len(self.streams)


class Stream(PageTest):
    def open_on_way(self, address=None):
        host = urllib.parse.urlsplit(self.origin).netloc
        self.way = Way(self, int(host.partition(":")[2]))
        rule = f"host-resolver-rules=MAP {host} 127.0.0.1:{self.way.own_port}"
        page = Page(self, arguments=(rule,))
        page.open(self.link)
        page.find("#jobs")
        page.open(self.origin + (f"/?job={self.job}" if address is None else address))
        return page

    def test_is_found_again_by_itself(self):
        page = self.open_on_way()
        page.wait_for_counts(ok=12)
        wait_until(lambda: self.way.count() == 1)
        self.way.cut()
        page.wait_for_text("#state", "The connection to the server is lost")
        page.keep_picture("server-lost")
        self.frame(5).unlink()
        self.corvan("set", self.job, "Priority=80")
        self.way.heal()
        wait_until(lambda: page.text("#state") == "")
        page.wait_for_counts(ok=11, missing=1)
        page.wait_for_text(".job-head", "Priority80")
        wait_until(lambda: self.way.count() == 1)
        self.frame(6).unlink()
        page.wait_for_counts(ok=10, missing=2)

    def test_of_the_list_is_found_again_with_what_has_come_meanwhile(self):
        page = self.open_on_way("/")
        page.wait_for_text("#job-count", "1 job")
        wait_until(lambda: self.way.count() == 1)
        self.way.cut()
        page.wait_for_text("#state", "The connection to the server is lost")
        self.submit("true", "--range", "1", "--name", "meanwhile", "--paused")
        self.way.heal()
        page.wait_for_text("#job-count", "2 jobs")
        self.assertEqual(page.text("#state"), "")

    def test_is_closed_while_nobody_sees_the_page_and_there_is_never_more_than_one(self):
        page = self.open_on_way()
        page.wait_for_counts(ok=12)
        wait_until(lambda: self.way.count() == 1)
        shown = page.driver.current_window_handle
        page.driver.switch_to.new_window("tab")
        other = page.driver.current_window_handle
        for _ in range(5):
            wait_until(lambda: self.way.count() == 0)
            page.driver.switch_to.window(shown)
            wait_until(lambda: self.way.count() == 1)
            page.driver.switch_to.window(other)
        wait_until(lambda: self.way.count() == 0)
        self.frame(5).unlink()
        page.driver.switch_to.window(shown)
        page.wait_for_counts(ok=11, missing=1)
        self.assertEqual(page.text("#state"), "")
        self.assertEqual(self.way.most, 1)

    def test_is_the_only_one_whatever_is_shown(self):
        page = self.open_on_way("/")
        page.click(".job-row a")
        page.wait_for_counts(ok=12)
        page.driver.back()
        page.find(".job-row")
        page.driver.forward()
        page.wait_for_counts(ok=12)
        wait_until(lambda: self.way.count() == 1)

    def test_that_is_refused_since_the_session_is_over_asks_who_looks(self):
        page = self.open_on_way()
        page.wait_for_counts(ok=12)
        # Nothing else is asked that could say so.
        page.find("#sizes canvas")
        page.driver.delete_all_cookies()
        self.way.cut()
        page.wait_for_text("#state", "The connection to the server is lost")
        self.way.heal()
        page.find("#token")
        page.wait_for_text(".notices", "The session has ended.")
        self.assertEqual(page.text("#state"), "")
        # The one that looks again sees what was looked at.
        page.find("#token").send_keys(self.token)
        page.find("#session button").click()
        page.wait_for_counts(ok=12)
        self.assertTrue(re.search(f"job={self.job}", page.driver.current_url))


if __name__ == "__main__":
    unittest.main()
