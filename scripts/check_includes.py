#!/usr/bin/env python3
"""Checks that each room of Source/ includes only the rooms below it, and that the tests of a room include only that
room, the rooms below it and the test headers of these.

Usage: check_includes.py [SOURCE_FOLDER [TESTS_FOLDER]]; TESTS_FOLDER is Tests beside SOURCE_FOLDER. Prints every
offending line as file:line: text; exit status 1 if there is one.
"""
import pathlib
import re
import sys

# The rooms that a room may include besides itself. BASE holds the settings record and the line printer, plain values and
# one printing function, which every room above platform may use.
BASE = ["platform", "frontend/base"]
ENGINE = BASE + ["position", "eval", "syzygy", "book", "search", "tools", "frontend"]
BELOW = {
    "platform": [],
    "frontend/base": ["platform"],
    "position": BASE,
    "eval": BASE + ["position"],
    "syzygy": BASE + ["position"],
    "book": BASE + ["position"],
    "search": BASE + ["position", "eval", "syzygy", "book"],
    "tools": BASE + ["position", "eval", "syzygy", "book", "search"],
    "frontend": BASE + ["position", "eval", "syzygy", "book", "search", "tools"],
    # The laboratory: it may use all of the engine, its programs do not know of each other, and nothing includes it.
    "training": ENGINE,
    "training/selfplay": ENGINE + ["training"],
    "training/train": ENGINE + ["training"],
    "training/tune": ENGINE + ["training"],
}
# The call of the training variant.
EXCEPTIONS = {("frontend/startup.cpp", "training/train/train.h")}
# Folders of Tests/ that test more than a room of their name.
TEST_ROOMS = {"platform": "frontend/base", "fuzz": "frontend"}
INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"]+)"')


def room_of(path):
    """Room of a path relative to Source/, or None if it lies in none."""
    parts = pathlib.PurePosixPath(path).parts
    for room in ("/".join(parts[:2]), parts[0]):
        if room in BELOW and len(parts) > room.count("/") + 1:
            return room
    return None


def includes(folder):
    """Files of the folder by their path from it, with the number, text and path of each include."""
    for file in sorted(folder.rglob("*")):
        if file.suffix in (".h", ".cpp", ".S"):
            lines = file.read_text(encoding="utf-8").splitlines()
            found = [(number, line.strip(), INCLUDE.match(line)) for number, line in enumerate(lines, 1)]
            yield file, file.relative_to(folder).as_posix(), [(n, line, m.group(1)) for n, line, m in found if m]


def may_include(room, target):
    return target == room or target in BELOW[room]


def source_faults(source):
    for file, path, lines in includes(source):
        room = room_of(path)
        if room is None:
            yield f"{file}:1: lies in no room of {source}"
            continue
        for number, line, included in lines:
            target = room_of(included)
            if target is None or not (source / included).is_file():
                yield f"{file}:{number}: {line}  (not a path from {source.name}/)"
            elif not may_include(room, target) and (path, included) not in EXCEPTIONS:
                yield f"{file}:{number}: {line}  ({room} may not include {target})"


def test_room(path):
    """Room that a file of Tests/ tests; None for a header that all tests share."""
    room = room_of(path)
    return TEST_ROOMS.get(room or pathlib.PurePosixPath(path).parts[0], room)


def test_faults(source, tests):
    for file, path, lines in includes(tests):
        room = test_room(path)
        for number, line, included in lines:
            # As the compiler looks: beside the file, then from Tests/, then from Source/.
            beside = (pathlib.PurePosixPath(path).parent / included).as_posix()
            known = next((name for name in (beside, included) if (tests / name).is_file()), None)
            target = test_room(known) if known else room_of(included)
            if known is None and not (source / included).is_file():
                yield f"{file}:{number}: {line}  (not a path from {tests.name}/ or {source.name}/)"
            elif target and not (room and may_include(room, target)):
                yield f"{file}:{number}: {line}  (tests of {room or 'all rooms'} may not include {target})"


def main():
    source = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else pathlib.Path(__file__).parent.parent / "Source")
    tests = pathlib.Path(sys.argv[2] if len(sys.argv) > 2 else source.parent / "Tests")
    if not source.is_dir() or not tests.is_dir():
        sys.exit(__doc__)
    found = list(source_faults(source)) + list(test_faults(source, tests))
    for fault in found:
        print(fault)
    if not found:
        print("include directions hold")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
