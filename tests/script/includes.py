#!/usr/bin/env python3
"""Fails when a source file includes a header of a room that stands above its own.

usage: includes.py SOURCE_DIR

The rooms of library/, and the libraries of tools/, are listed below from the lowest to the highest, each with those that it may include.
"""

import pathlib
import re
import sys

MAY_INCLUDE = {
    "library/format": set(),
    "library/evutl": {"library/format"},
    "library/xml": {"library/format", "library/evutl"},
    "library/daq/files": {"library/format", "library/evutl"},
    "library/daq/decode": {"library/format", "library/evutl", "library/xml"},
    "library/daq/writer": {"library/format", "library/evutl", "library/xml"},
    "library/daq/reader": {"library/format", "library/evutl", "library/xml", "library/daq/files", "library/daq/decode"},
    "library/daq/dataset": {"library/format", "library/evutl", "library/xml", "library/daq/files", "library/daq/decode"},
    "tools/shared": {"library/format"},
    "tools/simulator": {"library/format", "library/evutl", "library/xml", "library/daq/writer", "tools/shared"},
    "tools/verify": {"library/format", "library/evutl", "library/xml", "library/daq/files", "library/daq/decode",
                     "tools/shared"},
}

# The rooms of the dataset, from the lowest to the highest: each may include itself and those below it.
DATASET_ROOMS = ["select", "work", "align", "dataset_state", "read", "describe", "follow", "dataset"]


def dataset_floor(path):
    room = re.split(r"[/.]", path)[0]
    return DATASET_ROOMS.index(room) if room in DATASET_ROOMS else None


def room_of(path):
    return max((room for room in MAY_INCLUDE if path.startswith(room + "/")), key=len, default=None)


def main(source_dir):
    root = pathlib.Path(source_dir)
    sources = [p for room in ("library", *MAY_INCLUDE) for p in root.glob(f"{room}/**/*") if p.suffix in (".h", ".cc")]
    sources = sorted(set(sources))
    if len(sources) < 250:
        sys.exit(f"only {len(sources)} source files found below {root}/library")
    by_name = {}
    for path in sources:
        relative = path.relative_to(root).as_posix()
        # As an #include names it: below the folder `include`, `records` or that of the library.
        for start in (room_of(relative) + "/include/", room_of(relative) + "/records/", room_of(relative) + "/"):
            if relative.startswith(start):
                by_name.setdefault(relative[len(start):], []).append(room_of(relative))
                break
    wrong = []
    for path in sources:
        relative = path.relative_to(root).as_posix()
        own = room_of(relative)
        for line in path.read_text().splitlines():
            found = re.match(r'#include "([^"]+)"', line)
            if found and own == "library/daq/dataset":
                floors = (dataset_floor(relative.removeprefix(own + "/")), dataset_floor(found[1]))
                if None not in floors and floors[0] < floors[1]:
                    wrong.append(f"{relative} includes {found[1]}")
            if not found or (path.parent / found[1]).exists():
                continue
            rooms = by_name.get(found[1], [])
            if own not in rooms and not any(room in MAY_INCLUDE[own] for room in rooms):
                wrong.append(f"{relative} includes {found[1]}" + (f" of {rooms[0]}" if rooms else ", which is nowhere"))
    if wrong:
        sys.exit("\n".join(["includes that run up the house:", *sorted(wrong)]))


main(sys.argv[1])
