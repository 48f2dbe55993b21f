"""What every renderer of the corpus does alike: what it has rendered is kept by what it was rendered from."""

import hashlib
import os
import pathlib

from corpus import commands
from corpus.folders import made_whole
from corpus.trouble import Trouble

# Of one run of a renderer, for each frame; the slowest shot takes a tenth of that.
SECONDS_A_FRAME = 20


class Renderer:
    """`folder` is where renders are kept, `scenes` that of the scenes, `length` the frames of a shot. Who renders
    has a PROGRAM, a NAME for people and the SUFFIXES of what its scenes are written in, and gives `frames` and
    `is_shared`: whether all of its scenes need the file of this name."""

    def __init__(self, folder, scenes, length):
        self.folder = pathlib.Path(folder)
        # Read once: a run takes long, and what is rendered late is to be what its key says.
        self.sources = {path.name: path.read_bytes() for path in sorted(pathlib.Path(scenes).iterdir())
                        if path.suffix in self.SUFFIXES}
        self.length = length
        self.program = commands.need(self.PROGRAM)
        self.version = self._ask_version()

    def source(self, shot):
        """What the shot's scene is written in, by file name."""
        return {name: source for name, source in self.sources.items()
                if self.is_shared(name) or pathlib.Path(name).stem == shot.scene}

    def _ask_version(self):
        done = commands.run([self.program, "--version"], 60)
        names = [line for line in (done.output + done.errors).splitlines() if line.startswith(f"{self.NAME} ")]
        if not names:
            raise Trouble(f"{self.program} does not say which version it is")
        return names[0].strip()

    def _kept(self, shot, told, count, files, words):
        """The pictures that `words` make in a folder that holds `files` (bytes by name), as paths in their order,
        made where they are not there yet. `told` is what they depend on, but for the sources."""
        key = hashlib.sha256(told.encode() + b"".join(self.source(shot).values())).hexdigest()[:16]
        place = self.folder / f"{shot.name}-{key}"
        if not place.exists():
            with made_whole(place) as work:
                for name, data in {**files, **self.source(shot)}.items():
                    (work / name).write_bytes(data)
                self._run(shot, words, count, work)
        found = sorted(place.glob("*.exr"))
        if len(found) != count:
            raise Trouble(f"{place} holds {len(found)} pictures of {count}: remove it")
        return found

    def _run(self, shot, words, count, work):
        # Blender believes PWD and does not ask where it is.
        env = dict(os.environ, HOME=str(work), PWD=str(work))
        done = commands.run([self.program, *words], 60 + SECONDS_A_FRAME * count, folder=work, env=env)
        made = len(list(work.glob("*.exr")))
        if done.status != 0 or made != count:
            raise Trouble(f"{self.NAME} has not rendered {shot.name}: status {done.status}, {made} frames of "
                          f"{count}\n{told_last(done.output + done.errors)}")


def told_last(text, lines=6):
    """The end of what a program has said, without what it wrote over."""
    kept = [line.rpartition("\r")[2].strip() for line in text.splitlines()]
    return "\n".join([line for line in kept if line][-lines:])
