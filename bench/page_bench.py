#!/usr/bin/python3
"""The page of a job of many frames in a real Chromium, on a real corvan-web, Master and frames: how soon
it can be used, what a redraw of the sheet costs, what the tab takes, how soon it tells of a file.

    bench/page_bench.py build/release/bin [usable] [redraw] [memory] [events] [--sizes N...] [--frames FOLDER] [--runs N]

Each is beside its yardstick in the same run: a bare page that loads as many bytes, reads each of them and
draws a canvas; and `corvan check` over the same frames. Debian's own Python: that is where its selenium is.
"""

import argparse
import contextlib
import http.server
import json
import os
import pathlib
import random
import statistics
import subprocess
import sys
import threading
import time

import watched
import web_streams

ROOT = pathlib.Path(__file__).resolve().parents[1]
PARTS = ("usable", "redraw", "memory", "events")
RUNS = {100_000: 30}
FEW_RUNS = 10
TURNS = 400
PANS = 1000
EVENTS = 100
# Of the server in `events`: short, so that many turns do not take the night.
REFRESH_MS = 200
# Nothing but the page asks for a pass meanwhile.
SELDOM_MS = 600_000
BAD_EVERY = 10

# Put into each document before its own scripts. "seen" is when the sheet was on the screen, "usable" when
# it was with the verdict of each frame; milliseconds since the navigation began. "draws" is what scripts
# took of each time that the screen was drawn: what was to be done before, and the wheel and the pointer
# since the last time.
PROBE = """
(() => {
    const bench = (window.bench = { seen: 0, usable: 0, draws: [] });
    const plain = window.requestAnimationFrame.bind(window);
    let spent = 0;
    let drawnAt = -1;
    const timed = (action) => {
        const begin = performance.now();
        action();
        spent += performance.now() - begin;
    };
    window.requestAnimationFrame = (draw) => plain((now) => {
        timed(() => draw(now));
        if (now === drawnAt) bench.draws[bench.draws.length - 1] += spent;
        else bench.draws.push(spent);
        drawnAt = now;
        spent = 0;
    });
    const listen = EventTarget.prototype.addEventListener;
    EventTarget.prototype.addEventListener = function (name, handler, how) {
        const isTimed = (name === "wheel" || name === "pointermove") && typeof handler === "function";
        listen.call(this, name, isTimed ? (event) => timed(() => handler.call(this, event)) : handler, how);
    };
    const painted = (then) => plain(() => {
        const { port1, port2 } = new MessageChannel();
        port1.onmessage = then;
        port2.postMessage(0);
    });
    const look = () => {
        if (/\\d/.test(document.querySelector("#counts")?.textContent) && document.querySelector("#sheet[data-drawn]")) {
            const marks = [...document.querySelectorAll("#counts .mark[data-state]")];
            const isWhole = marks.length && marks.every((mark) => mark.dataset.state !== "unknown");
            const name = isWhole ? "usable" : "seen";
            if (!bench[name]) painted(() => (bench[name] ||= performance.now()));
        }
        if (!bench.usable) plain(look);
    };
    plain(look);
})();
"""

BARE_PAGE = b"""<!doctype html><canvas width="1200" height="500"></canvas><script>
(async () => {
    const bytes = new Uint8Array(await (await fetch("/bytes" + location.search)).arrayBuffer());
    const head = JSON.parse(new TextDecoder().decode(bytes.subarray(0, bytes.indexOf(10))));
    const sums = new Uint32Array(256);
    for (const byte of bytes) ++sums[byte];
    const ink = document.querySelector("canvas").getContext("2d");
    for (let cell = 0; cell < 875; ++cell) ink.fillRect((cell % 35) * 34 + 1, Math.floor(cell / 35) * 20 + 6, 31, 6);
    requestAnimationFrame(() => {
        const { port1, port2 } = new MessageChannel();
        port1.onmessage = () => (window.bench = { usable: performance.now(), head, sums });
        port2.postMessage(0);
    });
})();
</script>"""


