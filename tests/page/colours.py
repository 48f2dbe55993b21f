"""Holds that the page has the colours of the window's themes, and that texts can be read on their grounds.

    colours.py SOURCE_FOLDER
"""

import configparser
import pathlib
import re
import sys

# What is text, or a shape that tells something, and the grounds that it stands on.
TEXTS = ("--text", "--text-grey", "--text-red", "--text-orange", "--list-focus")
GROUNDS = ("--window-bg", "--field-bg", "--list-bg")
# WCAG AA, for texts and for what is no text.
TEXT_CONTRAST = 4.5
SHAPE_CONTRAST = 3


def properties(css):
    return dict(re.findall(r"(--[\w-]+): (#[0-9a-f]{6});", css))


def themes_of(css):
    """The custom properties of the light and of the dark theme."""
    light, dark = re.findall(r":root \{(.*?)\}", css, re.DOTALL)[:2]
    return properties(light), properties(dark)


def property_of(name):
    """The property of a colour: that of "ListFocus" is "--list-focus"."""
    return "--" + "-".join(re.findall(r"[A-Z]+(?=[A-Z][a-z])|[A-Z][a-z]+|[A-Z]+", name)).lower()


def luminance(colour):
    parts = [int(colour[i : i + 2], 16) / 255 for i in (1, 3, 5)]
    linear = [p / 12.92 if p <= 0.04045 else ((p + 0.055) / 1.055) ** 2.4 for p in parts]
    return 0.2126 * linear[0] + 0.7152 * linear[1] + 0.0722 * linear[2]


def contrast(one, other):
    low, high = sorted((luminance(one), luminance(other)))
    return (high + 0.05) / (low + 0.05)


def find_wrong(root):
    """Gives a sentence for each thing that is wrong."""
    css = (root / "web" / "page" / "page.css").read_text()
    for name, theme in zip(("Light", "Dark"), themes_of(css)):
        ini = configparser.ConfigParser()
        ini.optionxform = str
        ini.read(root / "share" / "colours" / f"{name}.ini")
        # The window's lighter ground is none of the page's: its small texts need more contrast.
        for key, colour in ini["Colours"].items():
            if key != "WindowBGLighter" and theme.get(property_of(key)) != colour:
                yield f"{name}: {property_of(key)} is {theme.get(property_of(key))}, the window's {key} {colour}"
        wanted = [(text, ground, TEXT_CONTRAST) for text in TEXTS for ground in GROUNDS]
        wanted += [("--text", ground, TEXT_CONTRAST) for ground in ("--list-selection", "--list-highlight")]
        wanted += [("--text-orange", "--list-highlight", TEXT_CONTRAST)]
        wanted += [("--edge", ground, SHAPE_CONTRAST) for ground in ("--window-bg", "--field-bg")]
        wanted += [(shape, "--list-selection", SHAPE_CONTRAST) for shape in TEXTS]
        for text, ground, least in wanted:
            if (told := contrast(theme[text], theme[ground])) < least:
                yield f"{name}: {text} on {ground} has a contrast of {told:.2f}, which is under {least}"


if __name__ == "__main__":
    wrong = list(find_wrong(pathlib.Path(sys.argv[1])))
    print("\n".join(wrong))
    sys.exit(bool(wrong))
