#!/usr/bin/env python3
"""Opening a job of many frames and staying on it: memory and processor time of the real program, with
a real Master. On a display:

    tests/support/with-display bench/opening_bench.py build/release/bin [SIZE]...

Frames are there (in the page cache), half of them, or none.
"""

import pathlib
import sys
import time

import watched

PASSES = 6
# A line of the log may come a second late; the process does nothing until the next pass then.
OPTIONS = "[Analysis]\nRefresh = 3000\n"


def measure(farm, name, which, count):
    start = time.monotonic()
    with farm.window(farm.submit(name, count), OPTIONS) as window:
        window.wait_for_pass(count)
        passed = time.monotonic() - start
        processor = [0.0, window.processor_s()]
        memory = [window.memory_mb("VmRSS")]
        for _ in range(1, PASSES):
            window.wait_for_pass(count)
            processor.append(window.processor_s())
            memory.append(window.memory_mb("VmRSS"))
        most = window.memory_mb("VmHWM")
    took = [after - before for before, after in zip(processor, processor[1:])]
    print(
        f"| {which} | {count} | {passed:.1f} | {took[0]:.2f} | {took[1]:.2f} | {took[-1]:.2f}"
        f" | {memory[0]:.0f} | {memory[-1]:.0f} | {most:.0f} |",
        flush=True,
    )


def main():
    sizes = [int(size) for size in sys.argv[2:]] or [1_000, 100_000, 1_000_000]
    with watched.farm(pathlib.Path(sys.argv[1]).resolve()) as farm:
        farm.make_frames("beauty", max(sizes))
        farm.make_frames("half", max(sizes), missing_every=2)
        print("\n### Opening, and the passes after it; processor time of the window's thread\n")
        print(
            "| frames | size | s until the first pass ended | first, s of processor | second | "
            f"{PASSES}th | resident MB after the first | after the {PASSES}th | most |"
        )
        print("| --- " + "| ---: " * 8 + "|", flush=True)
        for size in sizes:
            for name, which in (("beauty", "all there"), ("half", "half missing"), ("none", "all missing")):
                measure(farm, name, which, size)


main()
