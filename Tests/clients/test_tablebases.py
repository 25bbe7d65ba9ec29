"""Tablebases in play: their files are truncated under a program that uses them."""
import os
import pathlib
import shutil
import tempfile

import pytest

from conftest import DATA, count

POSITIONS = ("8/8/2k4p/8/8/3K4/1P6/8 w - - 0 1", "8/8/8/3k4/8/1P6/3K4/8 w - - 0 1", "8/5k2/8/8/3R4/8/4K3/6b1 w - - 0 1")


# The number of positions whose result the tables give.
def answers(tarn):
    tarn.send("ucinewgame")
    return sum(count(tarn.search(f"position fen {fen}", "go depth 12"), "info string TB result is") for fen in POSITIONS)


@pytest.mark.posix("a system that truncates mapped files, which Windows refuses")
@pytest.mark.parametrize("size", [0, 100])
def test_truncated_tables_leave_the_program_alive(program, size):
    shutil.copytree(DATA / "syzygy", "tables")
    files = sorted(pathlib.Path("tables").glob("*.rtb?"))
    with tempfile.TemporaryFile() as errors:
        tarn = program.start(errors=errors)
        tarn.set(Threads=3, SyzygyPath="tables")
        assert answers(tarn) == len(POSITIONS)
        for file in files:
            os.chmod(file, 0o644)
            os.truncate(file, size)
        assert answers(tarn) == 0 and answers(tarn) == 0
        assert tarn.close() == 0
        errors.seek(0)
        said = errors.read().decode().splitlines()
    truncated = [f"Tablebase file {file.name} was truncated and is no longer used." for file in files]
    assert set(said) <= {"Corrupted table.", *truncated} and all(said.count(line) <= 1 for line in truncated), said
    assert all(any(f" {name}.rtbw " in line for line in said) for name in ("KPvKP", "KPvK", "KRvKB")), said
