"""Folders that are there as a whole, or not at all."""

import contextlib
import os
import pathlib
import shutil
import tempfile


@contextlib.contextmanager
def made_whole(place):
    """A folder to fill, which gets its name `place` when all went well, and is gone where not. Who else has made
    the same in the meantime has made it as well."""
    place.parent.mkdir(parents=True, exist_ok=True)
    work = pathlib.Path(tempfile.mkdtemp(prefix=f"{place.name}.", dir=place.parent))
    try:
        yield work
        try:
            os.rename(work, place)
        except OSError:
            if not place.exists():
                raise
    finally:
        shutil.rmtree(work, ignore_errors=True)
