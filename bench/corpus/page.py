"""Puts a table between two marks of a page."""

import os

from corpus.trouble import Trouble

BEGIN = "<!-- what follows is written by bench/verdict -->\n"
END = "<!-- what bench/verdict writes ends here -->\n"


def put(page, text):
    """Leaves the rest of the page as it is. Raises Trouble where the marks are not there."""
    try:
        before = page.read_text(encoding="utf-8")
    except OSError as error:
        raise Trouble(f"{page}: {error.strerror}") from error
    head, begin, rest = before.partition(BEGIN)
    _, end, tail = rest.partition(END)
    if not begin or not end:
        raise Trouble(f"{page} has no place for the table: it has to be between {BEGIN.strip()} and {END.strip()}")
    beside = page.with_name(page.name + ".new")
    beside.write_text(head + begin + "\n" + text + "\n" + end + tail, encoding="utf-8")
    os.replace(beside, page)