class BareServer:
    """Serves the bare page, and as many bytes as are asked for."""

    def __init__(self):
        class Handler(http.server.BaseHTTPRequestHandler):
            protocol_version = "HTTP/1.1"

            def do_GET(self):
                path, _, count = self.path.partition("?")
                body = b'{"count":0}\n' + bytes(int(count)) if path == "/bytes" else BARE_PAGE
                self.send_response(200)
                self.send_header("Content-Type", "text/html" if path == "/" else "application/octet-stream")
                self.send_header("Content-Length", str(len(body)))
                self.end_headers()
                self.wfile.write(body)

            def log_message(self, *words):
                pass

        self.server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        self.origin = f"http://127.0.0.1:{self.server.server_port}"
        threading.Thread(target=self.server.serve_forever, daemon=True).start()

    def close(self):
        self.server.shutdown()
        self.server.server_close()


class Tab:
    """One browser with one tab, as the tests of the page have it."""

    def __init__(self, folder, stack):
        from page import Page

        self.folder = folder
        self.addCleanup = stack.callback
        self.page = Page(self)
        self.driver = self.page.driver
        self.driver.execute_cdp_cmd("Page.addScriptToEvaluateOnNewDocument", {"source": PROBE})
        self.driver.execute_cdp_cmd("Performance.enable", {})

    def enter(self, web):
        self.page.open(web.link)
        self.page.find("#jobs")

    def open(self, address):
        """Gives what the page has noted, once it can be used."""
        from page import wait_until

        self.page.open(address)
        return wait_until(lambda: self.page.run("return window.bench?.usable && window.bench"))

    def metrics(self):
        told = self.driver.execute_cdp_cmd("Performance.getMetrics", {})["metrics"]
        return {each["name"]: each["value"] for each in told}

    def renderer(self):
        """The process of the tab: the largest of the browser's for pages."""
        parents = {}
        for status in pathlib.Path("/proc").glob("[0-9]*/stat"):
            with contextlib.suppress(OSError):
                parents[int(status.parent.name)] = int(status.read_text().rpartition(")")[2].split()[1])
        own = {self.driver.service.process.pid}
        while more := {pid for pid, parent in parents.items() if parent in own} - own:
            own |= more
        renderers = []
        for pid in own:
            with contextlib.suppress(OSError):
                if b"--type=renderer" in pathlib.Path(f"/proc/{pid}/cmdline").read_bytes():
                    renderers.append((watched.memory_mb(pid, "VmRSS"), pid))
        return max(renderers)[1]

    def memory(self):
        """MB that are resident, that are no other process's too, and that scripts' things take."""
        self.driver.execute_cdp_cmd("HeapProfiler.collectGarbage", {})
        pid = self.renderer()
        alone = sum(watched.memory_mb(pid, key, "smaps_rollup") for key in ("Private_Dirty", "Private_Clean"))
        return watched.memory_mb(pid, "VmRSS"), alone, self.metrics()["JSHeapUsedSize"] / 2**20

    def turn_wheel(self, x, y, delta, is_zoom=False):
        """By the browser's own input, as a wheel does; returns once the page has had it."""
        self.driver.execute_cdp_cmd(
            "Input.dispatchMouseEvent",
            {"type": "mouseWheel", "x": x, "y": y, "deltaX": 0, "deltaY": delta,
             "modifiers": 2 if is_zoom else 0},
        )

    def settle(self):
        """Returns once what was asked for is on the screen, and what waits for calm is done."""
        self.driver.execute_async_script(
            "const done = arguments[0]; setTimeout(() => requestAnimationFrame(() => setTimeout(done)), 400);")


def middle_of_sheet(tab):
    """Where the sheet is, once it is where it is seen."""
    return tab.page.run(
        """const sheet = document.querySelector('#sheet');
        sheet.scrollIntoView({ block: 'center' });
        const box = sheet.getBoundingClientRect();
        return [box.left + box.width / 2, box.top + box.height / 2, box.height];"""
    )


def head(title, *columns):
    print(f"\n### {title}\n\n| {' | '.join(columns)} |\n| --- " + "| ---: " * (len(columns) - 1) + "|", flush=True)


def row(*cells):
    print("| " + " | ".join(f"{cell:.2f}" if isinstance(cell, float) else str(cell) for cell in cells) + " |",
          flush=True)


def told(values):
    """First, least, median, most and last."""
    return values[0], min(values), statistics.median(values), max(values), values[-1]


