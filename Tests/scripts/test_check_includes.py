"""The check of include directions: it accepts a small tree of rooms, and reports each planted include that points
upwards, with its file and line, and nothing else."""
import pathlib
import subprocess
import sys

import pytest

CHECK = pathlib.Path(__file__).resolve().parents[2] / "scripts" / "check_includes.py"

# A tree in which every direction holds: files, and what they include.
SOUND = {
    "Source/platform/clock.h": [], "Source/position/board.h": [], "Source/search/search.h": ["position/board.h", "frontend/base/settings.h"],
    "Source/frontend/base/settings.h": ["platform/clock.h"], "Source/frontend/console.h": ["search/search.h"],
    "Source/frontend/startup.cpp": ["training/train/train.h"], "Source/training/random.h": [], "Tests/shared.h": [],
    "Source/training/train/train.h": ["training/random.h", "frontend/console.h"],
    "Source/training/tune/fit.h": ["training/random.h"], "Tests/position/board_fixture.h": ["position/board.h", "shared.h"],
    "Tests/search/search_test.cpp": ["position/board_fixture.h", "search/search.h"],
    "Tests/platform/output_test.cpp": ["frontend/base/settings.h"],
    "Tests/fuzz/uci.cpp": ["frontend/console.h", "position/board_fixture.h"],
    "Tests/training/train/train_test.cpp": ["training/train/train.h", "search/search.h"]}
WRONG = [
    ("Source/position/board.h", "search/search.h"), ("Source/platform/clock.h", "frontend/base/settings.h"),
    ("Source/search/search.h", "training/random.h"), ("Source/search/search.h", "board.h"),  # not a path from Source/
    ("Source/frontend/console.h", "training/train/train.h"), ("Source/frontend/startup.cpp", "training/tune/fit.h"),
    ("Source/training/tune/fit.h", "training/train/train.h"), ("Source/training/random.h", "training/train/train.h"),
    ("Source/stray.h", ""), ("Tests/position/board_fixture.h", "search/search.h"), ("Tests/shared.h", "position/board_fixture.h"),
    ("Tests/platform/output_test.cpp", "position/board.h"), ("Tests/platform/output_test.cpp", "position/board_fixture.h"),
    ("Tests/search/search_test.cpp", "no_such_file.h"),
    ("Tests/fuzz/uci.cpp", "training/random.h"), ("Tests/training/train/train_test.cpp", "training/tune/fit.h")]
FINE = [
    ("Tests/shared.h", ""), ("Source/training/tune/fit.h", "search/search.h"), ("Tests/position/position_test.cpp", "board_fixture.h"),
    ("Tests/position/board_fixture.h", "frontend/base/settings.h")]


@pytest.mark.parametrize("name, included", WRONG + FINE)
def test_check_reports_what_points_upwards(tmp_path, name, included):
    before = SOUND.get(name, [])
    for file, others in {**SOUND, name: before + [included]}.items():
        (tmp_path / file).parent.mkdir(parents=True, exist_ok=True)
        lines = [f'#  include "{other}"\n' if other else "#include <vector>\n" for other in others]
        (tmp_path / file).write_text("".join(lines))
    done = subprocess.run([sys.executable, CHECK, tmp_path / "Source"], capture_output=True, text=True)
    reported = [text for text in done.stdout.splitlines() if text.startswith(str(tmp_path))]
    is_wrong, place = (name, included) in WRONG, f"{tmp_path}/{name}:{len(before) + 1}:"
    assert len(reported) == done.returncode == is_wrong and all(text.startswith(place) for text in reported) and not done.stderr
