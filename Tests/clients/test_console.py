#!/usr/bin/env python3
"""One long session at the console: every command, what it prints and what it does to the board.

Usage: test_console.py PROGRAM.  Ends with a line "N lines as expected"; exit status 1 at the first that differs.
Set TARN_PATIENCE to a factor for slow (instrumented) builds.

The session below reads as a terminal shows it. A line after "> " is typed; the lines up to the next one are what the
program prints, all of it. "~" stands for any number, "..." for any lines up to the one that follows it. Evaluations and
search results are not fixed here, their form is.
"""
import os
import queue
import re
import subprocess
import sys
import tempfile
import threading

from cases import Failure

PROGRAM = os.path.abspath(sys.argv[1])
TIMEOUT = 20 * float(os.environ.get("TARN_PATIENCE", "1"))

FILES = {
    "test.epd": '; comment id "T1"\n4k3/8/8/8/8/8/4P3/4K3 w - - bm e4; id "T1";\n',
    "games.pgn": '[Event "match"]\n[White "Morphy"]\n[Black "Allies"]\n\n'
                 "1.e4 {[%clk 1]} e5 2. Nf3 d6 3. d4 Bg4 {a pin (bad)} 4. dxe5 Bxf3 1-0\n",
}
# Start position: 1. e4 with weight 3, 1. d4 with weight 1.
BOOK = bytes.fromhex("463b96181691fc9c031c000300000000" "463b96181691fc9c02db000100000000")

