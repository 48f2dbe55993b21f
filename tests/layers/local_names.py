"""Holds that no two sources of a folder keep the same name to themselves, in nameless namespaces.

    local_names.py SOURCE_FOLDER

The sources of a folder are compiled several at once (cmake/Unity.cmake), where such names would meet.
Prints each that is there twice and ends with status 1 when there is one.
"""

import collections
import pathlib
import re
import sys

# Where each source is a program of its own, and what is built.
LEFT_OUT = ("bench", "build", "fuzz")

BLOCK = re.compile(r"^namespace\n\{\n(.*?)^\} // namespace$", re.MULTILINE | re.DOTALL)

# What the layout puts at the left margin of such a block, and the name that it declares.
DECLARATIONS = [
    re.compile(r"(?:enum class|class|struct|enum) (\w+)"),
    re.compile(r"using (\w+) ="),
    re.compile(r"(?:constexpr|const) [\w:<>,*& ]*?[ *&](\w+)(?:\[\w*\])*(?: =|\{)"),
    re.compile(r"(?!class|struct|enum|using|TEST)[\w:][\w:<>,*& ]*[ *&>](\w+)\("),
]


def names_of(text):
    """The names that a source keeps to itself, each with the line that declares it."""
    names = {}
    for block in BLOCK.findall(text):
        for line in block.splitlines():
            for declaration in DECLARATIONS:
                if found := declaration.match(line):
                    names[found.group(1)] = line
    return names


def find_repeated(root):
    """Gives (name, file, other file) for each name that means two things. A short name that is
    given to the same type twice means one."""
    seen = collections.defaultdict(dict)
    for file in sorted(root.rglob("*.cpp")):
        name = file.relative_to(root)
        if name.parts[0] in LEFT_OUT:
            continue
        for local, line in names_of(file.read_text()).items():
            other, other_line = seen[file.parent].setdefault(local, (name, line))
            if other != name and not (line == other_line and line.startswith("using ")):
                yield local, name, other


if __name__ == "__main__":
    repeated = list(find_repeated(pathlib.Path(sys.argv[1])))
    for local, name, other in repeated:
        print(f"{name}: '{local}' is a name of {other} too; they are compiled together")
    sys.exit(bool(repeated))
