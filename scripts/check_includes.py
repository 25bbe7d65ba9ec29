#!/usr/bin/env python3
"""Checks that each room of Source/ includes only the rooms below it, the engine's whole dependency order.

Usage: check_includes.py [SOURCE_FOLDER]. Prints every offending line as file:line: text; exit status 1 if there is one.
"""
import pathlib
import re
import sys

# The rooms that a room may include besides itself. `base` is settings.h and output.h of the front end, which
# every room may use: plain values and one printing function.
BELOW = {
    "platform": [],
    "base": ["platform"],
    "position": ["platform", "base"],
    "eval": ["platform", "base", "position"],
    "syzygy": ["platform", "base", "position"],
    "book": ["platform", "base", "position"],
    "search": ["platform", "base", "position", "eval", "syzygy", "book"],
    "tools": ["platform", "base", "position", "eval", "syzygy", "book", "search", "frontend"],
    "frontend": ["platform", "base", "position", "eval", "syzygy", "book", "search", "tools"],
}
BASE_FILES = {"settings.h", "settings.cpp", "output.h", "output.cpp"}
INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"]+)"')


def room_of(path):
    """Room of a path relative to Source/, or None if it lies in none."""
    parts = pathlib.PurePosixPath(path).parts
    if parts[0] == "frontend" and parts[-1] in BASE_FILES:
        return "base"
    return parts[0] if parts[0] in BELOW and len(parts) > 1 else None


def faults(source):
    for file in sorted(source.rglob("*")):
        if file.suffix not in (".h", ".cpp", ".S"):
            continue
        room = room_of(file.relative_to(source).as_posix())
        if room is None:
            yield f"{file}:1: lies in no room of {source}"
            continue
        for number, line in enumerate(file.read_text(encoding="utf-8").splitlines(), 1):
            found = INCLUDE.match(line)
            if not found:
                continue
            target = room_of(found.group(1))
            if target is None or not (source / found.group(1)).is_file():
                yield f"{file}:{number}: {line.strip()}  (not a path from {source.name}/)"
            elif target != room and target not in BELOW[room]:
                yield f"{file}:{number}: {line.strip()}  ({room} may not include {target})"


def main():
    source = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else pathlib.Path(__file__).parent.parent / "Source")
    found = list(faults(source))
    for fault in found:
        print(fault)
    if not found:
        print("include directions hold")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
