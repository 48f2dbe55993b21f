"""Has POV-Ray render frames of a shot. What was rendered is kept by what it was rendered from."""

import hashlib
import os
import pathlib

import numpy

from corpus import commands, pictures
from corpus.folders import made_whole
from corpus.trouble import Trouble

# Of one run of the renderer, for each frame; the slowest shot takes a tenth of that.
SECONDS_A_FRAME = 20
# Rays along each side of a pixel where a shot is noisy: a quarter of them is one ray.
FINE = ["+A0.0", "+AM1", "+R2", "-J"]
COARSE = ["-A"]
# Elsewhere edges are smoothed where it takes it.
SMOOTH = ["+A0.2", "+AM1", "+R2", "-J"]
FARTHEST = 64


class Renders:
    """`folder` is where renders are kept, `scenes` that of the scenes, `length` the frames of a shot."""

    def __init__(self, folder, scenes, length):
        self.folder = pathlib.Path(folder)
        # Read once: a run takes long, and what is rendered late is to be what its key says.
        self.sources = {path.name: path.read_bytes() for path in sorted(pathlib.Path(scenes).iterdir())
                        if path.suffix in (".pov", ".inc")}
        self.length = length
        self.program = commands.need("povray")
        self.version = version_of(self.program)

    def source(self, shot):
        """What the shot's scene is written in, by file name."""
        return {name: source for name, source in self.sources.items()
                if name.endswith(".inc") or name == f"{shot.scene}.pov"}

    def frames(self, shot, numbers, size=None, has_depth=None, is_gone=False, is_coarse=False):
        """Pictures of these frames, in their order. `is_gone`: without the prop of the scene; `is_coarse`:
        with a quarter of the samples. `size` and `has_depth` are those of the shot where they are not
        said. Raises Trouble where the renderer fails."""
        quality = (COARSE if is_coarse else FINE) if shot.is_noisy else SMOOTH
        size = size or (shot.width, shot.height)
        seen = self._render(shot, numbers, size, quality, {"Gone": int(is_gone)})
        if not (shot.has_depth if has_depth is None else has_depth):
            return seen
        # A mean of two distances is the distance of nothing, so each pixel is one ray.
        depths = self._render(shot, numbers, size, COARSE, {"Gone": int(is_gone), "Depth": 1})
        return [numpy.dstack([colours, self._distance(depth)]) for colours, depth in zip(seen, depths)]

    @staticmethod
    def _distance(depth):
        near = depth[:, :, 0]
        return numpy.where(near > 0, near * FARTHEST, pictures.NOTHING_THERE).astype(numpy.float32)

    def _render(self, shot, numbers, size, quality, more):
        scene = self._scene(shot, numbers, more)
        options = [*quality, f"+W{size[0]}", f"+H{size[1]}"]
        told = "\n".join([self.version, *options, scene]).encode() + b"".join(self.source(shot).values())
        place = self.folder / f"{shot.name}-{hashlib.sha256(told).hexdigest()[:16]}"
        if not place.exists():
            self._run(shot, scene, options, len(numbers), place)
        files = sorted(place.glob("*.exr"))
        if len(files) != len(numbers):
            raise Trouble(f"{place} holds {len(files)} pictures of {len(numbers)}: remove it")
        return [pictures.read(file)[:, :, :3] for file in files]

    def _scene(self, shot, numbers, more):
        values = {"Length": self.length, "Farthest": FARTHEST, **dict(shot.parameters), **more}
        lines = [f"#declare {name} = {value};" for name, value in values.items()]
        frames = ", ".join(str(number) for number in numbers)
        return "\n".join([
            "#version 3.7;", *lines, f"#declare Frames = array[{len(numbers)}] {{ {frames} }}",
            f'#include "{shot.scene}.pov"', "",
        ])

    def _run(self, shot, scene, options, count, place):
        with made_whole(place) as work:
            (work / "shot.pov").write_text(scene)
            for name, source in self.source(shot).items():
                (work / name).write_bytes(source)
            done = commands.run(
                [self.program, "+Ishot.pov", "+Oframe.exr", "+FE", *options, "+WT1",
                 "-D", "-V", "-GD", "-GR", "-GS", "+KFI1", f"+KFF{count}"],
                60 + SECONDS_A_FRAME * count, folder=work, env=dict(os.environ, HOME=str(work)),
            )
            made = len(list(work.glob("*.exr")))
            if done.status != 0 or made != count:
                raise Trouble(f"POV-Ray has not rendered {shot.name}: status {done.status}, {made} frames of "
                              f"{count}\n{told_last(done.errors)}")


def version_of(program):
    done = commands.run([program, "--version"], 60)
    names = [line for line in (done.output + done.errors).splitlines() if line.startswith("POV-Ray ")]
    if not names:
        raise Trouble(f"{program} does not say which version it is")
    return names[0].strip()


def told_last(text, lines=6):
    """The end of what a program has said, without what it wrote over."""
    kept = [line.rpartition("\r")[2].strip() for line in text.splitlines()]
    return "\n".join([line for line in kept if line][-lines:])
