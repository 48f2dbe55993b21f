"""Has Blender render frames of a shot, by Cycles, all in one process."""

import json

from corpus import pictures
from corpus.renderer import Renderer

# What the scenes share.
STUDIO = "studio.py"


class Blender(Renderer):
    PROGRAM = "blender"
    NAME = "Blender"
    SUFFIXES = (".py",)

    @staticmethod
    def is_shared(name):
        return name == STUDIO

    def frames(self, shot, numbers, size, has_depth, is_gone, is_coarse):
        values = {name: json.loads(text) for name, text in shot.parameters}
        if is_coarse:
            values["Samples"] //= 4
        values.update(Length=self.length, Frames=list(numbers), Width=size[0], Height=size[1], Gone=int(is_gone),
                      Depth=int(has_depth))
        told = json.dumps(values)
        words = ["-b", "--factory-startup", "-noaudio", "--python-exit-code", "1", "--python", f"{shot.scene}.py", "--",
                 "shot.json"]
        files = self._kept(shot, "\n".join([self.version, told]), len(numbers), {"shot.json": told.encode()}, words)
        return [pictures.read(file)[:, :, :3 + has_depth] for file in files]