def measure_usable(farm, tab, bare, sizes, runs):
    """Each run is of a job that the server knows nothing of yet; then the same is loaded again."""
    head("From the navigation until the page can be used, s", "what", "frames", "runs", "first", "least", "median",
         "most", "last")
    for size in sizes:
        fresh, seen, again, yardstick, check = [], [], [], [], []
        with farm.web(SELDOM_MS) as web:
            tab.enter(web)
            for run in range(runs or RUNS.get(size, FEW_RUNS)):
                job = farm.submit("beauty", size)
                yardstick.append(tab.open(f"{bare.origin}/?{size}")["usable"] / 1e3)
                begin = time.monotonic()
                subprocess.run([farm.bin / "corvan", "check", job], env=farm.env, stdout=subprocess.DEVNULL)
                check.append(time.monotonic() - begin)
                bench = tab.open(f"{web.origin}/?job={job}")
                fresh.append(bench["usable"] / 1e3)
                seen.append((bench["seen"] or bench["usable"]) / 1e3)
                again.append(tab.open(f"{web.origin}/?job={job}")["usable"] / 1e3)
        row("the sheet is there", size, len(seen), *told(seen))
        row("**with the verdict of each frame**", size, len(fresh), *told(fresh))
        row("loaded again", size, len(again), *told(again))
        row("*yardstick: the bare page*", size, len(yardstick), *told(yardstick))
        row("*yardstick: `corvan check`*", size, len(check), *told(check))
        both = [one + other for one, other in zip(yardstick, check)]
        row("times both yardsticks", size, len(both), *told([one / other for one, other in zip(fresh, both)]))


def turns_of(tab, turn):
    """Milliseconds of each drawing, and of all scripts a turn."""
    tab.page.run("bench.draws = []")
    before = tab.metrics()
    for number in range(TURNS):
        turn(number)
    tab.settle()
    after = tab.metrics()
    draws = tab.page.run("return bench.draws")
    if len(draws) < TURNS // 2:
        sys.exit(f"{len(draws)} drawings in {TURNS} turns: the sheet was not where the wheel turned")
    parts = [1e3 * (after[name] - before[name]) / TURNS for name in ("ScriptDuration", "TaskDuration")]
    return draws, *parts


def measure_redraw(farm, tab, sizes):
    head("Pan and zoom of the sheet by wheel and by drag, ms", "what", "frames", "drawings", "first",
         "median", "95 %", "most", "last", "all scripts a turn", "the whole page a turn")
    for size in sizes:
        with farm.web(SELDOM_MS) as web:
            tab.enter(web)
            tab.open(f"{web.origin}/?job={farm.submit('gaps', size)}")
            x, y, height = middle_of_sheet(tab)

            def zoom(number):
                # In and out again, a little in at the end of it all.
                tab.turn_wheel(x, y, -100 if number % 40 < 20 else 100, is_zoom=True)

            def pan(number):
                tab.turn_wheel(x, y, 100 if number % 100 < 50 else -100)

            def drag(number):
                tab.driver.execute_cdp_cmd(
                    "Input.dispatchMouseEvent",
                    {"type": "mouseMoved", "x": x, "y": y + (height / 3) * (number % 20 / 10 - 1),
                     "button": "middle", "buttons": 4})

            def tell(what, turn):
                draws, scripts, page = turns_of(tab, turn)
                last = sorted(draws)
                row(what, size, len(draws), draws[0], statistics.median(draws), last[int(len(last) * 0.95)],
                    last[-1], draws[-1], scripts, page)

            tell("zoom", zoom)
            for what, wanted in (("many frames a cell", -3), ("a frame a cell", -40)):
                tab.page.run("document.querySelector('#zoom-all').click()")
                for _ in range(-wanted):
                    tab.turn_wheel(x, y, -100, is_zoom=True)
                    if what == "a frame a cell" and tab.page.run("return document.querySelector('#sheet').dataset.each") == "1":
                        break
                tell(f"pan, {what}", pan)
                button = {"x": x, "y": y, "button": "middle", "clickCount": 1}
                tab.driver.execute_cdp_cmd("Input.dispatchMouseEvent", {"type": "mousePressed", **button})
                tell(f"drag, {what}", drag)
                tab.driver.execute_cdp_cmd("Input.dispatchMouseEvent", {"type": "mouseReleased", **button})


def measure_memory(farm, tab, bare, sizes):
    head("The tab, MB", "what", "frames", "resident", "its own", "of scripts")
    for size in sizes:
        tab.open(f"{bare.origin}/?{size}")
        row("*yardstick: the bare page*", size, *tab.memory())
        with farm.web(SELDOM_MS) as web:
            tab.enter(web)
            tab.open(f"{web.origin}/?job={farm.submit('gaps', size)}")
            row("opened", size, *tab.memory())
            x, y, _ = middle_of_sheet(tab)
            for _ in range(5):
                tab.turn_wheel(x, y, -100, is_zoom=True)
            for pans in range(2 * PANS):
                if pans % PANS == 0:
                    row(f"after {pans} pans", size, *tab.memory())
                tab.turn_wheel(x, y, 100 if pans % 100 < 50 else -100)
            row(f"after {2 * PANS} pans", size, *tab.memory())


