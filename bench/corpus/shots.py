"""The table of shots: share/corpus/shots.txt says what its columns are."""

import dataclasses
import pathlib
import re

from corpus.pictures import FORMATS
from corpus.trouble import Trouble

# Each with what its scenes are written in: POV-Ray's language, or Python for Blender.
HALVES = {"tune": ".pov", "table": ".pov", "blender": ".py"}
PARAMETER = re.compile(r"([A-Z][A-Za-z]*)=(-?\d+(?:\.\d+)?)")


@dataclasses.dataclass(frozen=True)
class Shot:
    """`parameters` are pairs of a name and a number, as texts, in the order of the table."""

    name: str
    half: str
    scene: str
    width: int
    height: int
    format: str
    parameters: tuple

    def parameter(self, name, otherwise=0.0):
        return float(dict(self.parameters).get(name, otherwise))

    @property
    def has_depth(self):
        return "Z" in FORMATS[self.format].channels

    @property
    def is_noisy(self):
        """Where fewer samples make more noise."""
        return self.parameter("Grain") > 0 or self.is_path_traced

    @property
    def is_path_traced(self):
        """Where light comes by chance, so that what is gone changes single pixels far from it, too."""
        return self.parameter("Samples") > 0

    @property
    def scene_suffix(self):
        return HALVES[self.half]


def parse_shot(line):
    """Raises ValueError, which says what is wrong with the line."""
    words = line.split()
    if len(words) < 5:
        raise ValueError("it needs name, half, scene, size and format")
    name, half, scene, size, form, *rest = words
    if half not in HALVES:
        raise ValueError(f"'{half}' is no half: it is one of {', '.join(HALVES)}")
    match = re.fullmatch(r"([1-9]\d*)x([1-9]\d*)", size)
    if not match:
        raise ValueError(f"'{size}' is no size: it is WIDTHxHEIGHT")
    if form not in FORMATS:
        raise ValueError(f"'{form}' is no format: it is one of {', '.join(FORMATS)}")
    parameters = []
    for word in rest:
        parameter = PARAMETER.fullmatch(word)
        if not parameter:
            raise ValueError(f"'{word}' is no parameter: it is Name=NUMBER")
        parameters.append(parameter.groups())
    return Shot(name, half, scene, int(match[1]), int(match[2]), form, tuple(parameters))


def read_shots(folder):
    """All shots of a corpus, in the order of the table. Raises Trouble."""
    file = pathlib.Path(folder) / "shots.txt"
    try:
        lines = file.read_text(encoding="utf-8").splitlines()
    except OSError as error:
        raise Trouble(f"{file}: {error.strerror}") from error
    shots = []
    for number, line in enumerate(lines, 1):
        line = line.partition("#")[0].strip()
        if not line:
            continue
        try:
            shot = parse_shot(line)
        except ValueError as error:
            raise Trouble(f"{file}, line {number}: {error}") from error
        if any(other.name == shot.name for other in shots):
            raise Trouble(f"{file}, line {number}: there is a shot {shot.name} already")
        scene = shot.scene + shot.scene_suffix
        if not (file.parent / scene).exists():
            raise Trouble(f"{file}, line {number}: there is no scene {scene}")
        shots.append(shot)
    if not shots:
        raise Trouble(f"{file} has no shots")
    return shots
