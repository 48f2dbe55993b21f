"""Renders frames of a shot, each half by its renderer."""

import pathlib

from corpus.blender import Blender
from corpus.povray import PovRay

# By the suffix of a half's scenes.
RENDERERS = {".pov": PovRay, ".py": Blender}


class Renders:
    """`folder` is where renders are kept, `scenes` that of the scenes, `length` the frames of a shot. Only what
    renders one of `chosen`, shots, has to be there. Raises Trouble where it is not."""

    def __init__(self, folder, scenes, length, chosen):
        self.length = length
        self.renderers = {suffix: RENDERERS[suffix](pathlib.Path(folder), scenes, length)
                          for suffix in dict.fromkeys(shot.scene_suffix for shot in chosen)}

    @property
    def versions(self):
        return [renderer.version for renderer in self.renderers.values()]

    def version(self, shot):
        return self.renderers[shot.scene_suffix].version

    def source(self, shot):
        """What the shot's scene is written in, by file name."""
        return self.renderers[shot.scene_suffix].source(shot)

    def frames(self, shot, numbers, size=None, has_depth=None, is_gone=False, is_coarse=False):
        """Pictures of these frames, in their order. `is_gone`: without the prop of the scene; `is_coarse`:
        with a quarter of the samples. `size` and `has_depth` are those of the shot where they are not
        said. Raises Trouble where the renderer fails."""
        return self.renderers[shot.scene_suffix].frames(
            shot, numbers, size or (shot.width, shot.height), shot.has_depth if has_depth is None else has_depth,
            is_gone, is_coarse)
