#!/usr/bin/env python3
"""The check of include directions: it accepts a small tree of rooms, and reports each planted include that points
upwards, with its file and line, and nothing else."""
import pathlib
import subprocess
import sys
import tempfile

CHECK = pathlib.Path(__file__).resolve().parents[2] / "scripts" / "check_includes.py"

# A tree in which every direction holds.
SOUND = {
    "Source/platform/clock.h": "",
    "Source/position/board.h": '#include <vector>\n',
    "Source/search/search.h": '#include "position/board.h"\n#include "frontend/base/settings.h"\n',
    "Source/frontend/base/settings.h": '#include "platform/clock.h"\n',
    "Source/frontend/console.h": '#include "search/search.h"\n',
    "Source/frontend/startup.cpp": '#include "training/train/train.h"\n',
    "Source/training/random.h": "",
    "Source/training/train/train.h": '#include "training/random.h"\n#include "frontend/console.h"\n',
    "Source/training/tune/fit.h": '#include "training/random.h"\n',
    "Tests/shared.h": "",
    "Tests/position/board_fixture.h": '#include "position/board.h"\n#include "shared.h"\n',
    "Tests/search/search_test.cpp": '#include "position/board_fixture.h"\n#include "search/search.h"\n',
    "Tests/fuzz/uci.cpp": '#include "frontend/console.h"\n#include "position/board_fixture.h"\n',
    "Tests/platform/output_test.cpp": '#include "frontend/base/settings.h"\n',
    "Tests/training/train/train_test.cpp": '#include "training/train/train.h"\n#include "search/search.h"\n',
}

# file, planted line, whether it is to be reported
PLANTED = [
    ("Source/position/board.h", '#include "search/search.h"', True),
    ("Source/platform/clock.h", '#include "frontend/base/settings.h"', True),
    ("Source/search/search.h", '#include "training/random.h"', True),
    ("Source/frontend/console.h", '#include "training/train/train.h"', True),  # startup.cpp alone may
    ("Source/frontend/startup.cpp", '#include "training/tune/fit.h"', True),
    ("Source/training/tune/fit.h", '#include "training/train/train.h"', True),
    ("Source/training/random.h", '#include "training/train/train.h"', True),
    ("Source/search/search.h", '#  include "board.h"', True),  # not a path from Source/
    ("Source/stray.h", "", True),
    ("Source/training/tune/fit.h", '#include "search/search.h"', False),
    ("Tests/position/board_fixture.h", '#include "search/search.h"', True),
    ("Tests/fuzz/uci.cpp", '#include "training/random.h"', True),
    ("Tests/position/board_fixture.h", '#include "frontend/base/settings.h"', False),
    ("Tests/position/position_test.cpp", '#include "board_fixture.h"', False),
    ("Tests/platform/output_test.cpp", '#include "position/board.h"', True),
    ("Tests/platform/output_test.cpp", '#include "position/board_fixture.h"', True),
    ("Tests/search/search_test.cpp", '#include "no_such_file.h"', True),
    ("Tests/training/train/train_test.cpp", '#include "training/tune/fit.h"', True),
    ("Tests/shared.h", '#include "position/board_fixture.h"', True),
]


def reported(tree):
    """The places that the check reports for a tree of files, as FILE:LINE; the status must say whether there are any."""
    with tempfile.TemporaryDirectory() as folder:
        for name, text in tree.items():
            path = pathlib.Path(folder, name)
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text)
        done = subprocess.run([sys.executable, CHECK, f"{folder}/Source"], capture_output=True, text=True, check=False)
        lines = [line for line in done.stdout.splitlines() if line.startswith(folder)]
        assert done.returncode == (1 if lines else 0) and not done.stderr, done
        return [":".join(line[len(folder) + 1:].split(":")[:2]) for line in lines]


def main():
    failed = 0
    for name, line, wrong in [("Tests/shared.h", "", False), *PLANTED]:
        before = SOUND.get(name, "")
        place = f"{name}:{before.count(chr(10)) + 1}"
        found, expected = reported({**SOUND, name: before + line + "\n"}), [place] if wrong else []
        if found != expected:
            failed += 1
            print(f"{name}: {line}: reported {found}, not {expected}")
    print(f"{len(PLANTED) + 1 - failed} passed, {failed} failed")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
