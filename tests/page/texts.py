"""Holds that each text of the page has its German, that no German is left over, and that both have the
same places for values.

    texts.py SOURCE_FOLDER
"""

import json
import pathlib
import re
import sys

# A text is written out where it is used: t("...").
USED = re.compile(r'\bt\(\s*("(?:[^"\\]|\\.)*")')
NOT_WRITTEN_OUT = re.compile(r"\bt\((?!\s*\"|text,)([^)]{0,40})")
ENTRY = re.compile(r'^    ("(?:[^"\\]|\\.)*"):\s*("(?:[^"\\]|\\.)*"),$', re.MULTILINE)


def texts_used(folder):
    """The texts of all modules, each with the module that has it."""
    return {
        json.loads(text): file.name
        for file in sorted(folder.glob("*.js"))
        for text in USED.findall(file.read_text())
    }


def translations(folder):
    return {json.loads(a): json.loads(b) for a, b in ENTRY.findall((folder / "german.js").read_text())}


def places(text):
    """The names of the values, and how many forms there are for one and for many."""
    return set(re.findall(r"\{(\w+)\}", text)), text.count("|")


def find_wrong(folder):
    """Gives a sentence for each thing that is wrong."""
    used = texts_used(folder)
    german = translations(folder)
    for text, file in used.items():
        if text not in german:
            yield f"{file}: no German for '{text}'"
        elif places(text) != places(german[text]):
            yield f"{file}: other values in the German of '{text}'"
    for text in german.keys() - used.keys():
        yield f"german.js: nobody says '{text}'"
    for file in sorted(folder.glob("*.js")):
        if file.name != "text.js":
            for wild in NOT_WRITTEN_OUT.findall(file.read_text()):
                yield f"{file.name}: a text that is not written out: t({wild}"


if __name__ == "__main__":
    wrong = list(find_wrong(pathlib.Path(sys.argv[1]) / "web" / "page"))
    print("\n".join(wrong))
    sys.exit(bool(wrong))
