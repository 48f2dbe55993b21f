"""The page in a real Chromium, on a real corvan-web, Master and frames."""

import json
import pathlib
import subprocess
import sys

from selenium import webdriver
from selenium.common.exceptions import StaleElementReferenceException, TimeoutException
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.wait import WebDriverWait

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "system"))
from farm import BIN, PATIENCE, SHARE, FarmTest  # noqa: E402

ARTEFACTS = pathlib.Path(__file__).resolve().parents[2] / "artefacts" / "page"
PHONE = {"width": 390, "height": 844, "deviceScaleFactor": 2, "mobile": True}
# Milliseconds between two passes of the server.
REFRESH = 200

# Between two looks at the page: each look takes time of the browser, which has better things to do.
PAUSE = 0.03


def wait_until(is_so):
    """Looks again and again until something is so. Gives what was told then."""
    return WebDriverWait(None, PATIENCE, PAUSE).until(lambda _: is_so(), "it does not come to be so")


class Page:
    """One browser with the page in it."""

    def __init__(self, test, dark=False, phone=False, language="en-US", arguments=()):
        options = webdriver.ChromeOptions()
        options.binary_location = "/usr/bin/chromium"
        for argument in ("headless=new", "disable-gpu", "disable-dev-shm-usage", "window-size=1300,1000", *arguments):
            options.add_argument(f"--{argument}")
        options.add_argument(f"--user-data-dir={test.folder / f'browser{id(self)}'}")
        # Of what the kernel has for it, containers often let nobody use anything; the page is our own.
        options.add_argument("--no-sandbox")
        options.add_experimental_option("prefs", {"intl.accept_languages": language})
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        # Of a studio's server with a certificate that the test has made.
        options.accept_insecure_certs = True
        self.driver = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
        test.addCleanup(self.driver.quit)
        self.driver.set_script_timeout(PATIENCE)
        if phone:
            self.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", PHONE)
            self.driver.execute_cdp_cmd("Emulation.setTouchEmulationEnabled", {"enabled": True, "maxTouchPoints": 2})
        scheme = {"name": "prefers-color-scheme", "value": "dark" if dark else "light"}
        self.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": [scheme]})

    def open(self, address):
        self.driver.get(address)

    def run(self, script, *arguments):
        return self.driver.execute_script(script, *arguments)

    def run_module(self, script):
        """Runs the body of an asynchronous function in the page; gives what it returns."""
        return self.driver.execute_async_script(
            "const done = arguments[0];"
            f"(async () => {{ {script} }})().then(done, (error) => done('trouble: ' + error));"
        )

    def find(self, selector):
        """The element, once it is there."""
        return wait_until(lambda: (self.all(selector) or [None])[0])

    def all(self, selector):
        return self.driver.find_elements(By.CSS_SELECTOR, selector)

    def text(self, selector):
        """What is written in an element, empty where it is not there; seen or not."""
        return self.run("return document.querySelector(arguments[0])?.textContent ?? ''", selector)

    def wait_for_text(self, selector, text):
        try:
            wait_until(lambda: text in self.text(selector))
        except TimeoutException as error:
            raise AssertionError(f"'{text}' does not come; {selector} says '{self.text(selector)}'") from error

    def click(self, selector):
        def is_clicked():
            element = self.find(selector)
            try:
                # By the middle of the window: what sticks to its edges is in nobody's way.
                self.run("arguments[0].scrollIntoView({block: 'center'})", element)
                element.click()
            except StaleElementReferenceException:
                # News came between: another stands there now.
                return False
            return True

        wait_until(is_clicked)

    def press(self, *keys):
        """Presses keys where the keyboard is; a tuple is pressed together."""
        for key in keys:
            chain = ActionChains(self.driver)
            *held, last = key if isinstance(key, tuple) else (key,)
            for each in held:
                chain.key_down(each)
            chain.send_keys(last)
            for each in held:
                chain.key_up(each)
            chain.perform()

    def focused(self):
        """The identifier of the element that the keyboard is at."""
        return self.run("return document.activeElement?.id ?? ''")

    def tab_to(self, element):
        """Goes to the element of this identifier by the keyboard alone."""
        for _ in range(60):
            if self.focused() == element:
                return
            self.press(Keys.TAB)
        raise AssertionError(f"the keyboard does not come to {element}")

    def notices(self):
        """What was told, troubles with a mark before them."""
        script = """return [...document.querySelectorAll('.notice')].map((notice) =>
            (notice.classList.contains('trouble') ? '! ' : '') + notice.querySelector('span').textContent)"""
        return self.run(script)

    def counts(self):
        """How many frames of each state the sheet tells of."""
        script = """return Object.fromEntries([...document.querySelectorAll('#counts .mark[data-state]')].map(
            (mark) => [mark.dataset.state, parseInt(mark.textContent.replace(/[,.]/g, '').trim())]))"""
        return self.run(script)

    def wait_for_counts(self, **counts):
        wanted = {state.replace("_", "-"): count for state, count in counts.items()}
        try:
            wait_until(lambda: self.counts() == wanted)
        except TimeoutException as error:
            raise AssertionError(f"the sheet tells {self.counts()}, not {wanted}") from error

    def cursor(self):
        """The number of the frame at the cursor."""
        return int(self.find(".cursor-text").get_attribute("data-frame"))

    def spot(self, place):
        """Where the cell of a place is, from the middle of the sheet, as far as all cells fit in."""
        script = """const { layOut, cellOf } = await import('/sheet-layout.js');
            const box = document.querySelector('#sheet').getBoundingClientRect();
            const canvas = document.querySelector('.sheet-canvas').getBoundingClientRect();
            const count = parseInt(document.querySelector('#counts').textContent.replace(/[,.]/g, ''));
            const layout = layOut(Math.round(canvas.width), Math.round(canvas.height), 0, count);
            const cell = cellOf(layout, PLACE);
            return [(cell % layout.columns + 0.5) * layout.width - box.width / 2 + (canvas.left - box.left),
                    (Math.floor(cell / layout.columns) + 0.5) * layout.height - box.height / 2 + (canvas.top - box.top)]"""
        x, y = self.run_module(script.replace("PLACE", str(place)))
        return round(x), round(y)

    def point(self, place):
        """Moves the pointer to the cell of a place; gives the chain to go on with."""
        sheet = self.find("#sheet")
        self.run("arguments[0].scrollIntoView({block: 'center'})", sheet)
        chain = ActionChains(self.driver).move_to_element_with_offset(sheet, *self.spot(place))
        chain.perform()
        return ActionChains(self.driver)

    def complaints(self):
        """What the browser complains of: refused by the page's own policy, errors of its scripts."""
        return [
            entry["message"]
            for entry in self.driver.get_log("browser")
            if "Content Security Policy" in entry["message"] or entry["source"] == "javascript"
        ]

    def keep_picture(self, name):
        ARTEFACTS.mkdir(parents=True, exist_ok=True)
        self.driver.save_screenshot(str(ARTEFACTS / f"{name}.png"))


