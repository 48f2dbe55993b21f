"""Copies of a shot with faults at known frames, and the truth about them.

A shot becomes a folder: `clean` with its frames as they should be, `copy1`, `copy2` ... with some faults
each, and `truth.jsonl`, a line a fault:

    {"shot": "room-ball", "copy": "copy1", "frame": 17, "fault": "black-tile", "hidden": false,
     "place": [32, 16, 16, 16], "also": [], "changed": 0.018, ...}

`place` is x, y, width and height in pixels, or null where it is everywhere or in single pixels; an object that is
gone may also be missing in what mirrored it, so faintly that nobody sees it elsewhere. `also` are
frames that may be taken for the fault, too; `hidden` says that docs/decode.md knows the format to hide such
a fault; `changed` is the share of the picture that looks different, null where the file itself was damaged.
Frames that are as they should be are links to those of `clean`.
"""

import hashlib
import json
import os
import pathlib
import random

from corpus import faults, pictures
from corpus.folders import made_whole

PER_KIND = 2
# Few of the shots that POV-Ray renders are noisy.
MORE = {"samples": 4}
PER_COPY = 6
# From one fault of a copy to the next: what is beside a fault is judged beside good frames, too. The last
# frame counts as the neighbour of the first, lest there be more faults at both ends than elsewhere.
APART = 3
# Frames that are rendered otherwise for each shot, of which those of a fault are taken.
SPARE = 6
# Where a kind cannot be made in a frame, another place, or another frame, may do.
TRIES_IN_FRAME = 4
# They need frames that were rendered, of which there are few, so they come first.
RENDERED = ("samples", "gone", "elsewhere")
# What copies are made by, as it was when the run began.
SOURCE = b"".join(pathlib.Path(__file__).with_name(name).read_bytes()
                  for name in ("damage.py", "faults.py", "pictures.py"))


class Damaged:
    """A shot's folder. `patterns` gives for "clean" and each copy where its frames are; `truth` is the lines
    of its file."""

    def __init__(self, shot, folder, length):
        self.shot = shot
        self.folder = folder
        self.length = length
        self.truth = [json.loads(line) for line in (folder / "truth.jsonl").read_text().splitlines()]
        extension = pictures.FORMATS[shot.format].extension
        names = sorted((path.name for path in folder.iterdir() if path.is_dir()), key=copy_order)
        self.patterns = {name: folder / name / f"{shot.name}.%04d.{extension}" for name in names}

    def path(self, copy, frame):
        pattern = self.patterns[copy]
        return pattern.parent / (pattern.name % frame)


def copy_order(name):
    return 0 if name == "clean" else int(name.removeprefix("copy"))


def make(shot, others, renders, folder, seed):
    """The shot's folder in `folder`, made where it is not there yet. `others` are the shots that a frame of
    elsewhere may be of. Raises Trouble."""
    name = f"{shot.name}-{key(shot, others, renders, seed)}"
    place = pathlib.Path(folder) / name
    if not place.exists():
        with made_whole(place) as work:
            fill(shot, others, renders, work, random.Random(f"{seed} {shot.name}"))
    return Damaged(shot, place, renders.length)


def key(shot, others, renders, seed):
    told = hashlib.sha256(SOURCE)
    for one in (shot, *others):
        told.update(b"".join(renders.source(one).values()))
    told.update(repr((shot, [other.name for other in others], renders.length, renders.version(shot), seed)).encode())
    return told.hexdigest()[:16]


def fill(shot, others, renders, folder, chance):
    frames = renders.frames(shot, range(1, renders.length + 1))
    form = pictures.FORMATS[shot.format]
    (folder / "clean").mkdir()
    files = [folder / "clean" / f"{shot.name}.{number:04d}.{form.extension}"
             for number in range(1, len(frames) + 1)]
    for file, pixels in zip(files, frames):
        pictures.write(file, pixels, form)
    makers = RenderedOtherwise(shot, others, renders, chance)
    takes = faults.Takes(shot, frames, files, makers.without_prop, makers.coarse, makers.elsewhere)
    lines = []
    for copy, made in enumerate(plan(takes, chance), 1):
        write_copy(takes, folder, f"copy{copy}", made, lines)
    (folder / "truth.jsonl").write_text("".join(json.dumps(line) + "\n" for line in lines))


