#!/usr/bin/env python3
"""The tuner of the hand-crafted evaluation, which is looked for beside the program, on games of the self-play
generator: it lowers the error, writes a text of the fixed form, is repeated exactly, and writes when it is interrupted."""
import pathlib
import re
import signal
import subprocess

from cases import IS_POSIX_PROGRAM, PROGRAM, ROOT, check, needs, run, run_tests

SUFFIX = pathlib.Path(PROGRAM).suffix
TUNE = pathlib.Path(PROGRAM).with_name("tarn_tune" + SUFFIX)
SELFPLAY = pathlib.Path(PROGRAM).with_name("tarn_selfplay" + SUFFIX)
BUILT_IN = (ROOT / "Source/eval/default_params.txt").read_text()
# First given value of each table, and how many follow one another, two to a square: see docs/file-formats.md.
GIVEN = {"PST_P1": (16, 4), "PST_P2": (16, 4), "PST_CP": (16, 4), "PST_DP": (32, 4), "PST_N": (0, 8), "PST_B": (0, 4),
         "PST_R": (0, 4), "PST_Q": (0, 4), "PST_K": (8, 8)}


def tune(words, status=0):
    done = run(*words.split(), program=TUNE, timeout=300)
    check(done.status == status, f"{words} ended with {done}")
    return "\n".join(done.lines), done.errors


def make_games(name, games):
    done = run("--output", name, "--hce", "--nodes", 60, "--games", games, "--seed", 3, program=SELFPLAY, timeout=300)
    check(done.status == 0, f"no games: {done}")


def values(text):
    return {line.split(",")[0]: [int(value) for value in line.split(",")[1:]] for line in text.split()}


def test_fit():
    make_games("g", 60)
    output = tune("g.bin --out out.txt --hold-out 50")[0]
    errors = [float(found) for found in re.findall(r"^ *\d+   (0\.\d+)   0\.\d+$", output, re.M)]
    check(len(errors) >= 3 and max(errors[1:]) < 0.99 * errors[0], f"errors {errors}")
    check("start position: 28 for the side to move" in output, output)

    text = pathlib.Path("out.txt").read_text()
    before, after = values(BUILT_IN), values(text)
    check(len(text) == len(BUILT_IN) and text.startswith("start\n"), f"{len(text)} characters")
    check(list(before) == list(after), "other lines")
    for name, numbers in after.items():
        check(len(numbers) == len(before[name]), f"{name} has {len(numbers)} numbers")
        first, count = GIVEN.get(name, (0, len(numbers)))
        check(numbers[first:first + count] == before[name][first:first + count], f"given values of {name} have moved")
        check(name not in GIVEN or numbers != before[name], f"{name} was not fitted")

    tune("g.bin --out again.txt --hold-out 50")
    tune("g.bin --out other.txt --hold-out 50 --seed 2")
    again, other = (pathlib.Path(name).read_text() for name in ("again.txt", "other.txt"))
    check(text == again and text != other, "the fit is not repeated, or the seed chooses nothing")
    # A fit that starts from a text and is held there writes that text.
    tune("g.bin --params out.txt --out next.txt --prior 1e9")
    check(pathlib.Path("next.txt").read_text() == text, "the prior does not hold the start")


def test_interrupt():
    needs(IS_POSIX_PROGRAM, "a program that takes POSIX signals")
    make_games("g", 20)
    process = subprocess.Popen([TUNE, "--out", "out.txt", *["g.bin"] * 40], stdout=subprocess.PIPE, text=True)
    lines = iter(process.stdout.readline, "")
    check(any(line.startswith("   0 ") for line in lines), "no progress")
    process.send_signal(signal.SIGINT)
    rest = "".join(lines)
    check(process.wait(60) == 0 and "wrote out.txt" in rest, rest)
    check(len(re.findall(r"^ *\d+   0\.\d+   0\.\d+$", rest, re.M)) == 1, f"the fit went on: {rest}")
    check(len(pathlib.Path("out.txt").read_text()) == len(BUILT_IN), "not a whole text")


def test_bad_arguments():
    pathlib.Path("empty.bin").write_bytes(b"")
    pathlib.Path("bad.txt").write_text("mtl_pawn,1,1\n")
    for words, word in (("", "no records"), ("no_such_file.bin", "no_such_file.bin"), ("empty.bin", "no positions"),
                        ("empty.bin --params bad.txt", "--params"), ("empty.bin --what 1", "--what"),
                        ("empty.bin --hold-out 51", "--hold-out"), ("empty.bin --prior", "--prior")):
        errors = tune(words, status=1)[1]
        check(word in errors and errors.count("\n") == 1, f"{words}: {errors!r}")
    check("--smoothness" in tune("--help")[0], "no help")
    check(not list(pathlib.Path().glob("*tuned*")), "a text was written")


if __name__ == "__main__":
    run_tests(globals())
