"""Puts the table of a half between its two marks of a page."""

import os

from corpus.trouble import Trouble

# The halves that have one.
HALVES = ("table", "blender")


def marks(half):
    return (f"<!-- what follows is written by bench/verdict --half {half} -->\n",
            f"<!-- what bench/verdict --half {half} writes ends here -->\n")


def put(page, half, text):
    """Leaves the rest of the page as it is. Raises Trouble where the marks are not there."""
    try:
        before = page.read_text(encoding="utf-8")
    except OSError as error:
        raise Trouble(f"{page}: {error.strerror}") from error
    first, last = marks(half)
    head, begin, rest = before.partition(first)
    _, end, tail = rest.partition(last)
    if not begin or not end:
        raise Trouble(f"{page} has no place for the table: it has to be between {first.strip()} and {last.strip()}")
    beside = page.with_name(page.name + ".new")
    beside.write_text(head + begin + "\n" + text + "\n" + end + tail, encoding="utf-8")
    os.replace(beside, page)
