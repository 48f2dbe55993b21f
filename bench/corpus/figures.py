"""Counts what methods have found and whom they have accused, and how sure that is."""

import collections
import dataclasses
import math
import random

from corpus import faults

# Two-sided 95 %.
Z = 1.959963984540054
ROUNDS = 2000
BOOTSTRAP_SEED = 1


def wilson(found, of):
    """Wilson's interval of a share, from 0 to 1; all of it where nothing was tried."""
    if of == 0:
        return 0.0, 1.0
    share = found / of
    middle = (share + Z * Z / (2 * of)) / (1 + Z * Z / of)
    half = Z / (1 + Z * Z / of) * math.sqrt(share * (1 - share) / of + Z * Z / (4 * of * of))
    return max(0.0, middle - half), min(1.0, middle + half)


def by_shots(counts):
    """The interval of a share where shots are drawn and not frames, since frames of one shot say nearly the
    same. `counts` are (found, of) of each shot. Where all shots say the same, drawing them again says nothing:
    then Wilson's, with a shot for a trial."""
    counts = [pair for pair in counts if pair[1] > 0]
    if not counts:
        return 0.0, 1.0
    if len({found / of for found, of in counts}) == 1:
        return wilson(len(counts) * counts[0][0] / counts[0][1], len(counts))
    chance = random.Random(BOOTSTRAP_SEED)
    shares = []
    for _ in range(ROUNDS):
        drawn = chance.choices(counts, k=len(counts))
        shares.append(sum(found for found, _ in drawn) / sum(of for _, of in drawn))
    shares.sort()
    return shares[round(0.025 * (ROUNDS - 1))], shares[round(0.975 * (ROUNDS - 1))]


@dataclasses.dataclass
class Share:
    """(found, of) by shot."""

    counts: dict = dataclasses.field(default_factory=lambda: collections.defaultdict(lambda: [0, 0]))

    def add(self, shot, found, of=1):
        self.counts[shot][0] += found
        self.counts[shot][1] += of

    @property
    def found(self):
        return sum(found for found, _ in self.counts.values())

    @property
    def of(self):
        return sum(of for _, of in self.counts.values())

    def text(self, scale):
        """The share of `scale`, and both intervals: of frames, and of shots."""
        if self.of == 0:
            return ""
        ends = [f"{scale * low:.{digits(scale)}f}-{scale * high:.{digits(scale)}f}"
                for low, high in (wilson(self.found, self.of), by_shots(list(self.counts.values())))]
        return f"{scale * self.found / self.of:.{digits(scale)}f} ({ends[0]}; {ends[1]})"


def digits(scale):
    return 1 if scale > 100 else 0


class Tally:
    """What one method has said of all shots."""

    def __init__(self):
        self.found = {row: Share() for row in rows()}
        # Of frames that are as they should be: in shots without a fault, and beside faults.
        self.accused_clean = Share()
        self.accused_beside = Share()
        self.quiet_shots = Share()
        self.unknown = 0
        self.processor_s = 0.0
        self.frames = 0

    def add(self, damaged, answer):
        shot = damaged.shot.name
        faulty = collections.defaultdict(set)
        for fault in damaged.truth:
            taken = {fault["frame"], *fault["also"]}
            faulty[fault["copy"]] |= taken
            self.found[row_of(fault)].add(shot, int(bool(taken & set(answer.accused[fault["copy"]]))))
        for copy, accused in answer.accused.items():
            good = set(range(1, damaged.length + 1)) - faulty[copy]
            wrongly = len(good & set(accused))
            if copy == "clean":
                self.accused_clean.add(shot, wrongly, len(good))
                self.quiet_shots.add(shot, int(wrongly == 0))
            else:
                self.accused_beside.add(shot, wrongly, len(good))
        self.unknown += sum(len(frames) for frames in answer.unknown.values())
        self.processor_s += answer.processor_s
        self.frames += damaged.length * len(damaged.patterns)


def rows():
    """Rows of the table in their order: what is hidden by its format has one of its own."""
    return [row for kind, (title, _) in faults.KINDS.items()
            for row in ((title, title + faults.HIDDEN) if kind in ("hole", "flip") else (title,))]


def row_of(fault):
    return faults.KINDS[fault["fault"]][0] + (faults.HIDDEN if fault["hidden"] else "")


def table(tallies, titles):
    """Markdown. `tallies` by method; `titles` the heads of their columns."""
    names = list(tallies)
    first = tallies[names[0]]
    lines = [["", "faults (shots)", *(titles[name] for name in names)]]
    lines.append(["---", "---:"] + ["---:"] * len(names))
    for row in rows():
        share = first.found[row]
        if share.of:
            cells = [tallies[name].found[row].text(100) for name in names]
            lines.append([row, f"{share.of} ({len(share.counts)})", *cells])
    for title, pick, scale in (
        ("good frames accused, of 1,000: shots without a fault", lambda tally: tally.accused_clean, 1000),
        ("good frames accused, of 1,000: beside faults", lambda tally: tally.accused_beside, 1000),
        ("shots without a fault and without an accused frame, of 100", lambda tally: tally.quiet_shots, 100),
    ):
        share = pick(first)
        if share.of:
            cells = [pick(tallies[name]).text(scale) for name in names]
            lines.append([title, f"{share.of:,} ({len(share.counts)})", *cells])
    cost = [f"{1000 * tallies[name].processor_s / tallies[name].frames:.2f}" for name in names]
    lines.append(["milliseconds of a processor a frame", f"{first.frames:,}", *cost])
    return "\n".join("| " + " | ".join(line) + " |" for line in lines) + "\n"