# The page's own clock, when the count of missing frames has become this.
NOTICE = """
window.noticed = new Promise((resolve) => {
    const wanted = arguments[0];
    const look = () => {
        const text = document.querySelector('#counts .mark[data-state="missing"]')?.textContent ?? "0";
        if (parseInt(text.replace(/[,.]/g, "")) === wanted) return resolve(performance.timeOrigin + performance.now());
        requestAnimationFrame(look);
    };
    look();
});
"""


def measure_events(farm, tab, sizes):
    """A file goes, or comes back, while passes are under way; a bare reader of the same events is the
    yardstick."""
    head("From a file that goes or comes to the page, ms", "frames", "turns", "pause between passes", "a pass",
         "from the file to the page: first", "median", "most", "last", "from the event to the page: first", "median",
         "most", "last")
    draw = random.Random(7)
    for size in sizes:
        with farm.web(REFRESH_MS) as web:
            tab.enter(web)
            job = farm.submit("beauty", size)
            tab.open(f"{web.origin}/?job={job}")
            with web_streams.Streams(web, job, 1) as streams:
                streams.wait_for_passes(1)
                missing = 0
                whole, late = [], []
                for turn in range(EVENTS):
                    # At any time of a pass, and of the pause.
                    time.sleep(draw.random() * (REFRESH_MS / 1e3 + streams.pass_s()))
                    file = farm.frames / f"beauty.{draw.randint(1, size) if turn % 2 == 0 else gone:07d}.exr"
                    missing = 1 - missing
                    tab.page.run(NOTICE, missing)
                    begin = time.time()
                    if missing:
                        file.unlink()
                        gone = int(file.name.split(".")[1])
                    else:
                        with open(file, "wb") as new:
                            new.truncate(1000)
                    seen = tab.page.run_module("return await window.noticed") / 1e3
                    whole.append(1e3 * (seen - begin))
                    late.append(1e3 * (seen - streams.wait_for_change(begin)))
                row(size, EVENTS, REFRESH_MS, 1e3 * streams.pass_s() - REFRESH_MS, whole[0], statistics.median(whole),
                    max(whole), whole[-1], late[0], statistics.median(late), max(late), late[-1])


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("bin", type=pathlib.Path)
    parser.add_argument("parts", nargs="*", choices=[*PARTS, []], help="all of them where none is named")
    parser.add_argument("--frames", type=pathlib.Path, help="a folder to make them in, where they stay for the next time")
    parser.add_argument("--sizes", nargs="+", type=int, default=[100_000, 1_000_000])
    parser.add_argument("--runs", type=int, help="of `usable`, in place of 30 of 100,000 frames and 10 of others")
    chosen = parser.parse_args()
    bin_folder = chosen.bin.resolve()
    parts = chosen.parts or PARTS
    os.environ["ORDWICK_BIN"] = str(bin_folder)
    sys.path.insert(0, str(ROOT / "tests/page"))
    most = max(chosen.sizes)
    with watched.farm(bin_folder) as farm, contextlib.ExitStack() as stack:
        bare = BareServer()
        stack.callback(bare.close)
        if chosen.frames:
            chosen.frames.mkdir(exist_ok=True)
            farm.frames = chosen.frames.resolve()
        for name, users, every in (("beauty", ("usable", "events"), 0), ("gaps", ("redraw", "memory"), BAD_EVERY)):
            # The last but one is among both.
            if set(users) & set(parts) and not (farm.frames / f"{name}.{most - 1:07d}.exr").exists():
                farm.make_frames(name, most, missing_every=every)
        tab = Tab(farm.work, stack)
        if "usable" in parts:
            measure_usable(farm, tab, bare, chosen.sizes, chosen.runs)
        if "redraw" in parts:
            measure_redraw(farm, tab, chosen.sizes)
        if "memory" in parts:
            measure_memory(farm, tab, bare, chosen.sizes)
        if "events" in parts:
            measure_events(farm, tab, chosen.sizes)


main()