class PageCases(FarmTest):
    """What tests of pages have at hand."""

    COUNT = 12
    SIZE = 3000

    def make_job(self):
        """Sets `job` and `pattern`."""
        self.pattern = self.folder / "frames" / "f.%04d.raw"
        self.job = self.submit(
            f'head -c {self.SIZE} /dev/zero > "$2"; echo "frame $1 is written"',
            *("--range", f"1-{self.COUNT}", "--format", self.pattern, "--name", "frames"),
        )
        self.corvan("wait", self.job)

    def frame(self, number):
        return pathlib.Path(str(self.pattern) % number)

    def damage(self):
        """Leaves frame 3 missing, 6 too small and 9 unlike its neighbours."""
        self.frame(3).unlink()
        self.frame(6).write_bytes(b"x" * 100)
        self.frame(9).write_bytes(b"x" * (self.SIZE * 4 // 10))

    def start_web(self, *arguments):
        """Starts a personal one; sets `link`, which is good once, and `origin`."""
        self.start_server(*arguments)
        told = {}
        while "token" not in told:
            line = self.web.stdout.readline()
            assert line, f"corvan-web has ended: {(self.folder / 'web.txt').read_text()}"
            name, _, value = line.strip().partition(": ")
            told[name] = value
        self.link = told["link"]
        self.token = told["token"]
        self.origin = self.link.partition("/?")[0].partition("/#")[0]

    def start_server(self, *arguments, options=""):
        """Sets `web`; `options` are more of an options file."""
        file = self.folder / "web.ini"
        file.write_text(f"[Analysis]\nRefresh = {REFRESH}\n{options}")
        log = open(self.folder / "web.txt", "ab")
        self.addCleanup(log.close)
        self.web = subprocess.Popen(
            [BIN / "corvan-web", "--options", file, *arguments],
            env=self.env,
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=log,
            text=True,
        )
        self.addCleanup(self.stop_web)

    def stop_web(self):
        if self.web.poll() is None:
            self.web.terminate()
        self.web.communicate(timeout=PATIENCE)

    def open_page(self, address="/", **how):
        """A browser that the link has let in, at an address of the page."""
        page = Page(self, **how)
        page.open(self.link)
        page.find("#jobs, #job")
        if address != "/":
            page.open(self.origin + address)
        return page

    def open_job(self, more="", **how):
        page = self.open_page(f"/?job={self.job}{more}", **how)
        page.find("#counts .mark")
        return page

    def jobs(self):
        """All jobs of the Master, the latest first."""
        return json.loads(self.corvan("list", "--json"))


class PageTest(PageCases):
    """Gives each test a Master with a job whose frames are there, a corvan-web, and pages."""

    def setUp(self):
        super().setUp()
        self.start_master()
        self.make_job()
        self.start_web()
