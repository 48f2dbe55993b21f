"""Has POV-Ray render frames of a shot."""

import numpy

from corpus import pictures
from corpus.renderer import Renderer

# Rays along each side of a pixel where a shot is noisy: a quarter of them is one ray.
FINE = ["+A0.0", "+AM1", "+R2", "-J"]
COARSE = ["-A"]
# Elsewhere edges are smoothed where it takes it.
SMOOTH = ["+A0.2", "+AM1", "+R2", "-J"]
FARTHEST = 64


class PovRay(Renderer):
    PROGRAM = "povray"
    NAME = "POV-Ray"
    SUFFIXES = (".pov", ".inc")

    @staticmethod
    def is_shared(name):
        return name.endswith(".inc")

    def frames(self, shot, numbers, size, has_depth, is_gone, is_coarse):
        quality = (COARSE if is_coarse else FINE) if shot.is_noisy else SMOOTH
        seen = self._render(shot, numbers, size, quality, {"Gone": int(is_gone)})
        if not has_depth:
            return seen
        # A mean of two distances is the distance of nothing, so each pixel is one ray.
        depths = self._render(shot, numbers, size, COARSE, {"Gone": int(is_gone), "Depth": 1})
        return [numpy.dstack([colours, distance(depth)]) for colours, depth in zip(seen, depths)]

    def _render(self, shot, numbers, size, quality, more):
        scene = self._scene(shot, numbers, more)
        options = [*quality, f"+W{size[0]}", f"+H{size[1]}"]
        words = ["+Ishot.pov", "+Oframe.exr", "+FE", *options, "+WT1", "-D", "-V", "-GD", "-GR", "-GS", "+KFI1",
                 f"+KFF{len(numbers)}"]
        files = self._kept(shot, "\n".join([self.version, *options, scene]), len(numbers),
                           {"shot.pov": scene.encode()}, words)
        return [pictures.read(file)[:, :, :3] for file in files]

    def _scene(self, shot, numbers, more):
        values = {"Length": self.length, "Farthest": FARTHEST, **dict(shot.parameters), **more}
        lines = [f"#declare {name} = {value};" for name, value in values.items()]
        frames = ", ".join(str(number) for number in numbers)
        return "\n".join([
            "#version 3.7;", *lines, f"#declare Frames = array[{len(numbers)}] {{ {frames} }}",
            f'#include "{shot.scene}.pov"', "",
        ])


def distance(depth):
    near = depth[:, :, 0]
    return numpy.where(near > 0, near * FARTHEST, pictures.NOTHING_THERE).astype(numpy.float32)