SESSION = """
info string Hello from Tarn 7.00
info string allocated 64 Mbytes for hash table
info string Cleared hash table
info string loaded embedded network
info string et= ~, calibration nps= ~, elo= ~
rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 0
  r n b q k b n r
  o o o o o o o o
  - + - + - + - +
  + - + - + - + -
  - + - + - + - +
  + - + - + - + -
  P P P P P P P P
  R N B Q K B N R
white

> undo
> ]
> trace 3
> tag Event x
> e2e4
1. move e2e4
rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1
  r n b q k b n r
  o o o o o o o o
  - + - + - + - +
  + - + - + - + -
  - + - + P + - +
  + - + - + - + -
  P P P P - P P P
  R N B Q K B N R
black

> move e7e5
1. move e7e5
rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq e6 0 2
...
white

> Nf3+!
2. move Nf3
rnbqkbnr/pppp1ppp/8/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R b KQkq - 1 3
...
black

> Nf3
invalid: a1a1
> move
invalid: a1a1
> undo
rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq e6 0 2
...
white

> [
rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1
...
black

> ]
1... move e7e5
rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq e6 0 2
...
white

> ]
2. move g1f3
rnbqkbnr/pppp1ppp/8/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R b KQkq - 1 3
...
black

> jump 2
rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq e6 0 2
...
white

> jump 40
rnbqkbnr/pppp1ppp/8/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R b KQkq - 1 3
...
black

> bd
rnbqkbnr/pppp1ppp/8/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R b KQkq - 1 3
...
black

> swap
sq= e5, swap1=  100
> perft 0
visited 29 nodes in ~ seconds, nps= ~
> perft 3
visited 23193 nodes in ~ seconds, nps= ~
> ev
last move was 2. g1f3
info string fen rnbqkbnr/pppp1ppp/8/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R b KQkq - 1 3
info string clock= ~, target_time= ~
           white  black      md
pawns:         ~      ~       ~
...
nne= ~, hce= ~, qscore= ~, mtl= ~, phase= ~, sf= ~, rule50= 1

> ev2
HL1wp nodes contributing more than 15 cp
...
HL1bp nodes contributing more than 15 cp
...

eval= ~, ev_wp= ~, ev_bp= ~, output node= ~

> sp
           white  black      md
...
mtl_pawn ~ , ~
...
King
  ~  ~  ~  ~  ~  ~  ~  ~        ~  ~  ~  ~  ~  ~  ~  ~
...

> lmr
FP_margins= ~ ~ ~ ~ ~ ~ ~
SEP_margins= ~ ~ ~ ~ ~ ~ ~
NMP_depth= 3
LMR_depth= 3
LMR table:
...
31 ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ 


...
31 ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ 
> set debug 1
> Nc6
2. move Nc6
last move was 2... b8c6
info string fen r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R w KQkq - 2 4
...
nne= ~, hce= ~, qscore= ~, mtl= ~, phase= ~, sf= ~, rule50= 2

r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R w KQkq - 2 4
...
white

> set debug 0
> save
> new
rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 0
...
white

> load tmp.pgn Unknown
loading tmp.pgn, tag Unknown

read 1 games

r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R w KQkq - 2 4
...
white

> load games.pgn Morphy
loading games.pgn, tag Morphy

read 1 games

rn1qkbnr/ppp2ppp/3p4/4P3/4P3/5b2/PPP2PPP/RNBQKB1R w KQkq - 0 8
...
white

> load games.pgn Anderssen
loading games.pgn, tag Anderssen

read 0 games

rn1qkbnr/ppp2ppp/3p4/4P3/4P3/5b2/PPP2PPP/RNBQKB1R w KQkq - 0 8
...
white

> load nothing
loading nothing, tag 

rn1qkbnr/ppp2ppp/3p4/4P3/4P3/5b2/PPP2PPP/RNBQKB1R w KQkq - 0 8
...
white

> get T1
4k3/8/8/8/8/8/4P3/4K3 w - - bm e4; id "T1";
4k3/8/8/8/8/8/4P3/4K3 w - - 0 0
...
white

> get T2

4k3/8/8/8/8/8/4P3/4K3 w - - 0 0
...
white

> reverse
4k3/4p3/8/8/8/8/8/4K3 b - - 0 0
...
black

> edit


.                    end edit
#                    clear board
w  Pa2 Pb2 Kc2       white, pieces
b  Pa7 Pb7 Kc7       black, pieces
> #
> w Ke1 Ra1 Rh1
> b Ke8
> .
4k3/8/8/8/8/8/8/R3K2R b KQ - 0 0
  - + - + k + - +
  + - + - + - + -
  - + - + - + - +
  + - + - + - + -
  - + - + - + - +
  + - + - + - + -
  - + - + - + - +
  R - + - K - + R
black

> fen 7k/5Q2/5K2/8/8/8/8/8 w - - 5 60
7k/5Q2/5K2/8/8/8/8/8 w - - 5 0
...
white

> set noise 99999
> set depth 3
> self
move= f7g7, time= ~, score= 9998, nodes= ~, nps= ~K ebf= ~
Hash fill= ~%, Hash hits: main= ~%, pawn= ~%, eval= ~%, TB=~K

7k/6Q1/5K2/8/8/8/8/8 b - - 6 1
...
black

move= null, time= ~, score= ~, nodes= ~, nps= ~K ebf= ~
Hash fill= ~%, Hash hits: main= ~%, pawn= ~%, eval= ~%, TB=~K

> fen 7k/5Q2/5K2/8/8/8/8/8 w - - 0 1
7k/5Q2/5K2/8/8/8/8/8 w - - 0 0
...
white

> set hash 1
> pv
PV: 

7k/5Q2/5K2/8/8/8/8/8 w - - 0 0
...
white

> fen 7k/p4Q2/5K2/8/8/8/8/8 b - - 0 1
7k/p4Q2/5K2/8/8/8/8/8 b - - 0 0
...
black

> an 3
move= a7a6, time= ~, score= -9997, nodes= ~, nps= ~K ebf= ~
Hash fill= ~%, Hash hits: main= ~%, pawn= ~%, eval= ~%, TB=~K

> a6
1. move a6
7k/5Q2/p4K2/8/8/8/8/8 w - - 0 1
...
white

> pv
PV: Qg7+

7k/6Q1/p4K2/8/8/8/8/8 b - - 1 2
...
black

> bd
7k/5Q2/p4K2/8/8/8/8/8 w - - 0 1
...
white

> go 0
move= ~, time= ~, score= ~, nodes= 0, nps= 0K ebf= 2.00
Hash fill= ~%, Hash hits: main= ~%, pawn= ~%, eval= ~%, TB=~K

> set depth 3
> mv
move= f7g7, time= ~, score= 9998, nodes= ~, nps= ~K ebf= ~
Hash fill= ~%, Hash hits: main= ~%, pawn= ~%, eval= ~%, TB=~K

7k/6Q1/p4K2/8/8/8/8/8 b - - 1 2
...
black

> fen 8/8/8/8/8/8/8/8 w - -
8/8/8/8/8/8/8/8 w - - 0 0
...
white

> go
illegal position
> perft 2
illegal position
> ev
illegal position
> new
rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 0
...
white

> book


> set noise 0
> book
  e2e4  cnt=     3, weight= 75.00% -> 75.00%
  d2d4  cnt=     1, weight= 25.00% -> 25.00%
...


> set level 40 5:00 0
set level to 40 moves in 300.00 seconds, inc 0.00
> set level 0 90 1.5
set level to 0 moves in 90.00 seconds, inc 1.50
> set nodes 5000
> set multipv 2
> set frc 1
> set target_nps 62000
target_nps set to 62000, Elo= 2999
> set contempt 20
contempt set to 20
> set ponder 0
ponder set to 0
> set Selectivity 90
Selectivity set to 90
> set NMP_depth 4
NMP_depth set to 4
> set SEP_depth 2
SEP_depth set to 2
> set FP_depth 3
FP_depth set to 3
> set LMP_depth 5
LMP_depth set to 5
> set LMR_depth 4
LMR_depth set to 4
> set ss 0
selectivity set to OFF
> set ss 1
set default Settings
> set nothing 1
> set
> set noise 99999
> go
> e2e4
> new
> .
move= ~, time= ~, score= ~, nodes= ~, nps= ~K ebf= ~
Hash fill= ~%, Hash hits: main= ~%, pawn= ~%, eval= ~%, TB=~K

> bd
rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 0
...
white

> uci
...
uciok
> isready
readyok
> quit
"""


