"""One long session at the console: every command, what it prints and what it does to the board.

The session below reads as a terminal shows it, with bars between lines that stand in one line here. What follows "> " is
typed; up to the next one comes all that the program prints. "~" stands for any number, "..." for any lines up to the one
that follows it. "= FEN" is the display of that position, "* MOVE SCORE" the report of a finished search.
"""
import pathlib
import re
import subprocess

import pytest

from conftest import GUIDE, TIMEOUT, count, first_column
from uci_client import EngineSilent

GAMES = """[Event "match"]
[White "Morphy"]
[Black "Allies"]

1.e4 {[%clk 1]} e5 2. Nf3 d6 3. d4 Bg4 {a pin (bad)} 4. dxe5 Bxf3 1-0
"""
# Start position: 1. e4 with weight 3, 1. d4 with weight 1.
BOOK = bytes.fromhex("463b96181691fc9c031c000300000000" "463b96181691fc9c02db000100000000")

SESSION = """
info string Hello from Tarn 7.00 | info string allocated 64 Mbytes for hash table | info string Cleared hash table
info string loaded embedded network | info string et= ~, calibration nps= ~, elo= ~ | = start
> undo | > ] | > trace 3 | > tag Event x | > e2e4 | 1. move e2e4
= rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1
> move e7e5 | 1. move e7e5 | = rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq e6 0 2
> Nf3+! | 2. move Nf3 | = rnbqkbnr/pppp1ppp/8/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R b KQkq - 1 3
> Nf3 | invalid: a1a1 | > move | invalid: a1a1
> undo | = rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq e6 0 2
> [ | = rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1
> ] | 1... move e7e5 | = rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq e6 0 2
> ] | 2. move g1f3 | = rnbqkbnr/pppp1ppp/8/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R b KQkq - 1 3
> jump x | = start | > jump 40 | = rnbqkbnr/pppp1ppp/8/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R b KQkq - 1 3
> jump 2 | = rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq e6 0 2
> undo | = rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1
> perft 2 | visited 600 nodes in ~ seconds, nps= ~
> perft 0 | visited 20 nodes in ~ seconds, nps= ~
> d5 | 1. move d5 | = rnbqkbnr/ppp1pppp/8/3p4/4P3/8/PPPP1PPP/RNBQKBNR w KQkq d6 0 2
> ] | > undo | = rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1
> e7e5 | 1. move e7e5 | = rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq e6 0 2
> Nf3 | 2. move Nf3 | = rnbqkbnr/pppp1ppp/8/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R b KQkq - 1 3
> swap | sq= e5, swap1=  100
> ev | last move was 2. g1f3 | info string fen rnbqkbnr/pppp1ppp/8/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R b KQkq - 1 3
info string clock= ~, target_time= ~ |            white  black      md | pawns:         ~      ~       ~ | ...
nne= ~, hce= ~, qscore= ~, mtl= ~, phase= ~, sf= ~, rule50= 1 | (empty)
> ev2 | HL1wp nodes contributing more than 15 cp | ... | HL1bp nodes contributing more than 15 cp | ... | (empty)
eval= ~, ev_wp= ~, ev_bp= ~, output node= ~ | (empty)
> sp |            white  black      md | ... | mtl_pawn ~ , ~ | ... | King
  ~  ~  ~  ~  ~  ~  ~  ~        ~  ~  ~  ~  ~  ~  ~  ~ | ... | (empty)
> lmr | FP_margins=  140 230 320 410 1500 1500 1500 | SEP_margins=  60 120 180 1500 1500 1500 1500 | NMP_depth= 3
LMR_depth= 3 | LMR table: |  3  0 0 0 0 0 0 0 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 2 2 2 2 2 2 | ...
31  0 1 1 2 2 2 3 3 3 3 3 3 3 3 3 3 3 3 3 3 3 3 3 3 3 3 3 3 3 3 3 3 | (empty) | (empty)
 3  0 1 1 1 1 1 2 2 2 2 2 2 2 2 2 2 2 2 2 2 2 2 2 3 3 3 3 3 3 3 3 3 | ...
31  0 2 2 3 3 3 4 4 4 4 5 5 5 5 5 5 5 5 5 5 5 5 5 5 5 5 5 5 5 5 5 5
> set debug 1 | > Nc6 | 2. move Nc6 | last move was 2... b8c6 | ...
= r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R w KQkq - 2 4
> set debug 0 | > save | > load games.pgn Morphy | loading games.pgn, tag Morphy | (empty) | read 1 games | (empty)
= rn1qkbnr/ppp2ppp/3p4/4P3/4P3/5b2/PPP2PPP/RNBQKB1R w KQkq - 0 8
> load games.pgn Anderssen | loading games.pgn, tag Anderssen | (empty) | read 0 games | (empty)
= rn1qkbnr/ppp2ppp/3p4/4P3/4P3/5b2/PPP2PPP/RNBQKB1R w KQkq - 0 8
> load nothing | loading nothing, tag | (empty) | = rn1qkbnr/ppp2ppp/3p4/4P3/4P3/5b2/PPP2PPP/RNBQKB1R w KQkq - 0 8
> get T1 | 4k3/8/8/8/8/8/4P3/4K3 w - - bm e4; id "T1"; | = 4k3/8/8/8/8/8/4P3/4K3 w - - 0 0
> get T | (empty) | = 4k3/8/8/8/8/8/4P3/4K3 w - - 0 0
> fen 4k3/8/8/8/8/8/8/3K1RR1 w K - | = 4k3/8/8/8/8/8/8/3K1RR1 w - - 0 0
> fen 4k2q/8/8/3p4/4P3/8/8/4K2R w K - 7 20 | = 4k2q/8/8/3p4/4P3/8/8/4K2R w K - 7 0
> swap | sq= h1, swap1=  550 | sq= e4, swap1=  100 | sq= d5, swap1=  100 | sq= h8, swap1= 1060
> reverse | = 4k2r/8/8/4p3/3P4/8/8/4K2Q b - - 0 0
> edit | (empty) | (empty) | .                    end edit | #                    clear board
w  Pa2 Pb2 Kc2       white, pieces | b  Pa7 Pb7 Kc7       black, pieces
> # | > w Ke1 Ra1 Rh1 | > b Ke8 | > . | = 4k3/8/8/8/8/8/8/R3K2R b KQ - 0 0
> edit | (empty) | (empty) | .                    end edit | ... | b  Pa7 Pb7 Kc7       black, pieces
> w Qa9 Pa2 | > x Pb2 | > b Pa1 Qi1 | > w Pe1 Kd1 | > . | = 4k3/8/8/8/8/8/8/p2KP2R w K - 0 0
> fen 7k/5Q2/5K2/8/8/8/8/8 w - - 5 60 | = 7k/5Q2/5K2/8/8/8/8/8 w - - 5 0
> set noise 99999 | > set depth 3 | > self | * f7g7 9998 | = 7k/6Q1/5K2/8/8/8/8/8 b - - 6 1 | * null ~
> fen 7k/5Q2/5K2/8/8/8/8/8 w - - 0 1 | = 7k/5Q2/5K2/8/8/8/8/8 w - - 0 0
> set hash 1 | > pv | PV: | (empty) | = 7k/5Q2/5K2/8/8/8/8/8 w - - 0 0
> fen 7k/p4Q2/5K2/8/8/8/8/8 b - - 0 1 | = 7k/p4Q2/5K2/8/8/8/8/8 b - - 0 0 | > an 3 | * a7a6 -9997
> a6 | 1. move a6 | = 7k/5Q2/p4K2/8/8/8/8/8 w - - 0 1
> Kf5 | 1. move Kf5 | = 7k/5Q2/p7/5K2/8/8/8/8 b - - 1 2 | > undo | = 7k/5Q2/p4K2/8/8/8/8/8 w - - 0 1
> pv | PV: Qg7+ | (empty) | = 7k/6Q1/p4K2/8/8/8/8/8 b - - 1 2
> ] | 1. move f6f5 | = 7k/5Q2/p7/5K2/8/8/8/8 b - - 1 2 | > undo | = 7k/5Q2/p4K2/8/8/8/8/8 w - - 0 1
> bd | = 7k/5Q2/p4K2/8/8/8/8/8 w - - 0 1 | > go 0 | * ~ ~
> set depth 3 | > mv | * f7g7 9998 | = 7k/6Q1/p4K2/8/8/8/8/8 b - - 1 2
> fen 8/8/8/8/8/8/8/8 w - - | = 8/8/8/8/8/8/8/8 w - - 0 0 | > go | illegal position
> perft 2 | illegal position | > ev | illegal position | > mv | illegal position
> self | illegal position | > new | = start
> set noise 0 | > book |   e2e4  cnt=     3, weight= 75.00% -> 75.00% |   d2d4  cnt=     1, weight= 25.00% -> 25.00% | ...
(empty) | (empty)
> set level 40 5:00 0 | set level to 40 moves in 300.00 seconds, inc 0.00
> set level 0 90 1.5 | set level to 0 moves in 90.00 seconds, inc 1.50
> set level 0 1:30 -2 | set level to 0 moves in 90.00 seconds, inc 0.00
> set target_nps 62000 | target_nps set to 62000, Elo= 2999 | > set contempt 20 | contempt set to 20
> set Selectivity 90 | Selectivity set to 90 | > set LMR_depth 99999 | LMR_depth set to 32767
> set ss 0 | selectivity set to OFF | > set ss 1 | set default Settings
> set levels 1 2 3 | > set | > fen 4k3/8/8/8/8/8/4P3/4K3 w - - | = 4k3/8/8/8/8/8/4P3/4K3 w - - 0 0
> help |   new                   start position | ... |   LMR_depth N           depth from which late moves are reduced
> bd | = 4k3/8/8/8/8/8/4P3/4K3 w - - 0 0 | > new | = start
> set noise 99999 | > go | > e2e4 | > help | > new | > . | * ~ ~
> bd | = start | > uci | ... | uciok | > isready | readyok | > quit
"""


