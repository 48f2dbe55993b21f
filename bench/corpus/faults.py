"""The kinds of faults, and how each is made in one frame of a shot.

A kind is a function of the takes of a shot, a frame and a source of chance. It gives a Fault, or nothing
where it cannot be made in that frame so that somebody could see it: a black tile on black is none.
Lengths are told for pictures 160 wide, and grow with them.
"""

import dataclasses

import numpy

from corpus import pictures

# Of what a fault covers, as much has to look different.
MOST_OF_IT = 0.5
SOME_OF_IT = 0.15
FEW_OF_PICTURE = 0.03
# The fewest pixels that an object which is gone leaves.
FEWEST_PIXELS = 12
# Of a pixel and the eight around it.
MOST_AROUND = 6
# A hole, as a file system leaves it; smaller in files that have few blocks.
BLOCK = 4096
SMALL_BLOCK = 512
# What a file begins with is no place for a single byte: its name, its size, its channels.
HEAD = 512


@dataclasses.dataclass
class Fault:
    """Either `pixels`, or `data`, the bytes of the file (nothing: there is no file). `place` is x, y,
    width and height, where it is in one place; `also` are frames that may be taken for it, too; `what` is
    told in the truth."""

    pixels: object = None
    data: object = None
    place: object = None
    also: tuple = ()
    what: dict = dataclasses.field(default_factory=dict)
    is_hidden: bool = False


class Takes:
    """What faults of a shot are made of: its frames as they were rendered, and as files.

    `without_prop`, `coarse` and `elsewhere` give a picture for a frame, where there is one: the prop gone,
    a quarter of the samples, another shot's frame and its name."""

    def __init__(self, shot, frames, files, without_prop, coarse, elsewhere):
        self.shot = shot
        self.form = pictures.FORMATS[shot.format]
        self.frames = frames
        self.files = files
        self.without_prop = without_prop
        self.coarse = coarse
        self.elsewhere = elsewhere
        self.unit = shot.width / 160

    def frame(self, number):
        return self.frames[number - 1]

    def has(self, number):
        return 1 <= number <= len(self.frames)

    def share_changed(self, number, pixels, place=None):
        """Of the pixels of a place, or of all, how many look other than they should."""
        seen = pictures.changed(self.frame(number), pixels, self.form)
        if place:
            x, y, width, height = place
            seen = seen[y:y + height, x:x + width]
        return float(seen.mean())


def file_missing(takes, number, chance):
    if chance.random() < 0.5:
        return Fault(what={"file": "missing"})
    return Fault(data=b"", what={"file": "empty"})


def file_cut(takes, number, chance):
    data = takes.files[number - 1].read_bytes()
    kept = max(1, min(len(data) - 1, round(len(data) * chance.uniform(0.03, 0.97))))
    return Fault(data=data[:kept], what={"bytes": kept, "of": len(data)})


