"""The check of include directions: it accepts a small tree of rooms, and reports each planted include that points
upwards, with its file and line, and nothing else."""
import pathlib
import subprocess
import sys

import pytest

CHECK = pathlib.Path(__file__).resolve().parents[2] / "scripts" / "check_includes.py"

# A tree in which every direction holds: files, and what they include.
SOUND = """Source/platform/clock.h
Source/position/board.h                vector
Source/search/search.h                 position/board.h frontend/base/settings.h
Source/frontend/base/settings.h        platform/clock.h
Source/frontend/console.h              search/search.h
Source/frontend/startup.cpp            training/train/train.h
Source/training/random.h
Source/training/train/train.h          training/random.h frontend/console.h
Source/training/tune/fit.h             training/random.h
Tests/shared.h
Tests/position/board_fixture.h         position/board.h shared.h
Tests/search/search_test.cpp           position/board_fixture.h search/search.h
Tests/platform/output_test.cpp         frontend/base/settings.h
Tests/training/train/train_test.cpp    training/train/train.h search/search.h"""


@pytest.mark.parametrize("name, line, is_wrong", [
    ("Tests/shared.h", "", False),
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
    ("Tests/position/board_fixture.h", '#include "frontend/base/settings.h"', False),
    ("Tests/position/position_test.cpp", '#include "board_fixture.h"', False),
    ("Tests/platform/output_test.cpp", '#include "position/board.h"', True),
    ("Tests/platform/output_test.cpp", '#include "position/board_fixture.h"', True),
    ("Tests/search/search_test.cpp", '#include "no_such_file.h"', True),
    ("Tests/training/train/train_test.cpp", '#include "training/tune/fit.h"', True),
    ("Tests/shared.h", '#include "position/board_fixture.h"', True),
])
def test_check_reports_what_points_upwards(tmp_path, name, line, is_wrong):
    tree = {file: "".join(f'#include "{other}"\n' for other in others) for file, *others in map(str.split, SOUND.split("\n"))}
    before = tree.get(name, "")
    for file, text in {**tree, name: before + line + "\n"}.items():
        (tmp_path / file).parent.mkdir(parents=True, exist_ok=True)
        (tmp_path / file).write_text(text.replace('"vector"', "<vector>"))
    done = subprocess.run([sys.executable, CHECK, tmp_path / "Source"], capture_output=True, text=True)
    place = f"{tmp_path}/{name}:{before.count(chr(10)) + 1}:"
    reported = [text for text in done.stdout.splitlines() if text.startswith(str(tmp_path))]
    assert len(reported) == is_wrong and all(text.startswith(place) for text in reported)
    assert done.returncode == is_wrong and not done.stderr
