"""One long session at the console: every command, what it prints and what it does to the board."""
import pathlib
import re
import subprocess

import pytest

from conftest import DATA, count
from uci_client import EngineSilent

GAMES = """[White "Berta"]\n\n1. d4 *\n\n[White "Carla"]\n\n1. e4 e5 2. Ke3 Nf6\n
[Event "match"]\n[White "Morphy"]\n[Black "Allies"]\n
1.e4 {[%clk 1]} e5 2. Nf3 d6 3. d4 Bg4 {a pin (bad)} 4. dxe5 Bxf3 1-0\n"""
# Start position: 1. e4 with weight 3, 1. d4 with weight 1.
BOOK = bytes.fromhex("463b96181691fc9c031c000300000000" "463b96181691fc9c02db000100000000")


# The session line by line, displays and reports written out.
def expected_lines():
    for line in (DATA / "console_session.txt").read_text().splitlines()[3:]:
        if line.startswith("= "):
            placement, side = line.split()[1:3]
            rows = re.sub(r"\d", lambda digit: "." * int(digit[0]), placement).replace("p", "o").split("/")
            yield line[2:]
            for rank, row in enumerate(rows):
                yield "  " + " ".join("-+"[(rank + file) % 2] if c == "." else c for file, c in enumerate(row))
            yield from ("white" if side == "w" else "black", "")
        elif line.startswith("* "):
            yield "move= {}, time= ~, score= {}, nodes= ~, nps= ~K ebf= ~".format(*line.split()[1:])
            yield from ("Hash fill= ~%, Hash hits: main= ~%, pawn= ~%, eval= ~%, TB=~K", "")
        else:
            yield line


# Whether a line reads as expected: any blanks around "~", a number or, for a move, a word.
def is_line(line, expected):
    parts = re.sub(r"\s*~", "~", expected).split("~") if "~" in expected else [expected]
    return re.fullmatch(r" *[-+a-z0-9.]+".join(map(re.escape, parts)), line.rstrip())


def test_session(program):
    pathlib.Path("test.epd").write_text('; comment id "T1"\n4k3/8/8/8/8/8/4P3/4K3 w - - bm e4; id "T1";\n', "utf-8-sig")
    pathlib.Path("games.pgn").write_text(GAMES)
    pathlib.Path("small.bin").write_bytes(BOOK)
    console = program.start("-c -book small.bin")
    typed, is_skipping = "(start)", False
    for expected in expected_lines():
        if expected.startswith("> "):
            typed = expected[2:]
            console.send(typed)
        elif expected != "...":
            line = console.next_line()
            while is_skipping and not is_line(line, expected):
                line = console.next_line()
            assert is_line(line, expected), f"after {typed!r}: {line!r} instead of {expected!r}"
        is_skipping = expected == "..."
    assert console.finish() == ([], 0)
    assert pathlib.Path("tmp.pgn").read_text() == '[Event "Unknown"]\ne4 e5 Nf3 Nc6 \n\n'


# Games of the console end there: nothing more is played on the board, and it is not shown.
def test_change_to_uci_during_a_game(program):
    console = program.start("-c")
    console.send("set depth 2", "mv")
    console.wait_for("black")
    console.send("uci", "position startpos", "go depth 2")
    assert console.wait_for("bestmove") and console.ready() == ["readyok"]


# Perft would take years. What came together with it waits for its end instead.
def test_long_counts_end_when_asked(program):
    console = program.start("-c", errors=subprocess.STDOUT)
    console.wait_for("white")
    for word in (".", "quit"):
        console.send("e2e4", "undo", "perft 20")
        console.wait_for("black")
        console.wait_for("white")
        assert console.next_line() == "", "the end of the board"
        with pytest.raises(EngineSilent):
            console.next_line(0.2)
        console.send(word)
        assert console.next_line() == "perft stopped"
    assert console.finish() == ([], 0)
    for text in ("perft 5\n.\nquit\n", "perft 5\nquit", "perft 5\n"):
        found = program.run("-c", text=text)
        assert found.errors == "" and count(found.lines, "visited 4865609 nodes in ") == 1
