"""What is measured: each method is given the frames of a shot and says which of them are bad.

A method answers for each copy with {frame: state}, the frames that it accuses, in its own words.
"""

import dataclasses
import json
import os
import pathlib
import re
import sys
import tempfile
import time

from corpus import commands
from corpus.trouble import Trouble

SIZE_FLOOR = 500
HALF = 0.5
# For one method and all copies of a shot.
LIMIT_S = 1800
RATE = 24
READER = pathlib.Path(__file__).with_name("open_all.py")


@dataclasses.dataclass
class Answer:
    """`accused` is {copy: {frame: state}}, `unknown` {copy: frames that could not be looked at}."""

    accused: dict
    processor_s: float
    unknown: dict = dataclasses.field(default_factory=dict)


@dataclasses.dataclass(frozen=True)
class Method:
    """`look(damaged, work, bin_folder)` gives an Answer. `option` is one that `corvan check` has to know."""

    title: str
    look: object
    option: str = ""
    program: str = ""


def sizes_of(damaged, copy):
    """Of each frame; nothing where it is not there."""
    sizes = {}
    for frame in range(1, damaged.length + 1):
        path = damaged.path(copy, frame)
        sizes[frame] = path.stat().st_size if path.exists() else None
    return sizes


def by_sizes(judge):
    """A method that is a rule over the sizes of the frames."""
    def look(damaged, work, bin_folder):
        before = time.process_time()
        accused = {copy: judge(sizes_of(damaged, copy)) for copy in damaged.patterns}
        return Answer(accused, time.process_time() - before)
    return look


def exists(sizes):
    accused = {}
    for frame, size in sizes.items():
        if size is None:
            accused[frame] = "missing"
        elif size < SIZE_FLOOR:
            accused[frame] = "too small"
    return accused


def half_from_mean(sizes):
    accused = exists(sizes)
    known = [size for size in sizes.values() if size is not None]
    mean = sum(known) / len(known) if known else 0
    for frame, size in sizes.items():
        if frame not in accused and abs(size - mean) > HALF * mean:
            accused[frame] = "other size"
    return accused


def own_environment(work):
    """Without the settings of who runs it."""
    env = {name: value for name, value in os.environ.items() if not name.startswith(("CORVAN_", "ORDWICK_"))}
    for name in ("CONFIG", "STATE", "DATA", "CACHE"):
        env[f"XDG_{name}_HOME"] = str(work / name.lower())
    return env


def check(*options):
    """`corvan check` with these options, on all copies in one run."""
    def look(damaged, work, bin_folder):
        words = [bin_folder / "corvan", "check", "--json", "--range", f"1-{damaged.length}", *options]
        for pattern in damaged.patterns.values():
            # A percent sign of the folder is none of the pattern.
            words += ["--format", str(pattern.parent).replace("%", "%%") + "/" + pattern.name]
        done = commands.run(words, LIMIT_S, env=own_environment(work))
        if done.status not in (0, 1, 4):
            raise Trouble(f"{' '.join(map(str, words[:2]))} has ended with status {done.status}: {done.errors.strip()}")
        return read_check(done, damaged)
    return look


def read_check(done, damaged):
    try:
        tables = json.loads(done.output)["tables"]
    except (ValueError, KeyError, TypeError) as error:
        raise Trouble(f"corvan check gave no JSON ({error}): {done.errors.strip()}") from error
    if len(tables) != len(damaged.patterns):
        raise Trouble(f"corvan check gave {len(tables)} tables for {len(damaged.patterns)} patterns")
    answer = Answer({}, done.processor_s)
    for copy, table in zip(damaged.patterns, tables):
        rows = {row["frame"]: row for row in table["frames"]}
        if set(rows) != set(range(1, damaged.length + 1)):
            raise Trouble(f"corvan check has other frames in {copy} of {damaged.shot.name} than it was asked for")
        answer.accused[copy] = {frame: row["state"] for frame, row in rows.items() if row["state"] != "ok"}
        answer.unknown[copy] = [frame for frame, row in rows.items() if "not-looked-at" in row]
    return answer