def pattern(line):
    """The regular expression of an expected line: any blanks around "~", a number or, for a move, a word."""
    number = r" *[-+a-z0-9.]+"
    text = re.sub(r"\s*~", "~", line) if "~" in line else line
    return re.compile(number.join(re.escape(part) for part in text.split("~")) + r"\Z")


class Terminal:
    def __init__(self, folder):
        self.process = subprocess.Popen([PROGRAM, "-c", "-book", "small.bin"], stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, cwd=folder)
        self.lines = queue.Queue()
        threading.Thread(target=self._read, daemon=True).start()

    def _read(self):
        for line in self.process.stdout:
            self.lines.put(line.decode("latin-1").rstrip("\n"))
        self.lines.put(None)

    def type(self, line):
        self.process.stdin.write(line.encode() + b"\n")
        self.process.stdin.flush()

    def read(self):
        try:
            return self.lines.get(timeout=TIMEOUT)
        except queue.Empty:
            return None


def play(terminal):
    """Types and reads the session; returns the number of lines read as expected."""
    count = 0
    typed = "(start)"
    skipping = False
    for expected in SESSION.strip("\n").split("\n"):
        if expected.startswith("> "):
            if skipping:
                raise Failure(f"the session says '...' at the end of {typed!r}")
            typed = expected[2:]
            terminal.type(typed)
        elif expected == "...":
            skipping = True
        else:
            wanted = pattern(expected)
            while True:
                line = terminal.read()
                if line is None:
                    raise Failure(f"after {typed!r}: nothing instead of {expected!r}")
                if wanted.match(line):
                    break
                if not skipping:
                    raise Failure(f"after {typed!r}: {line!r} instead of {expected!r}")
            skipping = False
            count += 1
    rest = terminal.read()
    if rest is not None:
        raise Failure(f"after {typed!r}: {rest!r}")
    if terminal.process.wait(TIMEOUT) != 0:
        raise Failure(f"exit status {terminal.process.returncode}")
    return count


def main():
    with tempfile.TemporaryDirectory() as folder:
        for name, text in FILES.items():
            with open(os.path.join(folder, name), "w", encoding="ascii") as file:
                file.write(text)
        with open(os.path.join(folder, "small.bin"), "wb") as file:
            file.write(BOOK)
        terminal = Terminal(folder)
        try:
            print(f"{play(terminal)} lines as expected")
            with open(os.path.join(folder, "tmp.pgn"), encoding="ascii") as saved:
                text = saved.read()
            if text != '[Event "Unknown"]\ne4 e5 Nf3 Nc6 *\n\n':
                raise Failure(f"saved game: {text!r}")
            return 0
        except Failure as failure:
            print(failure)
            return 1
        finally:
            terminal.process.kill()
            terminal.process.wait()


if __name__ == "__main__":
    sys.exit(main())
