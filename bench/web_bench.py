#!/usr/bin/env python3
"""What a corvan-web of many pages costs, with a real Master and frames that are there:

    bench/web_bench.py build/release/bin [FRAMES]

200 streams of events on one job, and one: looks at files (counted by a preloaded library, one a frame and
pass), processor time, memory. And all frames as JSON, beside `corvan check --json` in the same run.
"""

import http.client
import os
import pathlib
import resource
import statistics
import struct
import subprocess
import sys
import time

import watched
import web_streams

STREAMS = (1, 200)
PASSES = 10
ROUNDS = 11
REFRESH_MS = 500


def lookups(file):
    return struct.unpack("<q", file.read_bytes())[0] if file.exists() else 0


def measure_streams(farm, library, frames):
    print(f"\n### Streams of events on one job of {frames} frames, {PASSES} passes\n")
    print("| streams | passes that each was told of | looks at files, a frame and pass | processor s a pass "
          "| resident MB | most |")
    print("| --- " + "| ---: " * 5 + "|", flush=True)
    for count in STREAMS:
        file = farm.work / f"lookups-{count}"
        with farm.web(REFRESH_MS, preload=library, LOOKUPS_FILE=str(file)) as web:
            with web_streams.Streams(web, farm.submit("beauty", frames), count) as streams:
                streams.wait_for_passes(2)
                before, used = lookups(file), web.processor_s()
                streams.wait_for_passes(PASSES)
                looked, used = lookups(file) - before, web.processor_s() - used
                told = streams.told()
                print(
                    f"| {count} | {told[0]} to {told[1]} | {looked / frames / PASSES:.2f} | {used / PASSES:.3f} "
                    f"| {web.memory_mb('VmRSS'):.0f} | {web.memory_mb('VmHWM'):.0f} |",
                    flush=True,
                )


def check(farm, job):
    """What `corvan check --json` takes: seconds that pass, and of its processor."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    begin = time.monotonic()
    told = subprocess.run(
        [farm.bin / "corvan", "check", "--json", job], env=farm.env, check=True, stdout=subprocess.PIPE
    ).stdout
    passed = time.monotonic() - begin
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return told, passed, after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime


def ask(web, job):
    """The same of the server, which looks at the frames for it."""
    used = web.processor_s()
    begin = time.monotonic()
    connection = http.client.HTTPConnection(web.host, web.port)
    connection.request("GET", f"/api/jobs/{job}/frames", headers={"Authorization": f"Bearer {web.token}"})
    told = connection.getresponse().read()
    passed = time.monotonic() - begin
    connection.close()
    return told, passed, web.processor_s() - used


def measure_frames(farm, frames):
    print(f"\n### All {frames} frames as JSON, s; medians of {ROUNDS} rounds that take turns\n")
    print("| | passes | the first | the last | processor | bytes |")
    print("| --- " + "| ---: " * 5 + "|", flush=True)
    job = farm.submit("beauty", frames)
    # Each answer is of a pass of its own, as each `corvan check` is.
    with farm.web(refresh_ms=1) as web:
        rounds = {"`corvan check --json`": [], "`/api/jobs/ID/frames`": []}
        for _ in range(ROUNDS):
            rounds["`corvan check --json`"].append(check(farm, job))
            rounds["`/api/jobs/ID/frames`"].append(ask(web, job))
    medians = []
    for name, taken in rounds.items():
        passed, used = ([each[what] for each in taken] for what in (1, 2))
        medians.append((statistics.median(passed), statistics.median(used)))
        print(f"| {name} | {medians[-1][0]:.3f} | {passed[0]:.3f} | {passed[-1]:.3f} | {medians[-1][1]:.3f} "
              f"| {len(taken[-1][0])} |")
    ratios = [two / one for one, two in zip(*medians)]
    print(f"| times | {ratios[0]:.2f} | | | {ratios[1]:.2f} | |", flush=True)


def main():
    bin_folder = pathlib.Path(sys.argv[1]).resolve()
    frames = int(sys.argv[2]) if len(sys.argv) > 2 else 100_000
    with watched.farm(bin_folder) as farm:
        farm.make_frames("beauty", frames)
        measure_streams(farm, bin_folder.parent / "bench/libcounted_lookups.so", frames)
        measure_frames(farm, frames)


main()
