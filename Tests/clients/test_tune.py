"""The tuner of the hand-crafted evaluation, which is looked for beside the program, on games of the self-play
generator: it lowers the error, writes a text of the fixed form, is repeated exactly, and writes when it is interrupted."""
import pathlib
import re
import signal
import subprocess

import pytest

from conftest import ROOT

BUILT_IN = (ROOT / "Source/eval/default_params.txt").read_text()
# First given value of each table, and how many follow one another, two to a square: see docs/file-formats.md.
GIVEN = {"PST_P1": (16, 4), "PST_P2": (16, 4), "PST_CP": (16, 4), "PST_DP": (32, 4), "PST_N": (0, 8), "PST_B": (0, 4),
         "PST_R": (0, 4), "PST_Q": (0, 4), "PST_K": (8, 8)}
ROUND = re.compile(r"^ *\d+   (0\.\d+)   0\.\d+$", re.MULTILINE)  # what a round of the fit prints, with the error


# The tuner in a folder with sixty games.
@pytest.fixture
def tuner(program):
    program.beside("tarn_selfplay").run("--output g --hce --nodes 60 --games 60 --seed 3")
    return program.beside("tarn_tune")


def values(text):
    return {line.split(",")[0]: [int(value) for value in line.split(",")[1:]] for line in text.split()}


def test_fit_lowers_the_error_and_keeps_what_is_given(tuner):
    output = tuner.run("g.bin --out out.txt --hold-out 50").output
    first, *errors = map(float, ROUND.findall(output))
    assert len(errors) >= 2 and max(errors) < 0.99 * first and "start position: 28 for the side to move" in output
    text = pathlib.Path("out.txt").read_text()
    before, after = values(BUILT_IN), values(text)
    assert len(text) == len(BUILT_IN) and text.startswith("start\n") and list(before) == list(after)
    for name, numbers in after.items():
        first, count = GIVEN.get(name, (0, len(numbers)))
        assert len(numbers) == len(before[name]) and (numbers != before[name] or name not in GIVEN), name
        assert numbers[first:first + count] == before[name][first:first + count], f"given values of {name} have moved"
    # A fit is repeated, the seed chooses, and one that starts from a text and is held there writes that text.
    for options, is_same in (("--hold-out 50", 1), ("--hold-out 50 --seed 2", 0), ("--params out.txt --prior 1e9", 1)):
        tuner.run("g.bin --out again.txt", options)
        assert (pathlib.Path("again.txt").read_text() == text) == is_same, options


@pytest.mark.posix("signals")
def test_interrupted_fit_is_written(tuner):
    process = subprocess.Popen([*tuner.command, "--out", "out.txt", *["g.bin"] * 15], stdout=subprocess.PIPE, text=True)
    while not process.stdout.readline().startswith("   0 "):
        assert process.poll() is None
    process.send_signal(signal.SIGINT)
    rest = process.communicate(timeout=60)[0]
    assert process.returncode == 0 and "wrote out.txt" in rest and len(ROUND.findall(rest)) == 1, rest
    assert len(pathlib.Path("out.txt").read_text()) == len(BUILT_IN)


def test_bad_arguments_are_refused(program):
    pathlib.Path("empty.bin").write_bytes(b"")
    pathlib.Path("bad.txt").write_text("mtl_pawn,1,1\n")
    tuner = program.beside("tarn_tune")
    tuner.refuses(1, ("", "no records"), ("no_such_file.bin", "no_such_file.bin"), ("empty.bin", "no positions"),
                  ("empty.bin --params bad.txt", "--params"), ("empty.bin --hold-out 51", "--hold-out"))
    assert "--smoothness" in tuner.run("--help").output and not list(pathlib.Path().glob("*tuned*"))