def file_hole(takes, number, chance):
    data = takes.files[number - 1].read_bytes()
    block = BLOCK if len(data) >= 4 * BLOCK else SMALL_BLOCK
    start = chance.randrange(0, max(1, len(data) // block)) * block
    holed = data[:start] + bytes(len(data[start:start + block])) + data[start + block:]
    if holed == data:
        return None
    return Fault(data=holed, what={"from": start, "bytes": block}, is_hidden=not takes.form.shows_holes)


def byte_flipped(takes, number, chance):
    data = bytearray(takes.files[number - 1].read_bytes())
    if len(data) <= HEAD:
        return None
    at = chance.randrange(HEAD, len(data))
    data[at] ^= chance.randrange(1, 256)
    return Fault(data=bytes(data), what={"at": at}, is_hidden=not takes.form.shows_flips)


def black_tile(takes, number, chance):
    height, width, _ = takes.frame(number).shape
    side = min(height, round(chance.choice((8, 12, 16, 24)) * takes.unit))
    x = chance.randrange(0, width // side) * side
    y = chance.randrange(0, height // side) * side
    return emptied(takes, number, (x, y, side, side))


def black_band(takes, number, chance):
    """Some lines, or all that comes after the last that was rendered."""
    height, width, _ = takes.frame(number).shape
    if chance.random() < 0.5:
        high = min(height - 1, max(1, round(chance.randrange(4, 21) * takes.unit)))
        y = chance.randrange(0, height - high)
    else:
        y = round(height * chance.uniform(0.25, 0.92))
        high = height - y
    return emptied(takes, number, (0, y, width, high))


def emptied(takes, number, place):
    x, y, width, height = place
    pixels = takes.frame(number).copy()
    pixels[y:y + height, x:x + width] = 0
    if takes.share_changed(number, pixels, place) < MOST_OF_IT:
        return None
    return Fault(pixels=pixels, place=place)


def black_frame(takes, number, chance):
    """Nothing at all, or what little is left when the lights are."""
    left = chance.choice((0.0, 1 / 400))
    pixels = takes.frame(number).copy()
    pixels[:, :, :3] *= left
    if takes.share_changed(number, pixels) < SOME_OF_IT:
        return None
    return Fault(pixels=pixels, what={"left": left})


def stale_block(takes, number, chance):
    """A place that shows an earlier frame."""
    height, width, _ = takes.frame(number).shape
    wide, high = (min(round(chance.randrange(12, 41) * takes.unit), most) for most in (width, height))
    x, y = chance.randrange(0, width - wide + 1), chance.randrange(0, height - high + 1)
    ago = chance.randrange(2, 13)
    if not takes.has(number - ago):
        return None
    pixels = takes.frame(number).copy()
    pixels[y:y + high, x:x + wide] = takes.frame(number - ago)[y:y + high, x:x + wide]
    place = (x, y, wide, high)
    if takes.share_changed(number, pixels, place) < SOME_OF_IT:
        return None
    return Fault(pixels=pixels, place=place, what={"from": number - ago})


def frame_of_elsewhere(takes, number, chance):
    found = takes.elsewhere(number)
    if found is None or takes.share_changed(number, found[0]) < SOME_OF_IT:
        return None
    return Fault(pixels=found[0], what={"from": found[1]})


def duplicate(takes, number, chance):
    """Of a neighbour, where the frames around move: nobody could tell it from a hold otherwise. Which of the
    two is the copy cannot be told."""
    source = number + chance.choice((-1, 1))
    around = [other for other in range(number - 2, number + 3) if takes.has(other)]
    if not takes.has(source):
        return None
    for one, other in zip(around, around[1:]):
        if not pictures.changed(takes.frame(one), takes.frame(other), takes.form).any():
            return None
    return Fault(data=takes.files[source - 1].read_bytes(), also=(source,), what={"of": source})


def exposure(takes, number, chance):
    """A third of a stop more, or less."""
    stops = chance.choice((-1, 1)) / 3
    pixels = takes.frame(number).copy()
    pixels[:, :, :3] *= 2 ** stops
    if takes.share_changed(number, pixels) < SOME_OF_IT:
        return None
    return Fault(pixels=pixels, what={"stops": round(stops, 3)})


def few_samples(takes, number, chance):
    pixels = takes.coarse(number)
    if pixels is None or takes.share_changed(number, pixels) < FEW_OF_PICTURE:
        return None
    return Fault(pixels=pixels)


def object_gone(takes, number, chance):
    pixels = takes.without_prop(number)
    if pixels is None:
        return None
    seen = pictures.changed(takes.frame(number), pixels, takes.form)
    if takes.shot.is_path_traced:
        seen = among_others(seen)
    if seen.sum() < FEWEST_PIXELS * takes.unit ** 2:
        return None
    return Fault(pixels=pixels, place=box_of(seen))


def among_others(seen):
    """What of a map is set and has more set than not around it."""
    rows, columns = seen.shape
    padded = numpy.pad(seen.astype(int), 1)
    around = sum(padded[y:y + rows, x:x + columns] for y in range(3) for x in range(3))
    return seen & (around >= MOST_AROUND)


def box_of(seen):
    """Around all pixels of a map that are set."""
    rows, columns = numpy.nonzero(seen)
    x, y = int(columns.min()), int(rows.min())
    return x, y, int(columns.max()) - x + 1, int(rows.max()) - y + 1


def fireflies(takes, number, chance):
    """Single pixels: as bright as the format has it, or far above their surroundings."""
    pixels = takes.frame(number).copy()
    before = pixels.copy()
    where = []
    for _ in range(chance.randrange(3, 25)):
        x, y = any_pixel(pixels, chance)
        level = float(before[y, x, :3].max())
        if not takes.form.is_linear and level > 0.35:
            continue
        bright = max(level, 0.2) * chance.uniform(8, 60) if takes.form.is_linear else 1.0
        pixels[y, x, :3] = bright
        where.append([x, y])
    if len(where) < 3:
        return None
    return Fault(pixels=pixels, what={"pixels": where})


def not_a_number(takes, number, chance):
    if not takes.form.is_linear:
        return None
    pixels = takes.frame(number).copy()
    where = []
    for _ in range(chance.randrange(1, 13)):
        x, y = any_pixel(pixels, chance)
        pixels[y, x, chance.randrange(0, 3)] = chance.choice((numpy.nan, numpy.inf))
        where.append([x, y])
    return Fault(pixels=pixels, what={"pixels": where})


def negative(takes, number, chance):
    if not takes.form.is_linear:
        return None
    pixels = takes.frame(number).copy()
    where = []
    for _ in range(chance.randrange(1, 31)):
        x, y = any_pixel(pixels, chance)
        pixels[y, x, chance.randrange(0, 3)] = -chance.uniform(0.05, 1)
        where.append([x, y])
    return Fault(pixels=pixels, what={"pixels": where})


def any_pixel(pixels, chance):
    return chance.randrange(0, pixels.shape[1]), chance.randrange(0, pixels.shape[0])


# In the order of the page: name, title there, what makes it.
KINDS = {
    "missing": ("file missing or empty", file_missing),
    "cut": ("file cut", file_cut),
    "hole": ("hole of zeros in the file", file_hole),
    "flip": ("byte flipped", byte_flipped),
    "black-tile": ("black tile", black_tile),
    "black-band": ("black band, or the rest missing", black_band),
    "black": ("black frame", black_frame),
    "stale-block": ("stale block", stale_block),
    "elsewhere": ("frame of elsewhere", frame_of_elsewhere),
    "duplicate": ("duplicate", duplicate),
    "exposure": ("exposure by a third of a stop", exposure),
    "samples": ("a quarter of the samples", few_samples),
    "gone": ("object gone", object_gone),
    "fireflies": ("fireflies", fireflies),
    "nan": ("not a number, infinite", not_a_number),
    "negative": ("negative values", negative),
}
HIDDEN = " where the format hides it"
