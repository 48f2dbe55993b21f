"""Holds the call trace against the code: each method of the program's own classes opens with

    _CallEntry call("Class::Method", __FILE__, __LINE__);

and a blank line (or the end of its body), with exactly its own name. Methods have their bodies in
source files; a header may define one-line readers, which no trace is worth.

    call_entries.py SOURCE_FOLDER

Prints each method that does not, and ends with status 1 when there is one.
"""

import pathlib
import re
import sys

# All classes of these folders, and some of others: what is a helper there, or a plain record, has
# no entries.
FOLDERS = {
    "app": None,
    "ui": None,
    "dialogs": None,
    "analysis": {"FileTable", "SortFiles", "_FileInfoList"},
}

# A definition begins at the left margin and names its class: "void MainWindow::OnTimer(".
DEFINITION = re.compile(
    r"^(?!.*;)(?:[A-Za-z_][^=(]*?[\s*&])?"
    r"((?:[A-Za-z_]\w*::)+(?:operator(?:\(\)|[^\s\w(]+)|~?[A-Za-z_]\w*))\s*\("
)
NOT_METHODS = ("namespace", "using", "typedef", "struct", "class")


def classes_of(text):
    """Names of the classes that a header or source defines."""
    return set(re.findall(r"^\s*(?:class|struct)\s+(\w+)[^;]*?\n\s*\{", text, re.MULTILINE))


def faults_of(text, classes):
    """Line number and text of each method of these classes that lacks its entry."""
    lines = text.splitlines()
    faults = []
    for index, line in enumerate(lines):
        found = DEFINITION.match(line)
        if not found or line.startswith(NOT_METHODS):
            continue
        name = found.group(1)
        if name.split("::")[0] not in classes:
            continue

        body = next((i for i in range(index, len(lines)) if lines[i].startswith(("{", "}"))), None)
        if body is None or not lines[body].startswith("{"):
            continue
        wanted = f'    _CallEntry call("{name}", __FILE__, __LINE__);'
        after = lines[body + 1 : body + 3]
        if not after or after[0] != wanted:
            faults.append((index + 1, f"{name} does not open with its call entry"))
        elif len(after) < 2 or after[1] not in ("", "}"):
            faults.append((index + 1, f"{name} has no blank line after its call entry"))
    return faults


def check(root):
    """All methods that lack their entry, as texts; and each class of the table that is not there."""
    faults = []
    for folder, wanted in FOLDERS.items():
        files = [f for f in sorted((root / folder).rglob("*")) if f.suffix in (".cpp", ".h")]
        found = set().union(*(classes_of(file.read_text()) for file in files))
        classes = found if wanted is None else wanted
        faults += [f"{folder} has no class {name}" for name in sorted(classes - found)]
        faults += [
            f"{file.relative_to(root)}:{line}: {fault}"
            for file in files
            for line, fault in faults_of(file.read_text(), classes)
        ]
    return faults


if __name__ == "__main__":
    found_faults = check(pathlib.Path(sys.argv[1]))
    print("\n".join(found_faults))
    sys.exit(1 if found_faults else 0)