def expected_lines():
    """The session line by line, displays and reports written out."""
    for line in re.split(r"\n| \| ", SESSION.strip("\n")):
        if line.startswith("= "):
            fen = line[2:].replace("start", "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 0")
            placement, side = fen.split()[:2]
            rows = re.sub(r"\d", lambda digit: "." * int(digit[0]), placement).replace("p", "o").split("/")
            yield fen
            for rank, row in enumerate(rows):
                yield "  " + " ".join("-+"[(rank + file) % 2] if c == "." else c for file, c in enumerate(row))
            yield from ("white" if side == "w" else "black", "")
        elif line.startswith("* "):
            yield "move= {}, time= ~, score= {}, nodes= ~, nps= ~K ebf= ~".format(*line.split()[1:])
            yield from ("Hash fill= ~%, Hash hits: main= ~%, pawn= ~%, eval= ~%, TB=~K", "")
        else:
            yield line.replace("(empty)", "")


def is_line(line, expected):
    """Whether a line reads as expected: any blanks around "~", a number or, for a move, a word."""
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
        elif expected == "...":
            is_skipping = True
        else:
            line = console.next_line()
            while is_skipping and not is_line(line, expected):
                line = console.next_line()
            is_skipping = False
            assert is_line(line, expected), f"after {typed!r}: {line!r} instead of {expected!r}"
    assert console.finish() == ([], 0)
    assert pathlib.Path("tmp.pgn").read_text() == '[Event "Unknown"]\ne4 e5 Nf3 Nc6 \n\n'


def test_help_lists_what_the_guide_explains(program):
    guide = GUIDE.split("`help` lists the whole language:")[1].split("\n## ")[0]
    shown = program.run("-c", text="help\n").output.split("white\n\n")[1]
    for table, text, others in zip(guide.split("`set` knows:"), shown.split("\nSettings of `set`:\n"), ({"uci"}, set())):
        names = [line.split()[0] for line in text.splitlines()]
        # Of the moves "e2e4" and "Nf3" the list has only the form with "move".
        explained = {name.split()[0] for name in re.findall("`([^`]+)`", first_column(table))} - {"e2e4", "Nf3"}
        assert sorted(names) == sorted(explained | others)
        assert all(re.match(r"  \S.{20} \S", line) and len(line) <= 100 for line in text.splitlines())


def test_long_counts_end_when_asked(program):
    """Perft would take years. What came together with it waits for its end instead."""
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
