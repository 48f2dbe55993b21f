"""Holds every #include against the table of folders: who may include whom.

    includes.py SOURCE_FOLDER

Prints each line that breaks the table and ends with status 1 when there is one.
"""

import pathlib
import re
import sys

# What a folder may include beside itself. A folder within a folder has a row of its own, and is as
# foreign to it as any other. Folders that are not here (tests, bench, fuzz) may include everything.
TABLE = {
    "ostrel": [],
    "corvan": ["ostrel"],
    "decode": ["ostrel"],
    "analysis": ["corvan", "ostrel"],
    "check": ["analysis", "decode", "corvan", "ostrel"],
    "wxcorvan": ["corvan", "ostrel"],
    "dialogs": ["wxcorvan", "corvan", "ostrel"],
    "ui": ["dialogs", "wxcorvan", "analysis", "corvan", "ostrel"],
    "app": ["ui", "wxcorvan", "analysis", "corvan", "ostrel"],
    "keeper": [],
    "master": ["master/requests", "master/schedule", "master/watch", "master/repair",
               "master/notices", "master/vitals", "master/jobs", "master/audit", "master/loop",
               "master/door", "master/store", "master/run", "master/frames", "corvan", "ostrel"],
    "master/program": ["master", "master/notices", "master/vitals", "master/loop", "master/door",
                       "master/store", "master/run", "master/slurm", "corvan", "ostrel"],
    "master/requests": ["master/jobs", "master/loop", "master/door", "master/store", "master/run",
                        "analysis", "corvan", "ostrel"],
    "master/watch": ["master/schedule", "master/jobs", "master/loop", "master/run", "corvan",
                     "ostrel"],
    "master/schedule": ["master/jobs", "master/loop", "master/store", "master/run", "corvan",
                        "ostrel"],
    "master/repair": ["master/jobs", "master/loop", "master/frames", "check", "analysis", "corvan",
                      "ostrel"],
    "master/notices": ["master/jobs", "master/loop", "master/run", "corvan", "ostrel"],
    "master/vitals": ["master/door", "master/store", "ostrel"],
    "master/jobs": ["master/audit", "master/door", "master/store", "master/run", "corvan",
                    "ostrel"],
    "master/audit": ["master/door", "master/store", "corvan", "ostrel"],
    "master/loop": ["ostrel"],
    "master/door": ["corvan", "ostrel"],
    "master/store": ["corvan", "ostrel"],
    "master/run": ["keeper", "analysis", "corvan", "ostrel"],
    "master/frames": ["master/run", "check", "ostrel"],
    "master/slurm": ["master/run", "keeper", "corvan", "ostrel"],
    "web/door": ["ostrel"],
    "web/pictures": ["web/door", "decode", "ostrel"],
    "web/jobs": ["web/door", "check", "analysis", "decode", "corvan", "ostrel"],
    "web/program": ["web/jobs", "web/pictures", "web/door", "check", "analysis", "decode", "corvan",
                    "ostrel"],
    "cli": ["check", "analysis", "decode", "corvan", "ostrel"],
}

# Single headers that a folder may include beyond its table.
ALSO = {"ui": ["app/Ordwick.h"], "web/pictures": ["web/jobs/FrameFinder.h"]}

# Outside libraries, by the beginning of their headers' names, and the folders that may use them.
OUTSIDE = {
    "wx/": ["wxcorvan", "dialogs", "ui", "app"],
    "grpc": ["corvan", "master/door"],
    "google/protobuf": ["corvan", "master/door"],
    "SQLiteCpp": ["master/store"],
    "sqlite3.h": ["master/store"],
    "CLI/": ["cli"],
    "nlohmann/": ["check", "cli", "master/audit", "master/notices", "master/door", "web/door",
                  "web/pictures", "web/jobs", "web/program"],
    "openssl/": ["master/door", "web/door"],
    "spdlog/": ["ostrel"],
    "SimpleIni.h": ["ostrel"],
    "roaring": ["corvan"],
    "OpenImageIO/": ["decode"],
    "jpeglib.h": ["decode"],
    "tiffio.h": ["decode"],
    "zlib.h": ["decode"],
    "boost/multi_index": ["analysis"],
    "boost/beast/": ["master/door", "web/door"],
    "boost/asio/ssl": ["web/door"],
    "prometheus/": ["master/vitals"],
    "systemd/": ["master/vitals"],
    "pugixml.hpp": ["check"],
    "xxhash.h": ["check", "decode"],
}

INCLUDE = re.compile(r'^\s*#\s*include\s*(["<])([^">]+)[">]')


def folder_of(name):
    """The row of the table that a file belongs to, by its name from the root; the deepest one."""
    folders = [folder for folder in TABLE if name.startswith(folder + "/")]
    return max(folders, key=len, default=name.split("/")[0])


def reason_against(folder, quote, header):
    """Why a file of a folder may not include a header; nothing when it may."""
    if quote == "<":
        for beginning, folders in OUTSIDE.items():
            if header.startswith(beginning) and folder not in folders:
                return f"{folder} may not use {beginning}"
        return None

    if header in ALSO.get(folder, []):
        return None
    if "/" not in header:
        return "headers are included from the root of the project"
    target = folder_of(header)
    if target != folder and target not in TABLE[folder]:
        return f"{folder} may not include {target}"
    return None


def check(root):
    """All lines that break the table, as texts."""
    wrong = []
    for top in sorted({folder.split("/")[0] for folder in TABLE}):
        for file in sorted((root / top).rglob("*")):
            if file.suffix not in (".cpp", ".h"):
                continue
            folder = folder_of(file.relative_to(root).as_posix())
            for number, line in enumerate(file.read_text().splitlines(), 1):
                found = INCLUDE.match(line)
                reason = found and reason_against(folder, *found.groups())
                if reason:
                    wrong.append(f"{file.relative_to(root)}:{number}: {reason}: {line.strip()}")
    return wrong


if __name__ == "__main__":
    faults = check(pathlib.Path(sys.argv[1]))
    print("\n".join(faults))
    sys.exit(1 if faults else 0)