def library_opens(damaged, work, bin_folder):
    """OpenImageIO opens and reads the file, in a process that may die of it."""
    answer = Answer({copy: {} for copy in damaged.patterns}, 0.0)
    left = [(copy, frame) for copy in damaged.patterns for frame in range(1, damaged.length + 1)]
    while left:
        words = [sys.executable, READER, *(damaged.path(copy, frame) for copy, frame in left)]
        done = commands.run(words, LIMIT_S)
        answer.processor_s += done.processor_s
        said = done.output.split()
        # Where it dies of a file that is the system's doing; a status is its own, and no answer.
        if any(word not in ("ok", "bad") for word in said) or len(said) < len(left) and done.status >= 0:
            raise Trouble(f"{READER.name} has ended with status {done.status}: {done.errors.strip()}")
        for (copy, frame), word in zip(left, said):
            if word == "bad":
                answer.accused[copy][frame] = "not read"
        if len(said) < len(left):
            copy, frame = left[len(said)]
            answer.accused[copy][frame] = "crash"
        left = left[len(said) + 1:]
    return answer


def ffmpeg(filters, read):
    """ffmpeg's filters over the frames of each copy that are there. `read(errors)` gives the accused ones by
    their place among those."""
    def look(damaged, work, bin_folder):
        accused, processor_s = {}, 0
        for copy in damaged.patterns:
            with tempfile.TemporaryDirectory(dir=work) as folder:
                frames = linked(damaged, copy, pathlib.Path(folder))
                if not frames:
                    accused[copy] = {}
                    continue
                pattern = f"%04d{damaged.path(copy, 1).suffix}"
                curve = ["-apply_trc", "iec61966_2_1"] if pattern.endswith("exr") else []
                done = commands.run(
                    [commands.need("ffmpeg"), "-nostdin", "-hide_banner", "-nostats", *curve, "-framerate", RATE,
                     "-start_number", 1, "-i", pathlib.Path(folder) / pattern, "-vf", filters, "-f", "null", "-"],
                    LIMIT_S, env=dict(os.environ, AV_LOG_FORCE_NOCOLOR="1"))
                processor_s += done.processor_s
                if done.status != 0:
                    raise Trouble(f"ffmpeg has ended with status {done.status}: {done.errors.strip()[-500:]}")
                accused[copy] = {frames[at]: state for at, state in read(done.errors).items() if at < len(frames)}
        return Answer(accused, processor_s)
    return look


def linked(damaged, copy, folder):
    """Frames that hold anything, numbered without gaps, since ffmpeg ends at the first that is not there.
    Gives their numbers."""
    frames = [frame for frame, size in sizes_of(damaged, copy).items() if size]
    for place, frame in enumerate(frames, 1):
        path = damaged.path(copy, frame)
        (folder / f"{place:04d}{path.suffix}").symlink_to(path.resolve())
    return frames


def read_black(text):
    black = {}
    for start, end in re.findall(r"black_start:(\S+) black_end:(\S+)", text):
        for at in range(round(float(start) * RATE), round(float(end) * RATE)):
            black[at] = "black"
    return black


def read_dropped(text):
    """Frames that came in and did not go on."""
    shown = {"0": set(), "2": set()}
    for which, at in re.findall(r"Parsed_showinfo_(\d) @ \S+ n: *\d+ pts: *\d+ pts_time:(\S+)", text):
        shown[which].add(round(float(at) * RATE))
    return {at: "dropped" for at in shown["0"] - shown["2"]}


METHODS = {
    "exists": Method("exists and size floor", by_sizes(exists)),
    "mean": Method("half from the mean of all sizes", by_sizes(half_from_mean)),
    "neighbours": Method("`check`", check()),
    "robust": Method("`check --rule robust`", check("--rule", "robust"), option="--rule"),
    "decode": Method("`check --decode`", check("--decode")),
    "pictures": Method("`check --pictures`", check("--pictures"), option="--pictures"),
    "pictures-alone": Method("`check --pictures --rule robust --variation 1000`",
                             check("--pictures", "--rule", "robust", "--variation", "1000"), option="--pictures"),
    "negative": Method("`check --pictures --no-negative`", check("--pictures", "--no-negative"),
                       option="--no-negative"),
    "opens": Method("the library opens it", library_opens),
    "blackdetect": Method("`blackdetect`", ffmpeg("blackdetect=d=0.02", read_black), program="ffmpeg"),
    "mpdecimate": Method("`mpdecimate`", ffmpeg("showinfo,mpdecimate,showinfo", read_dropped), program="ffmpeg"),
}


def known_options(bin_folder):
    """What `corvan check --help` tells of. Raises Trouble where the program is not there."""
    return commands.run([bin_folder / "corvan", "check", "--help"], 60).output