class RenderedOtherwise:
    """Frames without the prop, with few samples and of other shots; a few of them, since each costs a
    render."""

    def __init__(self, shot, others, renders, chance):
        numbers = sorted(chance.sample(range(1, renders.length + 1), min(SPARE, renders.length)))
        self.gone = dict(zip(numbers, renders.frames(shot, numbers, is_gone=True)))
        self.few = {}
        if shot.is_noisy:
            numbers = sorted(chance.sample(range(1, renders.length + 1), min(SPARE, renders.length)))
            self.few = dict(zip(numbers, renders.frames(shot, numbers, is_coarse=True)))
        self.foreign = {}
        if others:
            other = chance.choice(others)
            numbers = sorted(chance.sample(range(1, renders.length + 1), min(SPARE, renders.length)))
            found = renders.frames(other, numbers, size=(shot.width, shot.height), has_depth=shot.has_depth)
            # In the place of which frame they come has nothing to do with which they are.
            places = sorted(chance.sample(range(1, renders.length + 1), len(numbers)))
            self.foreign = {place: (pixels, f"{other.name} {number}")
                            for place, pixels, number in zip(places, found, numbers)}

    def without_prop(self, number):
        return self.gone.get(number)

    def coarse(self, number):
        return self.few.get(number)

    def elsewhere(self, number):
        return self.foreign.get(number)


def plan(takes, chance):
    """Faults of each copy, by frame: (kind, Fault). A frame has one fault, and each frame is as likely as
    any other."""
    kinds = in_rounds(chance)
    copies = [{} for _ in range(-(-len(kinds) // PER_COPY))]
    taken = {kind: set() for kind in kinds}
    for kind in kinds:
        # Where fewest are, so that those which cannot be made leave no copy empty.
        order = sorted(copies, key=len)
        any(put(takes, kind, made, chance, taken[kind]) for made in order if len(made) < PER_COPY)
    return [made for made in copies if made]


def in_rounds(chance):
    """Each kind as often as there are to be faults of it; the first of all before the second of any, so that
    where frames are few no kind is left out."""
    kinds = []
    for number in range(max(PER_KIND, *MORE.values())):
        wanted = [kind for kind in faults.KINDS if MORE.get(kind, PER_KIND) > number]
        chance.shuffle(wanted)
        kinds += sorted(wanted, key=lambda kind: kind not in RENDERED)
    return kinds


def put(takes, kind, made, chance, taken):
    """Into the copy `made`, at a frame that is none of `taken`, where the shot has had this kind before. Gives
    whether there is one."""
    numbers = list(range(1, len(takes.frames) + 1))
    chance.shuffle(numbers)
    for number in numbers:
        if number in taken or any(distance(number, other, len(numbers)) < APART for other in made):
            continue
        for _ in range(TRIES_IN_FRAME):
            fault = faults.KINDS[kind][1](takes, number, chance)
            if fault is not None:
                made[number] = (kind, fault)
                taken.add(number)
                return True
    return False


def distance(one, other, length):
    return min(abs(one - other), length - abs(one - other))


def write_copy(takes, folder, copy, made, lines):
    (folder / copy).mkdir()
    for number, clean in enumerate(takes.files, 1):
        file = folder / copy / clean.name
        if number not in made:
            os.link(clean, file)
            continue
        kind, fault = made[number]
        if fault.pixels is not None:
            pictures.write(file, fault.pixels, takes.form)
        elif fault.data is not None:
            file.write_bytes(fault.data)
        is_seen = fault.pixels is not None
        lines.append({
            "shot": takes.shot.name, "copy": copy, "frame": number, "fault": kind, "hidden": fault.is_hidden,
            "place": fault.place, "also": fault.also,
            "changed": round(takes.share_changed(number, fault.pixels), 5) if is_seen else None, **fault.what,
        })
