#!/usr/bin/env python3
"""Quick matches between evaluation parameters: a text against itself comes out even, a bad one loses, a climb writes a
text that the engine reads, and a run is repeated by its seed."""
import pathlib
import re

from cases import IS_POSIX_PROGRAM, PROGRAM, ROOT, check, run, run_tests

PROCESSES = ("1", "2") if IS_POSIX_PROGRAM else ("1",)  # Windows has no workers
DUEL = pathlib.Path(PROGRAM).with_name("tarn_duel" + pathlib.Path(PROGRAM).suffix)


def duel(*words, status=0):
    done = run(*words, program=DUEL, timeout=300)
    check(done.status == status, f"{words} ended with {done}")
    return "\n".join(done.lines)


def result(text):
    found = re.search(r"(\d+) games \+(\d+) -(\d+) =(\d+)", text)
    check(found, f"no result in {text!r}")
    games, wins, losses, draws = map(int, found.groups())
    check(wins + losses + draws == games, text)
    return wins, losses, draws


def test_results():
    wins, losses, _ = result(duel("--pairs", "10", "--nodes", "200", "built-in", "built-in"))
    check(wins == losses, "the same player has to lose with one colour what it wins with the other")
    bad = pathlib.Path("bad.txt")
    bad.write_text("start\nmtl_pawn,84,99\nmtl_knight,100,100\nmtl_bishop,100,100\nmtl_rook,100,100\n")
    for first, second, winner in ((bad, "built-in", 1), ("built-in", bad, 0)):
        words = ("--pairs", "10", "--nodes", "200", "--processes", PROCESSES[-1], first, second)
        points = result(duel(*words))
        check(points[winner] >= 15, f"rooks for pawns: {points}")
        check(result(duel(*words)) == points, "the seed names the games")


def test_climb():
    text = duel("--pairs", "6", "--nodes", "100", "--rate", "1", "--climb", "out.txt", "built-in")
    check("wrote out.txt" in text and "PST_K" in text, text)
    built_in = (ROOT / "Source/eval/default_params.txt").read_text()
    params = pathlib.Path("out.txt").read_text()
    check(len(params.split(",")) == len(built_in.split(",")) and params.startswith("start"), "not a whole text")
    check(params.split("PST_P1")[0] == built_in.split("PST_P1")[0], "scalar weights have moved")
    result(duel("--pairs", "2", "--nodes", "100", "out.txt", "built-in"))

    # A climb that hardly moves ends where it began, whatever it tried on the way.
    for processes in PROCESSES:
        text = duel("--pairs", "4", "--nodes", "50", "--rate", "0.0001", "--processes", processes, "--towards", "out.txt",
                    "--climb", "still.txt", "built-in")
        check("out.txt" in text, text)
        check(pathlib.Path("still.txt").read_text() == built_in, f"with {processes} processes the start was lost")


def test_bad_command_lines():
    for words in ((), ("built-in",), ("--pairs", "0", "built-in", "built-in"), ("--what", "1", "built-in", "built-in"),
                  ("no-such-file", "built-in"), ("--towards", "no-such-file", "--climb", "out.txt", "built-in"),
                  ("--towards", "built-in", "built-in", "built-in"),
                  ("--towards", "built-in") * 7 + ("--climb", "out.txt", "built-in"),
                  ("--openings", "no-such-file", "built-in", "built-in")):
        duel(*words, status=1)
    pathlib.Path("uneven.epd").write_text("4k3/8/8/8/8/8/8/QQQQK3 w - -\n")
    duel("--openings", "uneven.epd", "--pairs", "2", "--nodes", "10", "built-in", "built-in", status=1)


if __name__ == "__main__":
    run_tests(globals())
